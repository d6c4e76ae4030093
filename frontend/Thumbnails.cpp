#include "frontend/Thumbnails.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace talvek {

namespace {

constexpr int kCacheKilobytes = 16 << 10;
/// Rows that were scrolled past long ago are not made; they are asked for again when they are seen.
constexpr std::size_t kMostWaiting = 64;
constexpr int kSquare = 4;

struct Look
{
    QSize pixels;
    double devicePixelRatio = 1;
    bool isDark = false;
};

void paintCheckerboard(QPainter& painter, const QRect& area, const Look& look)
{
    painter.fillRect(area, look.isDark ? QColor(0x4a, 0x4a, 0x4a) : QColor(0xff, 0xff, 0xff));
    const QColor dark = look.isDark ? QColor(0x38, 0x38, 0x38) : QColor(0xd9, 0xd9, 0xd9);
    const int square = std::max(1, static_cast<int>(std::lround(kSquare * look.devicePixelRatio)));
    for (int y = 0; y * square < area.height(); ++y) {
        for (int x = y % 2; x * square < area.width(); x += 2) {
            const QRect field(area.x() + x * square, area.y() + y * square, square, square);
            painter.fillRect(field & area, dark);
        }
    }
}

void paintLostRows(QPainter& painter, const QRect& area, int rows,
                   const std::vector<RowSpan>& lostRows, bool isDark)
{
    const QColor ink = isDark ? QColor(0xF2, 0xA6, 0x5A) : QColor(0xA1, 0x4A, 0x00);
    const double scale = static_cast<double>(area.height()) / std::max(rows, 1);
    int painted = area.top();
    for (const RowSpan& span : lostRows) {
        const int from = std::max(painted, area.top() + static_cast<int>(span.first * scale));
        const int to =
            area.top() + static_cast<int>(std::ceil((double{1} * span.first + span.count) * scale));
        if (to > from) {
            painter.fillRect(QRect(area.left(), from, area.width(), to - from),
                             QBrush(ink, Qt::BDiagPattern));
            painted = to;
        }
    }
}

QImage make(const QString& path, const std::vector<RowSpan>& lostRows, const Look& look,
            const CancelFlag& canceled)
{
    const auto source = PictureSource::open(path, canceled);
    if (!source) {
        return {};
    }
    const QSize fitted = source->size()
                             .scaled(look.pixels, Qt::KeepAspectRatio)
                             .expandedTo(QSize(1, 1))
                             .boundedTo(source->size());
    const QImage picture = source->decode(QRect(QPoint(0, 0), source->size()), fitted, canceled);
    if (picture.isNull()) {
        return {};
    }
    QImage image(look.pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QRect area(QPoint(0, 0), picture.size());
    area.moveCenter(image.rect().center());
    QPainter painter(&image);
    paintCheckerboard(painter, area, look);
    painter.drawImage(area.topLeft(), picture);
    paintLostRows(painter, area, source->size().height(), lostRows, look.isDark);
    painter.setPen(look.isDark ? QColor(0x55, 0x5c, 0x68) : QColor(0xd5, 0xda, 0xe1));
    painter.drawRect(area.adjusted(0, 0, -1, -1));
    painter.end();
    image.setDevicePixelRatio(look.devicePixelRatio);
    return image;
}

} // namespace

Thumbnails::Thumbnails(QObject* parent)
    : QObject(parent), m_made(kCacheKilobytes), m_token(std::make_shared<CancelFlag>(false))
{
    m_pool.setMaxThreadCount(1);
}

Thumbnails::~Thumbnails()
{
    *m_token = true;
    m_pool.clear();
    m_pool.waitForDone();
}

void Thumbnails::setLook(const QSize& box, double devicePixelRatio, bool isDark)
{
    m_box = box;
    m_devicePixelRatio = devicePixelRatio;
    m_isDark = isDark;
    clear();
}

void Thumbnails::clear()
{
    *m_token = true;
    m_token = std::make_shared<CancelFlag>(false);
    m_isWorking = false;
    m_workedOn = -1;
    m_waiting.clear();
    m_withoutPicture.clear();
    m_made.clear();
}

QImage Thumbnails::find(int key, const QString& path, const std::vector<RowSpan>& lostRows)
{
    if (const QImage* image = m_made.object(key)) {
        return *image;
    }
    if (path.isEmpty() || m_withoutPicture.contains(key) || m_workedOn == key) {
        return {};
    }
    const auto same = std::find_if(m_waiting.begin(), m_waiting.end(),
                                   [key](const Wish& wish) { return wish.key == key; });
    if (same != m_waiting.end()) {
        std::rotate(same, same + 1, m_waiting.end());
    } else {
        m_waiting.push_back({key, path, lostRows});
    }
    if (m_waiting.size() > kMostWaiting) {
        m_waiting.erase(m_waiting.begin());
    }
    workOnNext();
    return {};
}

QImage Thumbnails::blank(bool isGroup) const
{
    QImage image((QSizeF(m_box) * m_devicePixelRatio).toSize(),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(m_devicePixelRatio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor ink = m_isDark ? QColor(0x8b, 0x94, 0xa1) : QColor(0x7d, 0x87, 0x95);
    painter.setPen(
        QPen(ink, 1.4, isGroup ? Qt::SolidLine : Qt::DotLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF middle(m_box.width() / 2.0, m_box.height() / 2.0);
    if (isGroup) {
        const QPointF corner = middle - QPointF(11, 8);
        painter.drawPolygon(QPolygonF({corner, corner + QPointF(8, 0), corner + QPointF(10.5, 3),
                                       corner + QPointF(22, 3), corner + QPointF(22, 17),
                                       corner + QPointF(0, 17)}));
    } else {
        painter.drawRoundedRect(QRectF(middle - QPointF(12, 9), QSizeF(24, 18)), 2, 2);
    }
    return image;
}

void Thumbnails::workOnNext()
{
    if (m_isWorking || m_waiting.empty()) {
        return;
    }
    m_isWorking = true;
    m_workedOn = m_waiting.back().key;
    const Look look{(QSizeF(m_box) * m_devicePixelRatio).toSize(), m_devicePixelRatio, m_isDark};
    m_pool.start([this, wish = std::move(m_waiting.back()), look, token = m_token] {
        const QImage image = make(wish.path, wish.lostRows, look, *token);
        QMetaObject::invokeMethod(
            this, [this, token, key = wish.key, image] { accept(token, key, image); },
            Qt::QueuedConnection);
    });
    m_waiting.pop_back();
}

void Thumbnails::accept(const std::shared_ptr<CancelFlag>& token, int key, const QImage& image)
{
    if (token != m_token) {
        return;
    }
    m_isWorking = false;
    m_workedOn = -1;
    if (image.isNull()) {
        m_withoutPicture.insert(key);
    } else {
        constexpr qsizetype kKilobyte = 1024;
        m_made.insert(key, new QImage(image), 1 + image.sizeInBytes() / kKilobyte);
        emit ready(key);
    }
    workOnNext();
}

} // namespace talvek
