#include "frontend/preview/Viewport.h"

#include <algorithm>
#include <cmath>

namespace talvek {

namespace {

/// Where the picture begins along one axis: centred if it is smaller than the view, otherwise
/// without a gap at either end.
double settledCorner(double corner, double picture, double view)
{
    if (picture <= view) {
        return std::floor((view - picture) / 2.0);
    }
    return std::round(std::clamp(corner, view - picture, 0.0));
}

} // namespace

void Viewport::setPicture(const QSize& pixels)
{
    m_picture = pixels;
    m_corner = {};
    fit();
}

void Viewport::setView(const QSize& devicePixels)
{
    const QPointF before(m_view.width() / 2.0, m_view.height() / 2.0);
    const QPointF after(devicePixels.width() / 2.0, devicePixels.height() / 2.0);
    m_view = devicePixels;
    m_corner += after - before;
    if (m_fitted) {
        fit();
    } else {
        m_zoom = std::max(m_zoom, leastZoom());
        settle();
    }
}

double Viewport::leastZoom() const
{
    if (isEmpty()) {
        return 1.0;
    }
    return std::min({1.0, m_view.width() / static_cast<double>(m_picture.width()),
                     m_view.height() / static_cast<double>(m_picture.height())});
}

void Viewport::fit()
{
    m_fitted = true;
    m_zoom = leastZoom();
    settle();
}

void Viewport::zoomTo(double zoom, const QPointF& anchor)
{
    const double held = std::clamp(zoom, leastZoom(), kMostZoom);
    m_fitted = held < 1.0 && held <= leastZoom();
    const double ratio = held / m_zoom;
    m_corner = anchor - (anchor - m_corner) * ratio;
    m_zoom = held;
    settle();
}

double Viewport::stepFrom(double zoom, bool larger) const
{
    const double next = larger ? zoom * kZoomStep : zoom / kZoomStep;
    const bool passesActualSize = larger ? zoom < 1.0 && next > 1.0 : zoom > 1.0 && next < 1.0;
    return passesActualSize ? 1.0 : std::clamp(next, leastZoom(), kMostZoom);
}

bool Viewport::scrollBy(const QPointF& distance)
{
    const QPointF before = m_corner;
    m_corner += distance;
    settle();
    return m_corner != before;
}

bool Viewport::canScroll() const
{
    const QSizeF scaled = scaledSize();
    return !isEmpty() && (scaled.width() > m_view.width() || scaled.height() > m_view.height());
}

QSizeF Viewport::scaledSize() const
{
    // A sliver of a picture is still a line on the screen.
    return {std::max(1.0, m_picture.width() * m_zoom), std::max(1.0, m_picture.height() * m_zoom)};
}

void Viewport::settle()
{
    const QSizeF scaled = scaledSize();
    m_corner = {settledCorner(m_corner.x(), scaled.width(), m_view.width()),
                settledCorner(m_corner.y(), scaled.height(), m_view.height())};
}

QRectF Viewport::pictureRect() const
{
    return {m_corner, scaledSize()};
}

QRectF Viewport::rectOf(const QRect& part) const
{
    const QSizeF scaled = scaledSize();
    const double x = scaled.width() / m_picture.width();
    const double y = scaled.height() / m_picture.height();
    return {m_corner.x() + part.x() * x, m_corner.y() + part.y() * y, part.width() * x,
            part.height() * y};
}

QPointF Viewport::pictureAt(const QPointF& position) const
{
    return (position - m_corner) / m_zoom;
}

QRect Viewport::partIn(const QRectF& viewRect) const
{
    const QPointF from = pictureAt(viewRect.topLeft());
    const QPointF to = pictureAt(viewRect.bottomRight());
    const QPoint first(static_cast<int>(std::floor(from.x())),
                       static_cast<int>(std::floor(from.y())));
    const QPoint end(static_cast<int>(std::ceil(to.x())), static_cast<int>(std::ceil(to.y())));
    return QRect(first, QSize(end.x() - first.x(), end.y() - first.y())) &
           QRect(QPoint(0, 0), m_picture);
}

QRect Viewport::visiblePart() const
{
    return isEmpty() ? QRect() : partIn(QRectF(QPointF(0, 0), QSizeF(m_view)));
}

QRect Viewport::wantedPart() const
{
    if (isEmpty()) {
        return {};
    }
    const double x = m_view.width() / 4.0;
    const double y = m_view.height() / 4.0;
    return partIn(QRectF(QPointF(0, 0), QSizeF(m_view)).adjusted(-x, -y, x, y));
}

QSize Viewport::pixelsFor(const QRect& part, double zoom)
{
    const double reduction = std::min(zoom, 1.0);
    const QSize pixels(static_cast<int>(std::ceil(part.width() * reduction - 1e-6)),
                       static_cast<int>(std::ceil(part.height() * reduction - 1e-6)));
    return pixels.expandedTo(QSize(1, 1)).boundedTo(part.size());
}

} // namespace talvek
