#include "frontend/PreviewView.h"

#include <QGestureEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPinchGesture>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace talvek {

namespace {

constexpr double kArrowPixels = 60.0;
constexpr double kWheelUnitsPerStep = 120.0; // what a notch of a plain wheel reports
constexpr double kPixelsPerWheelUnit = 0.5;

} // namespace

// Zooming

void PreviewView::zoomToFit()
{
    const double before = zoom();
    const bool wasFitted = isFitted();
    m_viewport.fit();
    afterZoom(before, wasFitted);
}

void PreviewView::showActualSize()
{
    setZoom(1.0, middle());
}

void PreviewView::zoomIn()
{
    setZoom(m_viewport.stepFrom(zoom(), true), middle());
}

void PreviewView::zoomOut()
{
    setZoom(m_viewport.stepFrom(zoom(), false), middle());
}

void PreviewView::setZoom(double zoom, const QPointF& anchor)
{
    if (!hasPicture()) {
        return;
    }
    const double before = m_viewport.zoom();
    const bool wasFitted = isFitted();
    m_viewport.zoomTo(zoom, anchor);
    afterZoom(before, wasFitted);
}

void PreviewView::afterZoom(double before, bool wasFitted)
{
    if (hasPicture() && (zoom() != before || isFitted() != wasFitted)) {
        viewChanged();
        emit zoomChanged(zoom());
    }
}

void PreviewView::scroll(const QPointF& distance)
{
    if (m_viewport.scrollBy(distance)) {
        viewChanged();
    }
}

QPointF PreviewView::inDevicePixels(const QPointF& position) const
{
    return position * devicePixelRatioF();
}

QPointF PreviewView::middle() const
{
    return inDevicePixels(QPointF(width() / 2.0, height() / 2.0));
}

// Keys

std::optional<QPointF> PreviewView::scrollOfKey(int key) const
{
    switch (key) {
    case Qt::Key_Left:
        return QPointF(kArrowPixels, 0);
    case Qt::Key_Right:
        return QPointF(-kArrowPixels, 0);
    case Qt::Key_Up:
        return QPointF(0, kArrowPixels);
    case Qt::Key_Down:
        return QPointF(0, -kArrowPixels);
    case Qt::Key_PageUp:
        return QPointF(0, height());
    case Qt::Key_PageDown:
        return QPointF(0, -height());
    default:
        return std::nullopt;
    }
}

void PreviewView::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers others =
        event->modifiers() & ~(Qt::ControlModifier | Qt::ShiftModifier | Qt::KeypadModifier);
    if (!hasPicture() || others != Qt::NoModifier) {
        QWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_0:
        zoomToFit();
        return;
    case Qt::Key_1:
        showActualSize();
        return;
    case Qt::Key_Plus:
    case Qt::Key_Equal: // the plus key, without Shift
        zoomIn();
        return;
    case Qt::Key_Minus:
        zoomOut();
        return;
    default:
        break;
    }
    const auto distance = scrollOfKey(event->key());
    if (distance && m_viewport.canScroll()) {
        scroll(inDevicePixels(*distance));
    } else {
        QWidget::keyPressEvent(event);
    }
}

// Pointer

void PreviewView::wheelEvent(QWheelEvent* event)
{
    const bool zooms = event->modifiers().testFlag(Qt::ControlModifier);
    if (!hasPicture() || (!zooms && !m_viewport.canScroll())) {
        event->ignore();
        return;
    }
    event->accept();
    if (zooms) {
        // Fine wheels and touch pads report parts of a notch; none of it is lost.
        const double steps = event->angleDelta().y() / kWheelUnitsPerStep;
        setZoom(zoom() * std::pow(Viewport::kZoomStep, steps), inDevicePixels(event->position()));
        return;
    }
    const QPointF distance = event->pixelDelta().isNull()
                                 ? QPointF(event->angleDelta()) * kPixelsPerWheelUnit
                                 : QPointF(event->pixelDelta());
    const bool sideways =
        event->modifiers().testFlag(Qt::ShiftModifier) && qFuzzyIsNull(distance.x());
    scroll(inDevicePixels(sideways ? QPointF(distance.y(), 0) : distance));
}

void PreviewView::mousePressEvent(QMouseEvent* event)
{
    const bool drags = event->button() == Qt::LeftButton || event->button() == Qt::MiddleButton;
    if (!drags || !m_viewport.canScroll()) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_dragging = true;
    m_dragFrom = event->position();
    updateCursor();
}

void PreviewView::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_dragging) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    scroll(inDevicePixels(event->position() - m_dragFrom));
    m_dragFrom = event->position();
}

void PreviewView::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_dragging) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    m_dragging = false;
    updateCursor();
}

// Gestures

bool PreviewView::event(QEvent* event)
{
    if (event->type() == QEvent::NativeGesture) {
        return zoomByGesture(*static_cast<QNativeGestureEvent*>(event)) || QWidget::event(event);
    }
    if (event->type() == QEvent::Gesture) {
        auto* const pinch = static_cast<QGestureEvent*>(event)->gesture(Qt::PinchGesture);
        return (pinch != nullptr && zoomByPinch(*static_cast<QPinchGesture*>(pinch))) ||
               QWidget::event(event);
    }
    return QWidget::event(event);
}

bool PreviewView::zoomByGesture(const QNativeGestureEvent& gesture)
{
    if (!hasPicture() || gesture.gestureType() != Qt::ZoomNativeGesture) {
        return false;
    }
    setZoom(zoom() * std::max(0.1, 1.0 + gesture.value()), inDevicePixels(gesture.position()));
    return true;
}

bool PreviewView::zoomByPinch(QPinchGesture& pinch)
{
    if (!hasPicture()) {
        return false;
    }
    if (pinch.changeFlags().testFlag(QPinchGesture::ScaleFactorChanged)) {
        const QPointF centre = mapFromGlobal(pinch.centerPoint());
        setZoom(zoom() * pinch.scaleFactor(), inDevicePixels(centre));
    }
    return true;
}

} // namespace talvek
