#include "frontend/PreviewView.h"

#include <QCursor>
#include <QFileInfo>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace talvek {

namespace {

constexpr int kGatherMilliseconds = 10;
constexpr int kBusyDelayMilliseconds = 150;
constexpr int kBusyTurnMilliseconds = 80;
constexpr int kBusySpokes = 12;
constexpr double kBusyRadius = 22.0;
constexpr int kSquare = 8; // of the checkerboard

/// Beyond this zoom, hard edges tell more about a picture than soft ones.
constexpr double kHardEdgesFrom = 2.0;

} // namespace

PreviewView::PreviewView(QWidget* parent) : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setBackgroundRole(QPalette::Base);
    grabGesture(Qt::PinchGesture);
    m_pool.setMaxThreadCount(1);
    m_refresh.setSingleShot(true);
    m_refresh.setInterval(kGatherMilliseconds);
    connect(&m_refresh, &QTimer::timeout, this, &PreviewView::refresh);
    m_busyDelay.setSingleShot(true);
    m_busyDelay.setInterval(kBusyDelayMilliseconds);
    connect(&m_busyDelay, &QTimer::timeout, this, [this] { m_busyTurn.start(); });
    m_busyTurn.setInterval(kBusyTurnMilliseconds);
    connect(&m_busyTurn, &QTimer::timeout, this, [this] {
        m_busyStep = (m_busyStep + 1) % kBusySpokes;
        update();
    });
    describe();
}

PreviewView::~PreviewView()
{
    cancelJob();
    m_pool.clear();
    m_pool.waitForDone();
}

QSize PreviewView::pictureSize() const
{
    return m_source ? m_source->size() : QSize();
}

QSize PreviewView::sizeHint() const
{
    return {640, 480};
}

QSize PreviewView::minimumSizeHint() const
{
    return {120, 90};
}

// Loading

void PreviewView::showFile(const QString& path, const QString& title)
{
    clear();
    m_name = title.isEmpty() ? QFileInfo(path).completeBaseName().trimmed() : title;
    describe();
    openInBackground(path);
}

void PreviewView::setLostRows(std::vector<RowSpan> lost, const QString& words)
{
    m_lostRows = std::move(lost);
    m_lostWords = words;
    describe();
    update();
}

void PreviewView::clear(const QString& words)
{
    const bool hadPicture = hasPicture();
    cancelJob();
    m_refresh.stop();
    m_source.reset();
    m_whole = {};
    m_detail = {};
    m_name.clear();
    m_lostRows.clear();
    m_lostWords.clear();
    m_wordsInPlace = words;
    m_dragging = false;
    m_viewport.setPicture({});
    describe();
    updateCursor();
    update();
    if (hadPicture) {
        emit pictureChanged();
    }
}

void PreviewView::cancelJob()
{
    if (m_job) {
        *m_job->canceled = true;
    }
    endJob();
}

std::shared_ptr<CancelFlag> PreviewView::beginJob(const QRect& part, double zoom)
{
    if (m_job) {
        *m_job->canceled = true;
    } else {
        m_busyDelay.start();
    }
    m_job = Job{std::make_shared<CancelFlag>(false), part, zoom};
    return m_job->canceled;
}

void PreviewView::endJob()
{
    m_job.reset();
    m_busyDelay.stop();
    if (m_busyTurn.isActive()) {
        m_busyTurn.stop();
        update();
    }
}

// The destructor waits for the thread, so whatever runs there may name this object. What it posts
// is dropped with the object; and what a later job has made stale is told by its token.

void PreviewView::openInBackground(const QString& path)
{
    m_pool.start([this, path, token = beginJob({}, 0)] {
        const std::shared_ptr<PictureSource> source = PictureSource::open(path, *token);
        QMetaObject::invokeMethod(
            this, [this, token, source] { acceptSource(token, source); }, Qt::QueuedConnection);
    });
}

void PreviewView::acceptSource(const std::shared_ptr<CancelFlag>& token,
                               const std::shared_ptr<PictureSource>& source)
{
    if (!m_job || m_job->canceled != token) {
        return;
    }
    m_source = source;
    if (!m_source) {
        endJob();
        emit settled();
        return;
    }
    m_viewport.setPicture(m_source->size());
    describe();
    updateCursor();
    emit pictureChanged();
    emit zoomChanged(zoom());
    refresh();
}

