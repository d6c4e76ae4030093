#include "recovery/HeaderFinder.h"

#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <string_view>

namespace talvek::recovery {

namespace {

constexpr std::int32_t kMostExtent = 300000;
constexpr std::int32_t kMostChannels = 99;
constexpr std::int64_t kMostColorData = 1 << 20;
/// How far behind its description an embedded document may begin.
constexpr std::int64_t kDescriptionBytes = 4096;

bool isDepth(std::int32_t depth)
{
    return depth == 1 || depth == 8 || depth == 16 || depth == 32;
}

bool isMode(std::int32_t mode)
{
    return mode >= 0 && mode <= 9 && mode != 5 && mode != 6;
}

bool isEmbedded(SourceBytes& source, const std::vector<ByteRange>& embedded, std::int64_t offset)
{
    for (const ByteRange& range : embedded) {
        if (offset >= range.offset && offset < range.end()) {
            return true;
        }
    }
    const std::int64_t from = std::max<std::int64_t>(0, offset - kDescriptionBytes);
    const auto view = source.at(from, static_cast<std::size_t>(offset - from));
    constexpr std::string_view kEntry = "liFD";
    return std::search(view.begin(), view.end(), kEntry.begin(), kEntry.end()) != view.end();
}

} // namespace

namespace {

/// What every header holds alike: a signature of four bytes in front, six zeros behind the version.
struct FixedBytes
{
    int wrongInSignature = 0;
    int wrongInReserve = 0;
};

FixedBytes checkFixedBytes(SourceBytes& source, std::int64_t offset)
{
    constexpr std::string_view kSignature = "8BPS";
    constexpr std::int64_t kReserveAt = 6;
    constexpr std::int64_t kReserveBytes = 6;
    FixedBytes fixed;
    for (std::size_t i = 0; i < kSignature.size(); ++i) {
        const auto letter = static_cast<std::uint8_t>(kSignature[i]);
        fixed.wrongInSignature +=
            source.u8(offset + static_cast<std::int64_t>(i)) != letter ? 1 : 0;
    }
    for (std::int64_t i = 0; i < kReserveBytes; ++i) {
        fixed.wrongInReserve += source.u8(offset + kReserveAt + i) != 0 ? 1 : 0;
    }
    return fixed;
}

} // namespace

bool hasChangedHeader(SourceBytes& source, const DocumentFacts& facts)
{
    if (facts.origin != HeaderOrigin::Header) {
        return false;
    }
    const FixedBytes fixed = checkFixedBytes(source, facts.header.offset);
    return fixed.wrongInSignature + fixed.wrongInReserve == 1;
}

std::optional<DocumentFacts> readHeader(SourceBytes& source, std::int64_t offset)
{
    const FixedBytes fixed = checkFixedBytes(source, offset);
    DocumentFacts facts;
    facts.version = source.u16(offset + 4);
    facts.channels = source.u16(offset + 12);
    facts.height = source.i32(offset + 14);
    facts.width = source.i32(offset + 18);
    facts.depth = source.u16(offset + 22);
    const std::int32_t mode = source.u16(offset + 24);
    facts.mode = static_cast<ColorMode>(mode);
    facts.header = {offset, kHeaderBytes, 0};
    const bool isHeader = fixed.wrongInReserve == 0 || fixed.wrongInSignature == 0;
    const bool sound = isHeader && (facts.version == 1 || facts.version == 2) &&
                       fixed.wrongInReserve <= 1 && facts.channels >= 1 &&
                       facts.channels <= kMostChannels && facts.height >= 1 &&
                       facts.height <= kMostExtent && facts.width >= 1 &&
                       facts.width <= kMostExtent && isDepth(facts.depth) && isMode(mode);
    return sound ? std::optional(facts) : std::nullopt;
}

std::optional<DocumentFacts> findHeader(SourceBytes& source, const SignatureIndex& index,
                                        const std::vector<ByteRange>& embedded)
{
    if (auto facts = readHeader(source, 0)) {
        return facts;
    }
    for (const std::int64_t offset : index.headers()) {
        auto facts = readHeader(source, offset);
        if (facts && !isEmbedded(source, embedded, offset)) {
            return facts;
        }
    }
    return std::nullopt;
}

int colorsOf(ColorMode mode)
{
    switch (mode) {
    case ColorMode::Rgb:
    case ColorMode::Lab:
        return 3;
    case ColorMode::Cmyk:
        return 4;
    case ColorMode::Bitmap:
    case ColorMode::Grayscale:
    case ColorMode::Indexed:
    case ColorMode::Duotone:
        return 1;
    case ColorMode::Multichannel:
        break;
    }
    return 0;
}

StatedSections readStatedSections(SourceBytes& source, std::int64_t headerOffset,
                                  bool largeDocument)
{
    StatedSections sections;
    const std::int64_t colorAt = headerOffset + kHeaderBytes;
    const ByteRange color{colorAt + 4, source.u32(colorAt), 0};
    if (color.length > kMostColorData || color.end() > source.size() - 4) {
        return sections;
    }
    sections.colorData = color;
    sections.resourcesStart = color.end() + 4;
    sections.resourcesEnd = sections.resourcesStart + source.u32(color.end());
    if (sections.resourcesEnd > source.size() - 4) {
        sections.resourcesEnd = -1;
        return sections;
    }
    const std::int64_t lengthBytes = largeDocument ? 8 : 4;
    const std::uint64_t length =
        source.number(sections.resourcesEnd, static_cast<std::size_t>(lengthBytes));
    const std::int64_t start = sections.resourcesEnd + lengthBytes;
    sections.layersStart = start <= source.size() ? start : -1;
    if (start <= source.size() && length <= static_cast<std::uint64_t>(source.size() - start)) {
        sections.layersEnd = start + static_cast<std::int64_t>(length);
    }
    return sections;
}

} // namespace talvek::recovery
