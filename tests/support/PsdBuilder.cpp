#include "tests/support/PsdBuilder.h"

#include "tests/support/Blocks.h"

#include <stdexcept>

namespace talvek::test {

namespace {

constexpr std::size_t kResourceHeaderBytes = 12; // signature, identifier, empty name, length
constexpr std::uint16_t kFillerResource = 4000;  // the range left to plug-ins
constexpr std::uint32_t kGroupEnd = 3;
constexpr std::uint32_t kOpenGroup = 1;

Bytes sectionDivider(std::uint32_t type, std::string_view blend)
{
    Bytes data;
    appendU32(data, type);
    append(data, "8BIM");
    append(data, blend);
    return data;
}

Bytes filterMaskData()
{
    Bytes data;
    for (const std::uint32_t word : {0U, 0xFFFFU, 0U, 0U, 0U, 50U}) {
        appendU16(data, word); // colour space, four components, opacity in percent
    }
    return data;
}

} // namespace

PsdBuilder& PsdBuilder::resource(std::uint16_t id, const Bytes& data, std::string_view name)
{
    append(m_resources, "8BIM");
    appendU16(m_resources, id);
    append(m_resources, pascalString(name, 2));
    appendU32(m_resources, static_cast<std::uint32_t>(data.size()));
    Bytes padded = data;
    padTo(padded, 2);
    append(m_resources, padded);
    return *this;
}

PsdBuilder& PsdBuilder::thumbnailResource(std::uint16_t id, const Bytes& jpeg)
{
    const auto start = static_cast<std::int64_t>(m_resources.size());
    Bytes data;
    const auto jpegBytes = static_cast<std::uint32_t>(jpeg.size());
    for (const std::uint32_t word : {1U, 4U, 3U, 12U, 36U, jpegBytes}) {
        appendU32(data, word); // JPEG, width, height, row bytes, total size, packed size
    }
    appendU16(data, 24); // bits a pixel
    appendU16(data, 1);  // planes
    append(data, jpeg);
    resource(id, data);
    m_thumbnails.push_back(
        {start, start + 8, start + 12, static_cast<std::int64_t>(data.size()), {}});
    return *this;
}

PsdBuilder& PsdBuilder::thumbnail(const Bytes& jpeg)
{
    return thumbnailResource(0x040C, jpeg);
}

PsdBuilder& PsdBuilder::oldThumbnail(const Bytes& jpeg)
{
    return thumbnailResource(0x0409, jpeg);
}

PsdBuilder& PsdBuilder::fillResourcesTo(std::size_t bytes)
{
    if (m_resources.size() > bytes) {
        throw std::logic_error("the resources are longer than that already");
    }
    const std::size_t wanting = bytes - m_resources.size();
    if (wanting >= kResourceHeaderBytes) {
        resource(kFillerResource, Bytes(wanting - kResourceHeaderBytes, 0x5A));
    }
    m_resources.resize(bytes);
    return *this;
}

PsdBuilder& PsdBuilder::layer(std::string name)
{
    m_layers.emplace_back().name = std::move(name);
    return *this;
}

PsdBuilder& PsdBuilder::bounds(std::int32_t top, std::int32_t left, std::int32_t bottom,
                               std::int32_t right)
{
    Layer& layer = m_layers.back();
    layer.top = top;
    layer.left = left;
    layer.bottom = bottom;
    layer.right = right;
    return *this;
}

PsdBuilder& PsdBuilder::taggedBlock(std::string_view key, const Bytes& data)
{
    append(m_layers.back().taggedBlocks, taggedBlockOf(key, data, 2));
    return *this;
}

PsdBuilder& PsdBuilder::beginGroup()
{
    return layer("</Layer group>")
        .bounds(0, 0, 0, 0)
        .packing(Packing::raw)
        .taggedBlock("lsct", sectionDivider(kGroupEnd, "norm"));
}

PsdBuilder& PsdBuilder::endGroup(std::string name)
{
    return layer(std::move(name))
        .blend("pass")
        .bounds(0, 0, 0, 0)
        .packing(Packing::raw)
        .taggedBlock("lsct", sectionDivider(kOpenGroup, "pass"));
}

PsdBuilder& PsdBuilder::filterMask()
{
    return globalBlock("FMsk", filterMaskData());
}

PsdBuilder& PsdBuilder::globalBlock(std::string_view key, const Bytes& data)
{
    m_globalBlocks.emplace_back(key, data);
    return *this;
}

PsdBuilder& PsdBuilder::size(std::uint32_t columns, std::uint32_t rows)
{
    m_columns = columns;
    m_rows = rows;
    return *this;
}

PsdBuilder& PsdBuilder::mode(Mode mode)
{
    m_mode = mode;
    return *this;
}

PsdBuilder& PsdBuilder::depth(int depth)
{
    m_depth = depth;
    return *this;
}

PsdBuilder& PsdBuilder::channelCount(int count)
{
    m_channelCount = count;
    return *this;
}

PsdBuilder& PsdBuilder::version(std::uint16_t version)
{
    m_version = version;
    return *this;
}

PsdBuilder& PsdBuilder::colourModeData(Bytes data)
{
    m_colourModeData = std::move(data);
    return *this;
}

PsdBuilder& PsdBuilder::pixelSeed(std::uint64_t seed)
{
    m_pixelSeed = seed;
    return *this;
}

PsdBuilder& PsdBuilder::composite(Packing packing)
{
    m_compositePacking = packing;
    return *this;
}

PsdBuilder& PsdBuilder::compositeStream(std::uint16_t code, Bytes stream)
{
    m_compositeStream = Stream{code, std::move(stream)};
    return *this;
}

PsdBuilder& PsdBuilder::trailing(Bytes bytes)
{
    m_trailing = std::move(bytes);
    return *this;
}

PsdBuilder& PsdBuilder::blend(std::string key)
{
    m_layers.back().blend = std::move(key);
    return *this;
}

PsdBuilder& PsdBuilder::opacity(std::uint8_t opacity)
{
    m_layers.back().opacity = opacity;
    return *this;
}

PsdBuilder& PsdBuilder::transparent()
{
    m_layers.back().transparent = true;
    return *this;
}

PsdBuilder& PsdBuilder::masked()
{
    m_layers.back().masked = true;
    return *this;
}

PsdBuilder& PsdBuilder::channels(std::vector<std::int16_t> ids)
{
    m_layers.back().channels = std::move(ids);
    return *this;
}

PsdBuilder& PsdBuilder::packing(Packing packing)
{
    m_layers.back().packing = packing;
    return *this;
}

PsdBuilder& PsdBuilder::channelPacking(std::int16_t id, Packing packing)
{
    m_layers.back().packings[id] = packing;
    return *this;
}

PsdBuilder& PsdBuilder::channelStream(std::int16_t id, std::uint16_t code, Bytes stream)
{
    m_layers.back().streams[id] = Stream{code, std::move(stream)};
    return *this;
}

PsdBuilder& PsdBuilder::layersInBlock()
{
    m_layersInBlock = true;
    return *this;
}

PsdBuilder& PsdBuilder::mergedAlpha()
{
    m_mergedAlpha = true;
    return *this;
}

} // namespace talvek::test