void PreviewView::refresh()
{
    if (!m_source || m_viewport.isEmpty()) {
        endJob();
        return;
    }
    const QRect all(QPoint(0, 0), m_source->size());
    if (m_whole.part.isEmpty()) {
        // First the whole, so that there is something to see wherever one scrolls next.
        if (!m_job || m_job->part != all) {
            decodeInBackground(all, m_viewport.leastZoom());
        }
        return;
    }
    if (isSharpEnough(m_whole) || isSharpEnough(m_detail)) {
        cancelJob();
        emit settled();
        return;
    }
    const bool isComing = m_job && isSharpEnough({m_job->part, m_job->zoom, {}});
    if (!isComing) {
        decodeInBackground(m_viewport.wantedPart(), zoom());
    }
}

bool PreviewView::isSharpEnough(const Piece& piece) const
{
    constexpr double kRounding = 1e-9;
    return piece.part.contains(m_viewport.visiblePart()) &&
           std::min(piece.zoom, 1.0) >= std::min(zoom(), 1.0) - kRounding;
}

void PreviewView::decodeInBackground(const QRect& part, double zoom)
{
    const auto token = beginJob(part, zoom);
    m_pool.start([this, token, part, zoom, source = m_source] {
        const QImage image = source->decode(part, Viewport::pixelsFor(part, zoom), *token);
        QMetaObject::invokeMethod(
            this, [this, token, piece = Piece{part, zoom, image}] { acceptPiece(token, piece); },
            Qt::QueuedConnection);
    });
}

void PreviewView::acceptPiece(const std::shared_ptr<CancelFlag>& token, const Piece& piece)
{
    if (!m_job || m_job->canceled != token) {
        return;
    }
    if (piece.part.size() == m_source->size()) {
        m_whole = piece;
        m_detail = {};
    } else {
        m_detail = piece;
    }
    m_job->part = {}; // it is here, and no longer coming
    update();
    refresh();
}

// Showing

void PreviewView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    followDevicePixels();
}

/// The view's size in device pixels changes with the widget's, and with the screen it is on.
void PreviewView::followDevicePixels()
{
    const QSize devicePixels = (QSizeF(size()) * devicePixelRatioF()).toSize();
    if (devicePixels == m_viewport.view()) {
        return;
    }
    const double before = zoom();
    m_viewport.setView(devicePixels);
    viewChanged();
    if (hasPicture() && zoom() != before) {
        emit zoomChanged(zoom());
    }
}

void PreviewView::viewChanged()
{
    if (hasPicture()) {
        m_refresh.start();
    }
    updateCursor();
    update();
}

void PreviewView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::LanguageChange) {
        describe();
        update();
    }
}

/// What a screen reader says of the view.
void PreviewView::describe()
{
    if (!hasPicture()) {
        setAccessibleName(m_name.isEmpty() ? tr("Preview") : tr("Preview of %1").arg(m_name));
        setAccessibleDescription(m_wordsInPlace.isEmpty() ? tr("No picture") : m_wordsInPlace);
        return;
    }
    const QSize pixels = pictureSize();
    setAccessibleName(
        tr("Preview of %1, %2 by %3 pixels")
            .arg(m_name, locale().toString(pixels.width()), locale().toString(pixels.height())));
    const QString keys = tr("Press 0 to fit the picture, 1 for its actual size, plus and minus "
                            "to zoom, and the arrow keys to scroll.");
    setAccessibleDescription(m_lostWords.isEmpty() ? keys : m_lostWords + QLatin1Char(' ') + keys);
}

void PreviewView::updateCursor()
{
    if (!m_viewport.canScroll()) {
        unsetCursor();
    } else {
        setCursor(m_dragging ? Qt::ClosedHandCursor : Qt::OpenHandCursor);
    }
}

bool PreviewView::isDark() const
{
    return palette().color(backgroundRole()).lightness() < 128;
}

void PreviewView::paintEvent(QPaintEvent*)
{
    followDevicePixels();
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(backgroundRole()));
    if (hasPicture()) {
        painter.save();
        painter.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
        paintPicture(painter);
        painter.restore();
    } else {
        paintWords(painter);
    }
    if (m_busyTurn.isActive()) {
        paintBusySign(painter);
    }
    if (hasFocus()) {
        constexpr double kCorner = 6;
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), kCorner, kCorner);
    }
}

