#include "frontend/HoverButton.h"

#include <QApplication>
#include <QEnterEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>

#include <array>

namespace talvek {

namespace {

struct ImagePair
{
    int tag;
    const char* hovered;
    const char* resting;
};

constexpr std::array<ImagePair, 4> kImages = {{
    {100, "repair_button_hover", "repair_button_normal"},
    {101, "help-2", "help-1"},
    {102, "update-2", "update-1"},
    {103, "home-2", "home-1"},
}};

constexpr qreal kFocusRingWidth = 2;
constexpr qreal kFocusRingRadius = 12;
constexpr qreal kPressedScale = 0.96;
constexpr qreal kDisabledOpacity = 0.35;

const ImagePair* imagesOf(int tag)
{
    for (const ImagePair& pair : kImages) {
        if (pair.tag == tag) {
            return &pair;
        }
    }
    return nullptr;
}

bool isApplicationActive()
{
    return QApplication::activeWindow() != nullptr;
}

} // namespace

HoverButton::HoverButton(QWidget* parent) : QPushButton(parent) {}

void HoverButton::awakeFromNib()
{
    if (imagesOf(m_tag) != nullptr) {
        setFlat(true);
        setCursor(Qt::PointingHandCursor);
    }
    createTrackingArea();
    mouseExited();
}

void HoverButton::createTrackingArea()
{
    // The system then sends enter and leave events for whatever part of the button is visible.
    setAttribute(Qt::WA_Hover);
}

void HoverButton::mouseEntered()
{
    if (const ImagePair* pair = imagesOf(m_tag)) {
        showImage(QString::fromLatin1(pair->hovered));
    }
}

void HoverButton::mouseExited()
{
    if (const ImagePair* pair = imagesOf(m_tag)) {
        showImage(QString::fromLatin1(pair->resting));
    }
}

void HoverButton::showImage(const QString& name)
{
    setIcon(m_bundle.imageNamed(name));
}

void HoverButton::enterEvent(QEnterEvent* event)
{
    QPushButton::enterEvent(event);
    if (isApplicationActive()) {
        mouseEntered();
    }
}

void HoverButton::leaveEvent(QEvent* event)
{
    QPushButton::leaveEvent(event);
    if (isApplicationActive()) {
        mouseExited();
    }
}

/// Where the pointer went while another application was in front is made good on the way back.
bool HoverButton::event(QEvent* event)
{
    if (event->type() == QEvent::WindowActivate) {
        if (underMouse()) {
            mouseEntered();
        } else {
            mouseExited();
        }
    }
    return QPushButton::event(event);
}

QSize HoverButton::sizeHint() const
{
    if (imagesOf(m_tag) == nullptr) {
        return QPushButton::sizeHint();
    }
    const int ring = qRound(2 * (kFocusRingWidth + 1));
    return iconSize() + QSize(ring, ring);
}

void HoverButton::paintEvent(QPaintEvent* event)
{
    drawRect(event->rect());
}

void HoverButton::drawRect(const QRect& dirtyRect)
{
    if (imagesOf(m_tag) == nullptr) {
        QPaintEvent event(dirtyRect);
        QPushButton::paintEvent(&event);
        return;
    }
    QPainter painter(this);
    painter.setClipRect(dirtyRect);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (hasFocus()) {
        const qreal inset = kFocusRingWidth / 2;
        painter.setPen(QPen(palette().highlight(), kFocusRingWidth));
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                                kFocusRingRadius, kFocusRingRadius);
    }
    drawImage(painter);
}

void HoverButton::drawImage(QPainter& painter) const
{
    painter.setOpacity(isEnabled() ? 1.0 : kDisabledOpacity);
    const QPointF middle = QRectF(rect()).center();
    const qreal scale = isDown() ? kPressedScale : 1.0;
    painter.translate(middle);
    painter.scale(scale, scale);
    painter.translate(-middle);
    const QRect target(QPoint(0, 0), iconSize());
    icon().paint(&painter, target.translated(rect().center() - target.center()));
    painter.setPen(palette().color(QPalette::BrightText));
    const bool underlines = style()->styleHint(QStyle::SH_UnderlineShortcut, nullptr, this) != 0;
    painter.drawText(rect(),
                     Qt::AlignCenter | (underlines ? Qt::TextShowMnemonic : Qt::TextHideMnemonic),
                     text());
}

} // namespace talvek
