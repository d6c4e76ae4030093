#include "frontend/preview/PsdLayout.h"

#include <algorithm>
#include <array>
#include <span>

namespace talvek {

namespace {

constexpr std::int64_t kColourModeLengthOffset = 26;
constexpr std::size_t kPaletteBytes = 768;

using Header = std::array<std::uint8_t, kColourModeLengthOffset>;

std::uint32_t bigEndian(std::span<const std::uint8_t> bytes)
{
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8U | byte;
    }
    return value;
}

/// The number of `count` bytes (at most 4) at `offset`; bytes behind the end are zero.
std::uint32_t numberAt(ReadingFileHandle& file, std::int64_t offset, std::size_t count)
{
    std::array<std::uint8_t, 4> bytes = {};
    file.read(offset, std::span(bytes).first(count));
    return bigEndian(std::span(bytes).first(count));
}

bool isKnownMode(std::uint32_t mode)
{
    return mode <= 4 || (mode >= 7 && mode <= 9);
}

bool isKnownDepth(std::uint32_t depth)
{
    return depth == 1 || depth == 8 || depth == 16 || depth == 32;
}

bool isSize(std::uint32_t pixels)
{
    return pixels >= 1 && pixels <= PsdLayout::kMostPixels;
}

bool readHeader(const Header& header, PsdLayout& layout)
{
    const std::span bytes(header);
    const std::uint32_t height = bigEndian(bytes.subspan(14, 4));
    const std::uint32_t width = bigEndian(bytes.subspan(18, 4));
    const std::uint32_t depth = bigEndian(bytes.subspan(22, 2));
    const std::uint32_t mode = bigEndian(bytes.subspan(24, 2));
    const bool isDocument = bigEndian(bytes.first(4)) == 0x38425053U; // "8BPS"
    if (!isDocument || bigEndian(bytes.subspan(4, 2)) != 1 || !isSize(height) || !isSize(width) ||
        !isKnownDepth(depth) || !isKnownMode(mode)) {
        return false;
    }
    layout.declaredChannels = static_cast<int>(bigEndian(bytes.subspan(12, 2)));
    layout.height = height;
    layout.width = width;
    layout.depth = static_cast<int>(depth);
    layout.mode = static_cast<ColourMode>(mode);
    return true;
}

std::vector<std::uint8_t> readPalette(ReadingFileHandle& file, std::int64_t length)
{
    // Reds, greens and blues are a third of the block each, also where it is too short.
    const auto entries = std::min<std::size_t>(static_cast<std::size_t>(length), kPaletteBytes) / 3;
    std::vector<std::uint8_t> palette(entries * 3);
    palette.resize(file.read(kColourModeLengthOffset + 4, palette) / 3 * 3);
    return palette;
}

/// A layer count below zero says that the first extra channel is the transparency of the whole.
bool countIsNegative(ReadingFileHandle& file, std::int64_t section, std::int64_t length)
{
    return length >= 6 && numberAt(file, section + 4, 4) >= 2 &&
           static_cast<std::int16_t>(numberAt(file, section + 8, 2)) < 0;
}

/// A layer that was stored raw is salvaged with the two bytes behind each of its planes, which are
/// the next plane's compression code. The document then holds whole planes of two bytes more.
bool hasCodesBetweenPlanes(ReadingFileHandle& file, const PsdLayout& layout)
{
    const std::int64_t plane = layout.planeBytes();
    const std::int64_t data = layout.fileSize - layout.dataStart;
    const std::int64_t planes = (data + 2) / (plane + 2);
    const bool isWhole = data == planes * (plane + 2) || data == planes * (plane + 2) - 2;
    if (!isWhole || planes < 2 || planes > std::max(layout.channels(), 3)) {
        return false;
    }
    for (std::int64_t i = 1; i < planes; ++i) {
        if (numberAt(file, layout.dataStart + i * (plane + 2) - 2, 2) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<PsdLayout> PsdLayout::read(ReadingFileHandle& file)
{
    PsdLayout layout;
    layout.fileSize = file.size();
    Header header = {};
    if (layout.fileSize == 0 || file.read(0, header) < header.size() ||
        !readHeader(header, layout)) {
        return std::nullopt;
    }
    const std::int64_t paletteLength = numberAt(file, kColourModeLengthOffset, 4);
    if (layout.mode == ColourMode::Indexed && layout.depth == 8) {
        layout.palette = readPalette(file, paletteLength);
    }
    const std::int64_t resources = kColourModeLengthOffset + 4 + paletteLength;
    const std::int64_t layers = resources + 4 + numberAt(file, resources, 4);
    const std::int64_t layersLength = numberAt(file, layers, 4);
    layout.statesAlpha = countIsNegative(file, layers, layersLength);
    const std::int64_t compression = layers + 4 + layersLength;
    const std::uint32_t code = numberAt(file, compression, 2);
    if (code > 1) {
        return std::nullopt;
    }
    layout.isPacked = code == 1;
    layout.dataStart = compression + 2;
    const bool hasCodes = !layout.isPacked && hasCodesBetweenPlanes(file, layout);
    layout.planeStride = layout.planeBytes() + (hasCodes ? 2 : 0);
    return layout;
}

int PsdLayout::colourChannels() const
{
    if (depth == 1) {
        return 1;
    }
    switch (mode) {
    case ColourMode::Rgb:
    case ColourMode::Lab:
        return 3;
    case ColourMode::Cmyk:
        return 4;
    case ColourMode::Multichannel:
        return std::clamp(declaredChannels, 1, 4);
    case ColourMode::Bitmap:
    case ColourMode::Grayscale:
    case ColourMode::Indexed:
    case ColourMode::Duotone:
        break;
    }
    return 1;
}

int PsdLayout::alphaChannel() const
{
    const bool modeHasAlpha = mode == ColourMode::Rgb || mode == ColourMode::Grayscale;
    const int own = colourChannels();
    return modeHasAlpha && depth > 1 && channels() > own ? own : -1;
}

} // namespace talvek
