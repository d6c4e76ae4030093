#include "recovery/HeaderRebuilder.h"

#include "recovery/HeaderCheck.h"
#include "recovery/HeaderFinder.h"
#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kMostExtent = 300000;
/// What the picture's own rows weigh at the most; every other witness weighs more.
constexpr int kWeightOfPicture = 2;
constexpr std::int64_t kMostLooked = 60 << 10;
constexpr std::int64_t kPaletteBytes = 768;
constexpr std::uint16_t kThumbnail = 0x040C;
constexpr std::uint16_t kOldThumbnail = 0x0409;
constexpr std::uint16_t kProfile = 0x040F;
constexpr std::uint16_t kMetadata = 0x0424;
constexpr std::uint16_t kSlices = 0x041A;
constexpr std::uint16_t kAlphaIds = 0x041D;

/// The number behind a four-letter key and its type "long" in a descriptor.
std::optional<std::int64_t> descriptorNumber(std::span<const std::uint8_t> bytes,
                                             std::string_view name, std::size_t& from)
{
    const std::string pattern = std::string(name) + "long";
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    const auto found = std::search(begin, bytes.end(), pattern.begin(), pattern.end());
    const auto at = static_cast<std::size_t>(found - bytes.begin()) + pattern.size();
    if (found == bytes.end() || bytes.size() - at < 4) {
        return std::nullopt;
    }
    from = at;
    return static_cast<std::int32_t>(bigEndian(bytes.subspan(at), 4));
}

bool isMode(std::int64_t value)
{
    return value >= 0 && value <= 9 && value != 5 && value != 6;
}

} // namespace

int depthOfLayerBlocks(SourceBytes& source, const SignatureIndex& index)
{
    for (const std::int64_t offset : index.blocks()) {
        const std::uint32_t blockKey = source.u32(offset + 4);
        if (blockKey == key("Lr16") || blockKey == key("Mt16")) {
            return 16;
        }
        if (blockKey == key("Lr32") || blockKey == key("Mt32")) {
            return 32;
        }
    }
    return 0;
}

void HeaderRebuilder::run(DocumentFacts& facts)
{
    m_depth = m_evidence.depth > 0                    ? m_evidence.depth
              : isToning()                            ? 32
              : modeOfMetadata() == ColorMode::Bitmap ? 1
                                                      : 8;
    m_colors = colorsTold();
    propose(m_evidence.statedWidth, m_evidence.statedHeight, 30);
    proposeFromSlices();
    proposeFromLayers();
    proposeFromThumbnail();
    proposeFromMetadata();
    proposeFromComposite();
    const auto best =
        std::max_element(m_sizes.begin(), m_sizes.end(),
                         [this](const Size& a, const Size& b) { return fit(a) < fit(b); });
    facts.origin = best == m_sizes.end() ? HeaderOrigin::Unknown : HeaderOrigin::Rebuilt;
    facts.sizeIsGuess = best != m_sizes.end() && best->weight <= kWeightOfPicture;
    if (best == m_sizes.end()) {
        facts.width = facts.width > 0 ? facts.width : 1;
        facts.height = facts.height > 0 ? facts.height : 1;
    } else {
        facts.width = static_cast<std::int32_t>(best->width);
        facts.height = static_cast<std::int32_t>(best->height);
        if (m_evidence.depth == 0 && m_evidence.composite) {
            const std::int64_t bits = m_evidence.composite->shape.rowBytes * 8 / best->width;
            m_depth = bits == 16 || bits == 32 || bits == 8 ? static_cast<int>(bits) : m_depth;
            if (m_evidence.composite->shape.rowBytes == (best->width + 7) / 8 && best->width > 8) {
                m_depth = 1;
            }
        }
    }
    const std::int64_t stored = best == m_sizes.end() ? 0 : channelsFor(*best);
    facts.channels =
        static_cast<std::int32_t>(stored > 0 ? stored : std::max(1, m_colors) + extraChannels());
    facts.depth = m_depth;
    facts.mode = mode(facts.channels);
    // One bit a sample is black and white, and nothing else is.
    if ((facts.mode == ColorMode::Bitmap) != (facts.depth == 1)) {
        facts.mode = facts.depth == 1 ? ColorMode::Bitmap : ColorMode::Grayscale;
    }
    if (stored == 0 && m_colors == 0) {
        facts.channels = std::max(1, colorsOf(facts.mode)) + extraChannels();
    }
}

void HeaderRebuilder::propose(std::int64_t width, std::int64_t height, int weight)
{
    if (width <= 0 || height <= 0 || width > kMostExtent || height > kMostExtent) {
        return;
    }
    const auto same =
        std::find_if(m_sizes.begin(), m_sizes.end(), [width, height](const Size& size) {
            return size.width == width && size.height == height;
        });
    if (same != m_sizes.end()) {
        same->weight += weight;
    } else if (m_sizes.size() < 4096) {
        m_sizes.push_back({width, height, weight});
    }
}

