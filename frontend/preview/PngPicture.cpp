#include "frontend/preview/PngPicture.h"

#include "frontend/preview/PngRows.h"
#include "frontend/preview/Reduction.h"
#include "frontend/preview/RowSamples.h"

#include <QFile>

namespace talvek {

namespace {

/// The pixels of a row that count for the reduced one, premultiplied.
void pick(std::span<const std::uint8_t> row, const Sampling& columns, std::vector<QRgb>& pixels)
{
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::uint8_t* at = row.data() + 4 * static_cast<std::size_t>(columns.positions[i]);
        pixels[i] = qPremultiply(qRgba(at[0], at[1], at[2], at[3]));
    }
}

/// Fills `image`, which is transparent, as far as there are rows. @return false if canceled
bool reduce(PngRows& source, const Sampling& columns, const Sampling& rows, QImage& image,
            const CancelFlag& canceled)
{
    std::vector<QRgb> pixels(columns.positions.size());
    Reduction reduction(static_cast<std::size_t>(image.width()), columns.perPixel, rows.perPixel);
    std::int32_t nextRow = 0;
    std::span<const std::uint8_t> row;
    const auto perPixel = static_cast<std::size_t>(rows.perPixel);
    for (std::size_t i = 0; i < rows.positions.size(); ++i) {
        for (; nextRow <= rows.positions[i]; ++nextRow) {
            row = source.next();
            if (canceled) {
                return false;
            }
            if (row.empty()) {
                return true;
            }
        }
        pick(row, columns, pixels);
        reduction.add(pixels);
        if ((i + 1) % perPixel == 0) {
            const auto line = static_cast<int>(i / perPixel);
            reduction.write(static_cast<QRgb*>(static_cast<void*>(image.scanLine(line))));
            reduction.clear();
        }
    }
    return true;
}

} // namespace

std::unique_ptr<PngPicture> PngPicture::open(const QString& path)
{
    ReadingFileHandle file(SystemCalls::real(), QFile::encodeName(path).toStdString());
    QSize size;
    {
        PngRows rows(file);
        if (!rows.begin(kMostColumns)) {
            return nullptr;
        }
        size = rows.size();
    }
    return std::unique_ptr<PngPicture>(new PngPicture(std::move(file), size));
}

QImage PngPicture::decode(const QRect& part, const QSize& target, const CancelFlag& canceled)
{
    const QRect wanted = part & QRect(QPoint(0, 0), m_size);
    const QSize reduced = target.boundedTo(wanted.size());
    if (wanted.isEmpty() || reduced.isEmpty() || canceled) {
        return {};
    }
    PngRows rows(m_file);
    QImage image(reduced, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull() || !rows.begin(kMostColumns) || rows.size() != m_size) {
        return {};
    }
    image.fill(Qt::transparent);
    const auto across = Sampling::over(wanted.x(), wanted.width(), reduced.width());
    const auto down = Sampling::over(wanted.y(), wanted.height(), reduced.height());
    return reduce(rows, across, down, image, canceled) ? image : QImage();
}

} // namespace talvek
