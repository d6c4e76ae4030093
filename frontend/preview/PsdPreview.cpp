#include "frontend/preview/PsdPreview.h"

#include "frontend/preview/Reduction.h"

#include <QFile>

#include <algorithm>
#include <span>

namespace talvek {

namespace {

/// Raw bytes are taken from the file in pieces of this size, so that a row's stated width costs no
/// memory.
constexpr std::int64_t kPieceBytes = 64 << 10;

/// Rows and columns of the grid on which a transparency channel is judged; each is a few samples.
constexpr std::int64_t kJudgedGrid = 64;
constexpr int kFullSample = 65535;
constexpr int kWhiteTolerance = 2 * 257; // writers round

} // namespace

PsdPreview::PsdPreview(const std::string& path) : m_head(SystemCalls::real(), path)
{
    for (ReadingFileHandle& plane : m_planes) {
        plane = ReadingFileHandle(SystemCalls::real(), path);
    }
}

std::unique_ptr<PsdPreview> PsdPreview::open(const QString& path, const CancelFlag& canceled)
{
    std::unique_ptr<PsdPreview> preview(new PsdPreview(QFile::encodeName(path).toStdString()));
    if (canceled || !preview->readLayout()) {
        return nullptr;
    }
    preview->chooseChannels(canceled);
    return preview;
}

bool PsdPreview::readLayout()
{
    auto layout = PsdLayout::read(m_head);
    if (!layout) {
        return false;
    }
    m_layout = std::move(*layout);
    return true;
}

void PsdPreview::chooseChannels(const CancelFlag& canceled)
{
    const int colours = std::min(m_layout.colourChannels(), m_layout.channels());
    for (int channel = 0; channel < colours; ++channel) {
        m_channels.push_back(channel);
    }
    if (m_layout.alphaChannel() < 0) {
        return;
    }
    m_channels.push_back(m_layout.alphaChannel());
    if (coloursAreOnWhite(canceled)) {
        m_transparency = Transparency::OnWhite;
    } else if (m_layout.statesAlpha) {
        m_transparency = Transparency::Plain;
    } else {
        m_channels.pop_back();
    }
}

/// True if, on a grid of samples, no colour is darker than white under the opacity that the last
/// channel states, and something is left to see.
bool PsdPreview::coloursAreOnWhite(const CancelFlag& canceled)
{
    if (m_layout.depth == 32) {
        return false; // laid on white in linear light, which the screen's values do not show
    }
    const auto columns = Sampling::over(0, m_layout.width, std::min(m_layout.width, kJudgedGrid));
    const auto rows = Sampling::over(0, m_layout.height, std::min(m_layout.height, kJudgedGrid));
    const auto packed = locateRows(rows, canceled);
    ChannelRow alpha;
    ChannelRow colour;
    alpha.samples.resize(columns.positions.size());
    colour.samples.resize(columns.positions.size());
    bool somethingIsSeen = false;
    const std::size_t alphaSlot = m_channels.size() - 1;
    for (std::size_t i = 0; i < rows.positions.size() && !canceled; ++i) {
        const auto read = [&](std::size_t slot, ChannelRow& into) {
            const std::size_t place = slot * rows.positions.size() + i;
            readRow(slot, rows.positions[i], packed.empty() ? PackedRow{} : packed[place], columns,
                    into);
        };
        read(alphaSlot, alpha);
        for (std::size_t slot = 0; slot < alphaSlot; ++slot) {
            read(slot, colour);
            for (std::size_t x = 0; x < std::min(alpha.present, colour.present); ++x) {
                somethingIsSeen = somethingIsSeen || alpha.samples[x] > 0;
                if (colour.samples[x] + alpha.samples[x] + kWhiteTolerance < kFullSample) {
                    return false;
                }
            }
        }
    }
    return somethingIsSeen;
}

QSize PsdPreview::size() const
{
    return {static_cast<int>(m_layout.width), static_cast<int>(m_layout.height)};
}

SampleKind PsdPreview::kindOf(int channel) const
{
    switch (m_layout.depth) {
    case 1:
        return SampleKind::Bit;
    case 8:
        return SampleKind::Byte;
    case 16:
        return SampleKind::Word;
    default:
        break;
    }
    // Real numbers are linear light where the format has them: in gray and RGB.
    const bool isLight = m_layout.mode == ColourMode::Rgb || m_layout.mode == ColourMode::Grayscale;
    return isLight && channel != m_layout.alphaChannel() ? SampleKind::LinearReal
                                                         : SampleKind::PlainReal;
}

QImage PsdPreview::decode(const QRect& part, const QSize& target, const CancelFlag& canceled)
{
    const QRect wanted = part & QRect(QPoint(0, 0), size());
    const QSize reduced = target.boundedTo(wanted.size());
    if (wanted.isEmpty() || reduced.isEmpty() || canceled) {
        return {};
    }
    QImage image(reduced, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        return {};
    }
    image.fill(Qt::transparent);
    const auto columns = Sampling::over(wanted.x(), wanted.width(), reduced.width());
    const auto rows = Sampling::over(wanted.y(), wanted.height(), reduced.height());
    return reduce(columns, rows, image, canceled) ? image : QImage();
}

std::vector<PackedRow> PsdPreview::locateRows(const Sampling& rows, const CancelFlag& canceled)
{
    if (!m_layout.isPacked) {
        return {};
    }
    return PackedRows(m_layout, m_head, m_planes[0]).locate(m_channels, rows.positions, canceled);
}

/// Fills `image`, which is transparent. @return false if canceled
bool PsdPreview::reduce(const Sampling& columns, const Sampling& rows, QImage& image,
                        const CancelFlag& canceled)
{
    const auto packed = locateRows(rows, canceled);
    const PixelColours colours(m_layout, m_transparency);
    std::vector<ChannelRow> samples(m_channels.size());
    for (ChannelRow& row : samples) {
        row.samples.resize(columns.positions.size());
    }
    const std::span colourRows = std::span(samples).first(samples.size() - (hasAlpha() ? 1 : 0));
    std::vector<QRgb> pixels(columns.positions.size());
    Reduction reduction(static_cast<std::size_t>(image.width()), columns.perPixel, rows.perPixel);
    for (std::size_t i = 0; i < rows.positions.size(); ++i) {
        const std::int32_t row = rows.positions[i];
        if (canceled) {
            return false;
        }
        if (rowIsBehindEnd(row) && i % static_cast<std::size_t>(rows.perPixel) == 0) {
            return true;
        }
        for (std::size_t slot = 0; slot < samples.size(); ++slot) {
            const std::size_t place = slot * rows.positions.size() + i;
            readRow(slot, row, packed.empty() ? PackedRow{} : packed[place], columns,
                    samples[slot]);
        }
        colours.convert(colourRows, hasAlpha() ? &samples.back() : nullptr, pixels);
        reduction.add(pixels);
        if ((i + 1) % static_cast<std::size_t>(rows.perPixel) == 0) {
            const auto line = static_cast<int>(i / static_cast<std::size_t>(rows.perPixel));
            reduction.write(static_cast<QRgb*>(static_cast<void*>(image.scanLine(line))));
            reduction.clear();
        }
    }
    return true;
}

/// The first plane comes first in the file: behind its end there is nothing of any other.
bool PsdPreview::rowIsBehindEnd(std::int32_t row) const
{
    return !m_layout.isPacked &&
           m_layout.dataStart + row * m_layout.rowBytes() >= m_layout.fileSize;
}

void PsdPreview::readRow(std::size_t slot, std::int32_t row, const PackedRow& packed,
                         const Sampling& columns, ChannelRow& into)
{
    const int channel = m_channels[slot];
    RowPicker picker(kindOf(channel), columns.positions, into.samples);
    if (m_layout.isPacked) {
        readPackedRow(slot, packed, picker);
    } else {
        const std::int64_t offset =
            m_layout.dataStart + channel * m_layout.planeStride + row * m_layout.rowBytes();
        readRawRow(slot, offset, picker);
    }
    into.present = picker.picked();
}

void PsdPreview::readRawRow(std::size_t slot, std::int64_t offset, RowPicker& picker)
{
    const std::int64_t end = picker.endByte();
    picker.skipTo(picker.firstByte());
    for (std::int64_t at = picker.firstByte(); at < end && offset + at < m_layout.fileSize;) {
        const auto piece = static_cast<std::size_t>(std::min(kPieceBytes, end - at));
        const auto bytes = m_planes[slot].bytesAt(offset + at, piece, piece);
        if (bytes.empty()) {
            return;
        }
        picker.feed(bytes);
        at += static_cast<std::int64_t>(bytes.size());
    }
}

void PsdPreview::readPackedRow(std::size_t slot, const PackedRow& packed, RowPicker& picker)
{
    const auto count = static_cast<std::size_t>(packed.bytes);
    if (count > 0) {
        expandPackedRow(m_planes[slot].bytesAt(packed.offset, count, count), picker);
    }
}

} // namespace talvek
