#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSize>

namespace talvek {

/// Which part of a picture a view shows, and how large. All lengths of the view are in device
/// pixels; a zoom of 1 is one picture pixel for one device pixel. Plain arithmetic, no widget.
class Viewport
{
public:
    static constexpr double kMostZoom = 32.0;
    static constexpr double kZoomStep = 1.25;

    /// A new picture is fitted. An empty size is no picture.
    void setPicture(const QSize& pixels);
    /// The middle of what is seen stays in the middle.
    void setView(const QSize& devicePixels);

    [[nodiscard]] bool isEmpty() const { return m_picture.isEmpty() || m_view.isEmpty(); }
    [[nodiscard]] QSize view() const { return m_view; }
    [[nodiscard]] double zoom() const { return m_zoom; }
    /// The zoom follows the view's size, so that the whole picture is seen.
    [[nodiscard]] bool isFitted() const { return m_fitted; }
    [[nodiscard]] double leastZoom() const;

    void fit();
    /// Zooms so that what is under `anchor` (in the view) stays there. Held within the least zoom,
    /// which is that of fitting, and the most.
    void zoomTo(double zoom, const QPointF& anchor);
    /// The next larger or smaller zoom; actual size is never jumped over.
    [[nodiscard]] double stepFrom(double zoom, bool larger) const;

    /// Moves what is seen; held within the picture. @return false if nothing moved
    bool scrollBy(const QPointF& distance);
    [[nodiscard]] bool canScroll() const;

    /// The picture's place in the view; left and top are whole pixels.
    [[nodiscard]] QRectF pictureRect() const;
    /// The place in the view of a part of the picture.
    [[nodiscard]] QRectF rectOf(const QRect& part) const;
    [[nodiscard]] QPointF pictureAt(const QPointF& position) const;
    /// The part of the picture that is seen, and the same with a quarter of the view around it.
    [[nodiscard]] QRect visiblePart() const;
    [[nodiscard]] QRect wantedPart() const;
    /// Pixels that `part` needs at `zoom`: never more than it has.
    [[nodiscard]] static QSize pixelsFor(const QRect& part, double zoom);

private:
    [[nodiscard]] QSizeF scaledSize() const;
    [[nodiscard]] QRect partIn(const QRectF& viewRect) const;
    void settle();

    QSize m_picture;
    QSize m_view;
    double m_zoom = 1.0;
    bool m_fitted = true;
    QPointF m_corner; ///< of the picture, in the view
};

} // namespace talvek
