#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/ChannelData.h"
#include "tests/support/Document.h"
#include "tests/support/Random.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvek::test {

/// The header's colour modes.
enum class Mode : std::uint16_t
{
    bitmap = 0,
    grayscale = 1,
    indexed = 2,
    rgb = 3,
    cmyk = 4,
    multichannel = 7,
    duotone = 8,
    lab = 9,
};

/// Builds PSD documents in memory.
///
/// What is said about the document may come in any order; what is said about a layer holds for the
/// layer named last. Without a word said, the document is 8-bit RGB, 4 columns by 3 rows, without
/// resources and layers, its composite PackBits; a layer covers the document, is opaque, in normal
/// mode, PackBits, and has the colour channels that the mode asks for.
class PsdBuilder
{
public:
    // The document.
    PsdBuilder& size(std::uint32_t columns, std::uint32_t rows);
    PsdBuilder& mode(Mode mode);
    /// Bits a sample: 1, 8, 16 or 32.
    PsdBuilder& depth(int depth);
    /// The header's channel count, and the composite's planes.
    PsdBuilder& channelCount(int count);
    PsdBuilder& version(std::uint16_t version);
    PsdBuilder& colourModeData(Bytes data);
    /// Pixels depend on this alone.
    PsdBuilder& pixelSeed(std::uint64_t seed);
    PsdBuilder& composite(Packing packing);
    /// The composite as it is to stand in the file, behind a compression code of any value.
    PsdBuilder& compositeStream(std::uint16_t code, Bytes stream);
    /// Bytes behind the composite.
    PsdBuilder& trailing(Bytes bytes);

    // Resources, in the order in which they are to stand.
    PsdBuilder& resource(std::uint16_t id, const Bytes& data, std::string_view name = {});
    /// Resource 0x040C: the thumbnail header of 28 bytes, then `jpeg`.
    PsdBuilder& thumbnail(const Bytes& jpeg);
    /// Resource 0x0409, as programs wrote it of old.
    PsdBuilder& oldThumbnail(const Bytes& jpeg);
    /// A resource of no meaning that brings the section to exactly `bytes` bytes so far (zeros
    /// where less than a resource is wanting). Requires: the section is no longer than that.
    PsdBuilder& fillResourcesTo(std::size_t bytes);

    // Layers, from the lowest up.
    PsdBuilder& layer(std::string name);
    /// Four characters.
    PsdBuilder& blend(std::string key);
    PsdBuilder& opacity(std::uint8_t opacity);
    /// Any values; there are pixels only where they make a sane size.
    PsdBuilder& bounds(std::int32_t top, std::int32_t left, std::int32_t bottom,
                       std::int32_t right);
    /// Transparency, channel -1, in front of the colours.
    PsdBuilder& transparent();
    /// A user mask, channel -2, behind the colours; it covers the layer.
    PsdBuilder& masked();
    /// The channels, by identifier, in this order, instead of those above.
    PsdBuilder& channels(std::vector<std::int16_t> ids);
    PsdBuilder& packing(Packing packing);
    PsdBuilder& channelPacking(std::int16_t id, Packing packing);
    /// A channel as it is to stand in the file, behind a compression code of any value.
    PsdBuilder& channelStream(std::int16_t id, std::uint16_t code, Bytes stream);
    /// A tagged block in the layer's record, padded to even length.
    PsdBuilder& taggedBlock(std::string_view key, const Bytes& data);
    /// Opens a group: its end mark, which stands below what it holds.
    PsdBuilder& beginGroup();
    /// Closes it: the layer that carries its name, in pass-through mode.
    PsdBuilder& endGroup(std::string name);

    // Behind the layers.
    PsdBuilder& filterMask();
    PsdBuilder& globalBlock(std::string_view key, const Bytes& data);
    /// The layers stand in a tagged block "Lr16" or "Lr32", as they do at these depths.
    PsdBuilder& layersInBlock();
    /// The layer count is negative: the composite's first alpha channel is its transparency.
    PsdBuilder& mergedAlpha();

    [[nodiscard]] Document build() const;

private:
    struct Stream
    {
        std::uint16_t code = 0;
        Bytes bytes; ///< behind the code
    };

    struct Layer
    {
        std::string name;
        std::string blend = "norm";
        std::uint8_t opacity = 255;
        std::int32_t top = 0;
        std::int32_t left = 0;
        std::optional<std::int32_t> bottom; ///< the document's, unless said
        std::optional<std::int32_t> right;
        bool transparent = false;
        bool masked = false;
        std::optional<std::vector<std::int16_t>> channels;
        Packing packing = Packing::packBits;
        std::map<std::int16_t, Packing> packings;
        std::map<std::int16_t, Stream> streams;
        Bytes taggedBlocks;
    };

    [[nodiscard]] int colourChannels() const;
    [[nodiscard]] std::vector<std::int16_t> channelsOf(const Layer& layer) const;
    [[nodiscard]] Plane planeOf(const Layer& layer) const;
    [[nodiscard]] Stream channelOf(const Layer& layer, std::int16_t id, Random& random) const;
    [[nodiscard]] Stream compositeOf(Random& random) const;

    void addHeader(Document& document) const;
    void addResources(Document& document) const;
    void addLayerAndMask(Document& document, Random& random) const;
    void addLayers(Document& document, Random& random) const;
    void addRecord(Document& document, const Layer& layer,
                   const std::vector<Stream>& streams) const;
    [[nodiscard]] Bytes extraDataOf(const Layer& layer) const;
    void addGlobalBlocks(Document& document) const;
    void addComposite(Document& document, Random& random) const;
    PsdBuilder& thumbnailResource(std::uint16_t id, const Bytes& jpeg);

    std::uint32_t m_columns = 4;
    std::uint32_t m_rows = 3;
    Mode m_mode = Mode::rgb;
    int m_depth = 8;
    std::optional<int> m_channelCount;
    std::uint16_t m_version = 1;
    std::uint64_t m_pixelSeed = 1;
    Bytes m_colourModeData;
    Bytes m_resources;
    std::vector<Document::Block> m_thumbnails; ///< offsets from the start of `m_resources`
    std::vector<Layer> m_layers;
    std::vector<std::pair<std::string, Bytes>> m_globalBlocks;
    bool m_layersInBlock = false;
    bool m_mergedAlpha = false;
    Packing m_compositePacking = Packing::packBits;
    std::optional<Stream> m_compositeStream;
    Bytes m_trailing;
};

} // namespace talvek::test
