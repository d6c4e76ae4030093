#include "recovery/Flattening.h"

#include "recovery/Blending.h"
#include "recovery/HeaderFinder.h"
#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace talvek::recovery {

namespace {

constexpr std::size_t kMostLayers = 2000;
constexpr std::size_t kMostStreams = 400;
constexpr std::uint8_t kHidden = 2;
constexpr std::uint8_t kMaskDisabled = 2;
/// How dense and how soft the mask is.
constexpr std::uint8_t kMaskHasParameters = 16;
constexpr std::int16_t kAlpha = -1;
constexpr std::int16_t kMask = -2;

float sampleAt(std::span<const std::uint8_t> row, std::size_t x, int depth)
{
    if (depth == 32) {
        const auto value =
            std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(row.subspan(4 * x), 4)));
        return std::isfinite(value) ? value : 0.0F;
    }
    if (depth == 16) {
        return static_cast<float>(bigEndian(row.subspan(2 * x), 2)) / 65535.0F;
    }
    return static_cast<float>(row[x]) / 255.0F;
}

void putSample(std::span<std::uint8_t> row, std::size_t x, int depth, float value)
{
    if (depth == 32) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        for (unsigned i = 0; i < 4; ++i) {
            row[4 * x + i] = static_cast<std::uint8_t>(bits >> (24 - 8 * i));
        }
        return;
    }
    const float limited = std::clamp(value, 0.0F, 1.0F);
    if (depth == 16) {
        const auto whole = static_cast<std::uint32_t>(std::lround(limited * 65535.0F));
        row[2 * x] = static_cast<std::uint8_t>(whole >> 8U);
        row[2 * x + 1] = static_cast<std::uint8_t>(whole);
        return;
    }
    row[x] = static_cast<std::uint8_t>(std::lround(limited * 255.0F));
}

const Channel* channelOf(const Layer& layer, std::int16_t id)
{
    for (const Channel& channel : layer.channels) {
        if (channel.id == id && !channel.plane.isEmpty()) {
            return &channel;
        }
    }
    return nullptr;
}

/// The rows of a layer's channel, asked for by the canvas's rows, which ascend.
class ChannelRows
{
public:
    ChannelRows(SourceFiles& files, const Channel* channel) : m_channel(channel)
    {
        if (channel != nullptr) {
            m_reader = openPlane(files, channel->plane);
            m_row.resize(static_cast<std::size_t>(m_reader->rowBytes()));
            m_next = channel->bounds.top;
        }
    }

    [[nodiscard]] bool exists() const { return m_channel != nullptr; }
    [[nodiscard]] const Rectangle& bounds() const { return m_channel->bounds; }

    /// @return false if the row is lost or outside
    bool go(std::int32_t y)
    {
        if (m_channel == nullptr || y < bounds().top || y >= bounds().bottom) {
            return false;
        }
        m_reader->skipRows(y - m_next);
        m_next = y + 1;
        return m_reader->readRow(m_row);
    }
    [[nodiscard]] float at(std::int32_t x) const
    {
        return sampleAt(m_row, static_cast<std::size_t>(x - bounds().left), m_channel->plane.depth);
    }

private:
    const Channel* m_channel;
    std::unique_ptr<PlaneReader> m_reader;
    std::vector<std::uint8_t> m_row;
    std::int32_t m_next = 0;
};

struct OpenLayer
{
    OpenLayer(SourceFiles& files, const Layer& source, float strengthOfAll, std::int16_t channel)
        : layer(source),
          strength(strengthOfAll),
          blend(blendOf(source.blend)),
          alpha(files, channelOf(source, kAlpha)),
          mask(files, source.mask && (source.mask->flags & kMaskDisabled) == 0
                          ? channelOf(source, kMask)
                          : nullptr),
          color(files, channelOf(source, channel))
    {}

    const Layer& layer;
    float strength;
    Blend blend;
    ChannelRows alpha;
    ChannelRows mask;
    ChannelRows color;
};

/// Effects, adjustments, artboards and vector masks, which are drawn when the layers are put
/// together.
bool isDrawn(const TaggedBlock& block)
{
    constexpr std::array kKeys = {key("lfx2"), key("lmfx"), key("lrFX"), key("levl"), key("curv"),
                                  key("brit"), key("hue2"), key("hue "), key("blnc"), key("blwh"),
                                  key("phfl"), key("mixr"), key("clrL"), key("nvrt"), key("post"),
                                  key("thrs"), key("grdm"), key("selc"), key("expA"), key("vibA"),
                                  key("artb"), key("artd"), key("abdd"), key("vmsk"), key("vsms")};
    return std::find(kKeys.begin(), kKeys.end(), block.key) != kKeys.end();
}

/// Opacity of the layer and of all groups around it; 0 if one of them is hidden.
float strengthOf(const RecoveredDocument& document, const Layer& layer)
{
    float strength = 1;
    const Layer* one = &layer;
    // A group's record stands behind its members: the chain ascends and so ends.
    while (one != nullptr) {
        strength *= (one->flags & kHidden) != 0 ? 0.0F : static_cast<float>(one->opacity) / 255.0F;
        const std::int32_t parent = one->parent;
        const auto here = static_cast<std::int32_t>(one - document.layers.data());
        one = parent > here ? &document.layers[static_cast<std::size_t>(parent)] : nullptr;
    }
    return strength;
}

bool isPainted(const Layer& layer)
{
    return !layer.isDivider() && !layer.bounds.isEmpty() && layer.hasRecord &&
           layer.state != State::Lost && channelOf(layer, 0) != nullptr;
}