/// The slices' resource begins with the bounds of all slices: the canvas.
void HeaderRebuilder::proposeFromSlices()
{
    const Resource* resource = m_evidence.resources.find(kSlices);
    if (resource == nullptr || resource->data.length < 20) {
        return;
    }
    const std::int64_t at = resource->data.offset;
    if (m_source.u32(at) == 6) {
        propose(std::int64_t{m_source.i32(at + 16)} - m_source.i32(at + 8),
                std::int64_t{m_source.i32(at + 12)} - m_source.i32(at + 4), 1000);
        return;
    }
    const auto bytes =
        m_source.at(at, static_cast<std::size_t>(std::min(resource->data.length, kMostLooked)));
    std::size_t from = 0;
    const auto top = descriptorNumber(bytes, "Top ", from);
    const auto left = descriptorNumber(bytes, "Left", from);
    const auto bottom = descriptorNumber(bytes, "Btom", from);
    const auto right = descriptorNumber(bytes, "Rght", from);
    if (top && left && bottom && right) {
        propose(*right - *left, *bottom - *top, 1000);
    }
}

void HeaderRebuilder::proposeFromLayers()
{
    std::int64_t right = 0;
    std::int64_t bottom = 0;
    for (const LayerRecord& record : m_evidence.records) {
        const Rectangle& bounds = record.layer.bounds;
        if (bounds.top == 0 && bounds.left == 0) {
            propose(bounds.right, bounds.bottom, 10);
        }
        right = std::max<std::int64_t>(right, bounds.right);
        bottom = std::max<std::int64_t>(bottom, bounds.bottom);
        for (const Channel& channel : record.layer.channels) {
            if (channel.id < -1 && channel.bounds.top == 0 && channel.bounds.left == 0) {
                propose(channel.bounds.right, channel.bounds.bottom, 5);
            }
        }
    }
    propose(right, bottom, kWeightOfPicture + 1);
}

/// A small canvas has a thumbnail of its own size; of a large one it tells the aspect.
void HeaderRebuilder::proposeFromThumbnail()
{
    constexpr std::array kIds = {kThumbnail, kOldThumbnail};
    for (const std::uint16_t id : kIds) {
        const Resource* resource = m_evidence.resources.find(id);
        const auto thumbnail =
            resource == nullptr ? std::nullopt : thumbnailIn(m_source, *resource);
        if (!thumbnail) {
            continue;
        }
        propose(thumbnail->width, thumbnail->height, 3);
        const std::int64_t width = widthOfComposite();
        if (width <= 0) {
            continue;
        }
        const std::int64_t rows = m_evidence.composite->shape.rows;
        for (std::int64_t channels = 1; channels <= 57; ++channels) {
            // The thumbnail is rounded to whole pixels, so its aspect leaves some room.
            const std::int64_t height = rows / channels;
            const std::int64_t expected = width * thumbnail->height / thumbnail->width;
            const std::int64_t room = 1 + width / thumbnail->width + height / thumbnail->height;
            if (rows % channels == 0 && std::abs(height - expected) <= room) {
                propose(width, height, 4);
            }
        }
    }
}

void HeaderRebuilder::proposeFromMetadata()
{
    const auto width = metadataNumber("PixelXDimension");
    const auto height = metadataNumber("PixelYDimension");
    if (width && height) {
        propose(*width, *height, 20);
    }
}

void HeaderRebuilder::proposeFromComposite()
{
    const std::int64_t width = widthOfComposite();
    if (width <= 0) {
        return;
    }
    const std::int64_t rows = m_evidence.composite->shape.rows;
    const int usual = std::max(1, m_colors) + extraChannels();
    for (std::int64_t channels = 1; channels <= 57; ++channels) {
        if (rows % channels == 0) {
            propose(width, rows / channels, channels == usual ? kWeightOfPicture : 1);
        }
    }
}

std::int64_t HeaderRebuilder::widthOfComposite() const
{
    if (!m_evidence.composite) {
        return 0;
    }
    return m_evidence.composite->shape.rowBytes * 8 / m_depth;
}

/// Channels that the stored picture has at this size; 0 if it does not fit, or there is none.
std::int64_t HeaderRebuilder::channelsFor(const Size& size) const
{
    if (m_evidence.composite) {
        const PlaneShape& shape = m_evidence.composite->shape;
        const bool fits = shape.rows % size.height == 0 && shape.rows / size.height <= 57 &&
                          (shape.rowBytes == (size.width * m_depth + 7) / 8 ||
                           (m_evidence.depth == 0 && shape.rowBytes % size.width == 0));
        return fits ? shape.rows / size.height : 0;
    }
    const std::int64_t bytes = (size.width * m_depth + 7) / 8 * size.height;
    const std::int64_t channels = m_evidence.rawBytes / bytes;
    const bool fits = m_evidence.rawBytes > 0 && m_evidence.rawBytes % bytes == 0;
    return fits && channels <= 57 ? channels : 0;
}

