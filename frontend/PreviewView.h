#pragma once

#include "frontend/preview/PictureSource.h"
#include "frontend/preview/RowSpan.h"
#include "frontend/preview/Viewport.h"

#include <QString>
#include <QThreadPool>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

class QNativeGestureEvent;
class QPinchGesture;

namespace talvek {

/// Shows the picture in a salvaged file.
///
/// Decoding runs on a thread of the view's own, only for what is seen and in the size in which it
/// is seen; while it lasts, a busy sign turns. A file that cannot be shown leaves the view empty.
/// Keys: 0 fits the picture, 1 shows it in actual size (one picture pixel for one pixel of the
/// screen), + and - zoom, arrows scroll. The wheel scrolls; with Ctrl, or by pinching, it zooms
/// around the pointer; dragging moves the picture. Its ground has the colour of its background
/// role. Main thread only.
class PreviewView : public QWidget
{
    Q_OBJECT

public:
    explicit PreviewView(QWidget* parent = nullptr);
    /// Ends a decoding that is under way; safe at any time.
    ~PreviewView() override;

    [[nodiscard]] bool hasPicture() const { return m_source != nullptr; }
    /// In picture pixels; empty if there is no picture.
    [[nodiscard]] QSize pictureSize() const;
    /// A decoding is under way or about to begin.
    [[nodiscard]] bool isBusy() const { return m_job.has_value() || m_refresh.isActive(); }
    /// Device pixels for one picture pixel.
    [[nodiscard]] double zoom() const { return m_viewport.zoom(); }
    /// The zoom follows the size of the view.
    [[nodiscard]] bool isFitted() const { return m_viewport.isFitted(); }
    [[nodiscard]] const Viewport& viewport() const { return m_viewport; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

public slots:
    /// Shows the file at `path`, fitted, in place of what was shown before.
    /// @param title  what a screen reader calls it; empty: by the file's name
    void showFile(const QString& path, const QString& title = {});
    /// Hatches rows of the picture that is shown, or is about to be, because they are lost.
    /// @param lost   ordered and disjoint
    /// @param words  what a screen reader says of them
    void setLostRows(std::vector<RowSpan> lost, const QString& words);
    /// Empties the view.
    /// @param words  what it says in place of a picture; empty: nothing
    void clear(const QString& words = {});
    /// Shows the whole picture; one that is smaller than the view is not enlarged.
    void zoomToFit();
    void showActualSize();
    void zoomIn();
    void zoomOut();

signals:
    /// The zoom, or whether it is fitted, has changed.
    void zoomChanged(double zoom);
    /// Another picture is shown, or none.
    void pictureChanged();
    /// The picture is shown as sharp as it is needed; nothing more is being decoded.
    void settled();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    /// A decoded part of the picture, and the zoom for which it was decoded.
    struct Piece
    {
        QRect part;
        double zoom = 0;
        QImage image;
    };

    /// A decoding that is under way.
    struct Job
    {
        std::shared_ptr<CancelFlag> canceled;
        QRect part; ///< empty while the file is being opened
        double zoom = 0;
    };

    // Loading.
    void cancelJob();
    std::shared_ptr<CancelFlag> beginJob(const QRect& part, double zoom);
    void endJob();
    void openInBackground(const QString& path);
    void acceptSource(const std::shared_ptr<CancelFlag>& token,
                      const std::shared_ptr<PictureSource>& source);
    void refresh();
    [[nodiscard]] bool isSharpEnough(const Piece& piece) const;
    void decodeInBackground(const QRect& part, double zoom);
    void acceptPiece(const std::shared_ptr<CancelFlag>& token, const Piece& piece);

    // Showing.
    void viewChanged();
    void followDevicePixels();
    void setZoom(double zoom, const QPointF& anchor);
    void afterZoom(double before, bool wasFitted);
    void scroll(const QPointF& distance);
    void updateCursor();
    void describe();
    void paintPicture(QPainter& painter) const;
    void paintPiece(QPainter& painter, const Piece& piece) const;
    void paintLostRows(QPainter& painter, const QRect& area) const;
    void paintCheckerboard(QPainter& painter, const QRect& area) const;
    void paintWords(QPainter& painter) const;
    void paintBusySign(QPainter& painter) const;
    [[nodiscard]] bool isDark() const;

    // Input.
    bool zoomByGesture(const QNativeGestureEvent& gesture);
    bool zoomByPinch(QPinchGesture& pinch);
    [[nodiscard]] std::optional<QPointF> scrollOfKey(int key) const;
    [[nodiscard]] QPointF inDevicePixels(const QPointF& position) const;
    [[nodiscard]] QPointF middle() const;

    QString m_name;
    std::vector<RowSpan> m_lostRows;
    QString m_lostWords;
    QString m_wordsInPlace; ///< shown while there is no picture, and none is coming
    std::shared_ptr<PictureSource> m_source; ///< used by one job at a time, and by nobody else
    Viewport m_viewport;
    Piece m_whole;  ///< the whole picture, as sharp as it was last needed
    Piece m_detail; ///< what is seen and a margin, when the whole is not sharp enough
    std::optional<Job> m_job;
    QTimer m_refresh;   ///< gathers changes, so that each is not decoded by itself
    QTimer m_busyDelay; ///< a sign that flashes up for a moment would be noise
    QTimer m_busyTurn;
    int m_busyStep = 0;
    bool m_dragging = false;
    QPointF m_dragFrom;
    QThreadPool m_pool; ///< one thread; last, so that it ends before anything that it uses
};

} // namespace talvek