class FlattenedReader : public PlaneReader
{
public:
    FlattenedReader(SourceFiles& files, const RecoveredDocument& document, std::int32_t channel)
        : m_facts(document.facts),
          m_isOpacity(channel >= colorsOf(m_facts.mode)),
          m_isUnused(m_isOpacity && (!document.mergedAlpha || channel > colorsOf(m_facts.mode))),
          m_hasBlends(m_facts.mode != ColorMode::Lab || channel == 0)
    {
        for (const Layer& layer : document.layers) {
            const float strength = isPainted(layer) ? strengthOf(document, layer) : 0;
            if (strength > 0 && !m_isUnused) {
                const int color = m_isOpacity ? 0 : channel;
                m_layers.push_back(std::make_unique<OpenLayer>(files, layer, strength,
                                                               static_cast<std::int16_t>(color)));
            }
        }
    }

    [[nodiscard]] std::int32_t rows() const override { return m_facts.height; }
    [[nodiscard]] std::int64_t rowBytes() const override
    {
        return (std::int64_t{m_facts.width} * m_facts.depth + 7) / 8;
    }

    bool readRow(std::span<std::uint8_t> row) override
    {
        const auto width = static_cast<std::size_t>(m_facts.width);
        m_sum.assign(width, m_isOpacity ? 0.0F : 1.0F);
        m_base.assign(width, 1.0F);
        m_cover.assign(width, 0.0F);
        for (const auto& layer : m_layers) {
            lay(*layer);
        }
        for (std::size_t x = 0; x < width; ++x) {
            putSample(row, x, m_facts.depth, m_sum[x]);
        }
        ++m_y;
        return true;
    }
    void skipRows(std::int32_t count) override { m_y += count; }

private:
    void lay(OpenLayer& one)
    {
        const Rectangle& bounds = one.layer.bounds;
        const bool isBase = one.layer.clipping == 0;
        if (isBase) {
            std::fill(m_base.begin(), m_base.end(), 0.0F);
        }
        const bool hasAlpha = one.alpha.go(m_y);
        const bool hasMask = one.mask.go(m_y);
        const bool there = m_y >= bounds.top && m_y < bounds.bottom && one.color.go(m_y) &&
                           (hasAlpha || !one.alpha.exists());
        const std::int32_t from = std::max(0, bounds.left);
        const std::int32_t to = std::min(m_facts.width, bounds.right);
        for (std::int32_t x = from; there && x < to; ++x) {
            const auto at = static_cast<std::size_t>(x);
            const float shape = (hasAlpha ? one.alpha.at(x) : 1.0F) * maskAt(one, hasMask, x);
            const float cover = shape * one.strength * (isBase ? 1.0F : m_base[at]);
            const float above = m_isOpacity ? 1.0F : blended(one, one.color.at(x), at);
            m_sum[at] += cover * (above - m_sum[at]);
            m_cover[at] += cover * (1 - m_cover[at]);
            if (isBase) {
                m_base[at] = shape;
            }
        }
    }

    /// A layer blends with what is below it as far as anything is there; the white behind all
    /// layers is nothing.
    [[nodiscard]] float blended(const OpenLayer& one, float above, std::size_t at) const
    {
        const float cover = m_cover[at];
        if (cover <= 0 || !m_hasBlends) {
            return above;
        }
        const float below = (m_sum[at] - (1 - cover)) / cover;
        return above + cover * (one.blend(below, above) - above);
    }

    static float maskAt(const OpenLayer& one, bool hasRow, std::int32_t x)
    {
        if (!one.mask.exists()) {
            return 1;
        }
        const Rectangle& bounds = one.mask.bounds();
        return hasRow && x >= bounds.left && x < bounds.right
                   ? one.mask.at(x)
                   : static_cast<float>(one.layer.mask->defaultColor) / 255.0F;
    }

    const DocumentFacts& m_facts;
    bool m_isOpacity;
    bool m_isUnused;
    bool m_hasBlends; ///< the channel is one of light or ink, not one of a colour's direction
    std::vector<std::unique_ptr<OpenLayer>> m_layers;
    std::vector<float> m_sum;
    std::vector<float> m_cover; ///< how far layers cover the white behind them
    std::vector<float> m_base;  ///< opacity of the layer that the next ones may be clipped to
    std::int32_t m_y = 0;
};

} // namespace

bool canFlatten(const RecoveredDocument& document)
{
    std::size_t layers = 0;
    std::size_t streams = 0;
    for (const Layer& layer : document.layers) {
        if (!isPainted(layer) || strengthOf(document, layer) <= 0) {
            continue;
        }
        ++layers;
        for (const Channel& channel : layer.channels) {
            streams += channel.plane.compression >= Compression::Zip ? 1 : 0;
        }
    }
    return layers > 0 && layers <= kMostLayers && streams <= kMostStreams &&
           document.facts.depth >= 8 && colorsOf(document.facts.mode) > 0;
}

bool isAllInPixels(const RecoveredDocument& document)
{
    return std::none_of(document.layers.begin(), document.layers.end(), [&](const Layer& layer) {
        const bool isMore = std::any_of(layer.blocks.begin(), layer.blocks.end(),
                                        [](const TaggedBlock& block) { return isDrawn(block); });
        const bool isSoft = layer.mask && (layer.mask->flags & kMaskHasParameters) != 0;
        return strengthOf(document, layer) > 0 && (isMore || isSoft || !isBlendKnown(layer.blend));
    });
}

std::unique_ptr<PlaneReader> openFlattened(SourceFiles& files, const RecoveredDocument& document,
                                           std::int32_t channel)
{
    return std::make_unique<FlattenedReader>(files, document, channel);
}

} // namespace talvek::recovery