void PreviewView::paintPicture(QPainter& painter) const
{
    const QRect area =
        m_viewport.pictureRect().toAlignedRect() & QRect(QPoint(0, 0), m_viewport.view());
    paintCheckerboard(painter, area);
    painter.setClipRect(area);
    if (!m_detail.image.isNull()) {
        // Half-transparent pixels must not be painted twice.
        QPainterPath outside;
        outside.addRect(QRectF(area));
        QPainterPath inside;
        inside.addRect(m_viewport.rectOf(m_detail.part));
        painter.save();
        painter.setClipPath(outside.subtracted(inside));
        paintPiece(painter, m_whole);
        painter.restore();
        paintPiece(painter, m_detail);
    } else {
        paintPiece(painter, m_whole);
    }
    paintLostRows(painter, area);
}

/// Never less than a line of the screen, however small the picture is shown; and each line of the
/// screen once, however many rows lie in it.
void PreviewView::paintLostRows(QPainter& painter, const QRect& area) const
{
    const QColor ground = isDark() ? QColor(0x2b, 0x26, 0x20) : QColor(0xfd, 0xf3, 0xe7);
    const QColor ink = isDark() ? QColor(0xF2, 0xA6, 0x5A) : QColor(0xA1, 0x4A, 0x00);
    painter.setBrushOrigin(m_viewport.pictureRect().topLeft());
    int painted = area.top();
    for (const RowSpan& span : m_lostRows) {
        const QRectF place = m_viewport.rectOf(
            QRect(0, span.first, std::max(m_source->size().width(), 1), span.count));
        const int from = std::max(painted, static_cast<int>(std::floor(place.top())));
        const int to = std::min(area.bottom() + 1, static_cast<int>(std::ceil(place.bottom())));
        if (from > area.bottom()) {
            return;
        }
        if (to > from) {
            const QRect band(area.left(), from, area.width(), to - from);
            painter.fillRect(band, ground);
            painter.fillRect(band, QBrush(ink, Qt::BDiagPattern));
            painted = to;
        }
    }
}

void PreviewView::paintPiece(QPainter& painter, const Piece& piece) const
{
    if (piece.image.isNull()) {
        return;
    }
    QRectF place = m_viewport.rectOf(piece.part);
    const QSizeF pixels(piece.image.size());
    // A part of a pixel's difference would blur the whole picture.
    if (std::abs(place.width() - pixels.width()) < 1.0 &&
        std::abs(place.height() - pixels.height()) < 1.0) {
        place = QRectF(place.topLeft().toPoint(), pixels);
    }
    const bool isWhollyThere = piece.zoom >= 1.0;
    painter.setRenderHint(QPainter::SmoothPixmapTransform,
                          !isWhollyThere || zoom() < kHardEdgesFrom);
    painter.drawImage(place, piece.image);
}

void PreviewView::paintCheckerboard(QPainter& painter, const QRect& area) const
{
    const int square = std::max(1, static_cast<int>(std::lround(kSquare * devicePixelRatioF())));
    const QColor light = isDark() ? QColor(0x4a, 0x4a, 0x4a) : QColor(0xff, 0xff, 0xff);
    const QColor dark = isDark() ? QColor(0x38, 0x38, 0x38) : QColor(0xd9, 0xd9, 0xd9);
    QImage tile(2 * square, 2 * square, QImage::Format_RGB32);
    tile.fill(light);
    QPainter squares(&tile);
    squares.fillRect(square, 0, square, square, dark);
    squares.fillRect(0, square, square, square, dark);
    squares.end();
    painter.setBrushOrigin(m_viewport.pictureRect().topLeft());
    painter.fillRect(area, QBrush(tile));
}

void PreviewView::paintWords(QPainter& painter) const
{
    constexpr int kMargin = 24;
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(rect().adjusted(kMargin, kMargin, -kMargin, -kMargin),
                     Qt::AlignCenter | Qt::TextWordWrap, m_wordsInPlace);
}

void PreviewView::paintBusySign(QPainter& painter) const
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(QRectF(rect()).center());
    QColor behind = palette().color(backgroundRole());
    behind.setAlphaF(0.8F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(behind);
    painter.drawEllipse(QPointF(0, 0), kBusyRadius, kBusyRadius);
    QColor spoke = palette().color(QPalette::Text);
    painter.rotate(m_busyStep * 360.0 / kBusySpokes);
    for (int i = 1; i <= kBusySpokes; ++i) {
        painter.rotate(360.0 / kBusySpokes);
        spoke.setAlphaF(static_cast<float>(i) / kBusySpokes);
        painter.setPen(QPen(spoke, 2.5, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -kBusyRadius * 0.4), QPointF(0, -kBusyRadius * 0.75));
    }
    painter.restore();
}

} // namespace talvek