int HeaderRebuilder::fit(const Size& size) const
{
    const std::int64_t channels = channelsFor(size);
    const bool enough = channels >= std::max(1, m_colors);
    const bool expected = m_colors > 0 && channels == m_colors + extraChannels();
    return size.weight + (channels > 0 ? (enough ? 100000 : 50000) : 0) + (expected ? 5 : 0);
}

/// By what the metadata say of the mode, by the layers' channel lists or by the profile.
int HeaderRebuilder::colorsTold()
{
    const auto mode = modeOfMetadata();
    if (mode && colorsOf(*mode) > 0) {
        return colorsOf(*mode);
    }
    if (const int layers = colorsOfRecords(m_evidence.records); layers > 0) {
        return layers;
    }
    // Indexed colours and toned ones have a profile of what they stand for.
    const bool isPlain = m_evidence.colorData.length == 0 || isToning();
    const auto told = isPlain ? modeOfProfile() : std::nullopt;
    return told ? colorsOf(*told) : 0;
}

/// Pictures of 32 bits a sample keep there how they are shown.
bool HeaderRebuilder::isToning()
{
    return m_evidence.colorData.length >= 4 &&
           m_source.u32(m_evidence.colorData.offset) == key("hdrt");
}

int HeaderRebuilder::extraChannels() const
{
    const Resource* alphas = m_evidence.resources.find(kAlphaIds);
    const auto stated = alphas == nullptr ? 0 : static_cast<int>(alphas->data.length / 4);
    return std::clamp(std::max(stated, m_evidence.mergedAlpha ? 1 : 0), 0, 53);
}

ColorMode HeaderRebuilder::mode(int channels)
{
    if (const auto told = modeOfMetadata()) {
        return *told;
    }
    const std::int64_t colorBytes = m_evidence.colorData.length;
    if (colorBytes == kPaletteBytes) {
        return ColorMode::Indexed;
    }
    if (colorBytes > 0 && !isToning() && m_colors <= 1) {
        return ColorMode::Duotone;
    }
    if (m_depth == 1) {
        return ColorMode::Bitmap;
    }
    if (const auto told = modeOfProfile()) {
        return *told;
    }
    const int count = m_colors > 0 ? m_colors : channels;
    return count <= 2                    ? ColorMode::Grayscale
           : count == 3 || m_colors == 0 ? ColorMode::Rgb
                                         : ColorMode::Cmyk;
}

std::optional<ColorMode> HeaderRebuilder::modeOfMetadata()
{
    const auto number = metadataNumber("photoshop:ColorMode");
    return number && isMode(*number) ? std::optional(static_cast<ColorMode>(*number))
                                     : std::nullopt;
}

std::optional<ColorMode> HeaderRebuilder::modeOfProfile()
{
    const Resource* profile = m_evidence.resources.find(kProfile);
    switch (profile == nullptr ? 0 : m_source.u32(profile->data.offset + 16)) {
    case key("RGB "):
        return ColorMode::Rgb;
    case key("CMYK"):
        return ColorMode::Cmyk;
    case key("GRAY"):
        return ColorMode::Grayscale;
    case key("Lab "):
        return ColorMode::Lab;
    default:
        return std::nullopt;
    }
}

/// The number of a property, as an attribute or as an element.
std::optional<std::int64_t> HeaderRebuilder::metadataNumber(const char* name)
{
    const Resource* xmp = m_evidence.resources.find(kMetadata);
    if (xmp == nullptr) {
        return std::nullopt;
    }
    const std::string_view wanted(name);
    const auto bytes = m_source.at(
        xmp->data.offset, static_cast<std::size_t>(std::min(xmp->data.length, kMostLooked)));
    auto at = std::search(bytes.begin(), bytes.end(), wanted.begin(), wanted.end());
    if (at == bytes.end()) {
        return std::nullopt;
    }
    at += static_cast<std::ptrdiff_t>(wanted.size());
    const auto isBetween = [](std::uint8_t c) {
        return c == '=' || c == '"' || c == '\'' || c == '>';
    };
    while (at != bytes.end() && isBetween(*at)) {
        ++at;
    }
    std::int64_t value = -1;
    for (; at != bytes.end() && std::isdigit(*at) != 0 && value < kMostExtent; ++at) {
        value = std::max<std::int64_t>(value, 0) * 10 + (*at - '0');
    }
    return value >= 0 ? std::optional(value) : std::nullopt;
}

} // namespace talvek::recovery
