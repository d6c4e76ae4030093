#include "tests/support/Blocks.h"
#include "tests/support/PackBits.h"
#include "tests/support/PsdBuilder.h"

namespace talvek::test {

namespace {

constexpr std::int32_t kLongestSide = 4096;

std::int64_t here(const Document& document)
{
    return document.size();
}

/// A length field that is not known yet; `closeLength` makes it state what follows.
std::int64_t openLength(Document& document)
{
    const std::int64_t field = here(document);
    appendU32(document.bytes, 0);
    return field;
}

std::int64_t closeLength(Document& document, std::int64_t field)
{
    const std::int64_t length = here(document) - field - 4;
    document.lieLength(field, length);
    return length;
}

Document::Block closeSection(Document& document, std::int64_t field)
{
    return {field, field, field + 4, closeLength(document, field), {}};
}

} // namespace

// What a layer is made of.

int PsdBuilder::colourChannels() const
{
    switch (m_mode) {
    case Mode::rgb:
    case Mode::lab:
    case Mode::multichannel:
        return 3;
    case Mode::cmyk:
        return 4;
    default:
        return 1;
    }
}

std::vector<std::int16_t> PsdBuilder::channelsOf(const Layer& layer) const
{
    if (layer.channels) {
        return *layer.channels;
    }
    std::vector<std::int16_t> ids;
    if (layer.transparent) {
        ids.push_back(-1);
    }
    for (int id = 0; id < colourChannels(); ++id) {
        ids.push_back(static_cast<std::int16_t>(id));
    }
    if (layer.masked) {
        ids.push_back(-2);
    }
    return ids;
}

Plane PsdBuilder::planeOf(const Layer& layer) const
{
    const std::int64_t rows =
        std::int64_t{layer.bottom.value_or(static_cast<std::int32_t>(m_rows))} - layer.top;
    const std::int64_t columns =
        std::int64_t{layer.right.value_or(static_cast<std::int32_t>(m_columns))} - layer.left;
    const bool sane = rows > 0 && columns > 0 && rows <= kLongestSide && columns <= kLongestSide;
    return sane ? Plane{rows, columns, m_depth} : Plane{0, 0, m_depth};
}

PsdBuilder::Stream PsdBuilder::channelOf(const Layer& layer, std::int16_t id, Random& random) const
{
    const auto stream = layer.streams.find(id);
    if (stream != layer.streams.end()) {
        return stream->second;
    }
    const auto own = layer.packings.find(id);
    const Packing packing = own != layer.packings.end() ? own->second : layer.packing;
    const Plane plane = planeOf(layer);
    const Bytes pixels =
        randomPixels(static_cast<std::size_t>(plane.rows) * plane.rowBytes(), random);
    return {static_cast<std::uint16_t>(packing), storedPlanes(pixels, plane, 1, packing, random)};
}

PsdBuilder::Stream PsdBuilder::compositeOf(Random& random) const
{
    if (m_compositeStream) {
        return *m_compositeStream;
    }
    const Plane plane = {m_rows, m_columns, m_depth};
    const int planes = m_channelCount.value_or(colourChannels());
    const std::size_t count =
        static_cast<std::size_t>(planes) * static_cast<std::size_t>(plane.rows) * plane.rowBytes();
    return {static_cast<std::uint16_t>(m_compositePacking),
            storedPlanes(randomPixels(count, random), plane, planes, m_compositePacking, random)};
}

// The file, section by section.

Document PsdBuilder::build() const
{
    Random random(m_pixelSeed);
    Document document;
    addHeader(document);
    const std::int64_t colourModeField = openLength(document);
    append(document.bytes, m_colourModeData);
    document.colourModeData = closeSection(document, colourModeField);
    addResources(document);
    addLayerAndMask(document, random);
    addComposite(document, random);
    append(document.bytes, m_trailing);
    return document;
}

void PsdBuilder::addHeader(Document& document) const
{
    append(document.bytes, "8BPS");
    appendU16(document.bytes, m_version);
    append(document.bytes, Bytes(6));
    appendU16(document.bytes,
              static_cast<std::uint32_t>(m_channelCount.value_or(colourChannels())));
    appendU32(document.bytes, m_rows);
    appendU32(document.bytes, m_columns);
    appendU16(document.bytes, static_cast<std::uint32_t>(m_depth));
    appendU16(document.bytes, static_cast<std::uint32_t>(m_mode));
}

void PsdBuilder::addResources(Document& document) const
{
    const std::int64_t field = openLength(document);
    for (Document::Block thumbnail : m_thumbnails) {
        thumbnail.start += here(document);
        thumbnail.lengthField += here(document);
        thumbnail.data += here(document);
        document.thumbnails.push_back(thumbnail);
    }
    append(document.bytes, m_resources);
    document.imageResources = closeSection(document, field);
}

void PsdBuilder::addLayerAndMask(Document& document, Random& random) const
{
    const std::int64_t field = openLength(document);
    if (!m_layers.empty() || !m_globalBlocks.empty()) {
        const std::int64_t layerInfo = openLength(document);
        if (!m_layersInBlock) {
            addLayers(document, random);
        }
        closeLength(document, layerInfo);
        appendU32(document.bytes, 0); // no global layer mask
        if (m_layersInBlock) {
            append(document.bytes, m_depth == 32 ? "8BIMLr32" : "8BIMLr16");
            const std::int64_t block = openLength(document);
            addLayers(document, random);
            closeLength(document, block);
        }
        addGlobalBlocks(document);
    }
    document.layerAndMask = closeSection(document, field);
}

void PsdBuilder::addLayers(Document& document, Random& random) const
{
    if (m_layers.empty()) {
        return;
    }
    document.layerCount = here(document);
    const int count = static_cast<int>(m_layers.size());
    appendI32(document.bytes, m_mergedAlpha ? -count : count);
    document.bytes.erase(document.bytes.end() - 4, document.bytes.end() - 2);
    std::vector<std::vector<Stream>> streams;
    for (const Layer& layer : m_layers) {
        std::vector<Stream>& ofLayer = streams.emplace_back();
        for (const std::int16_t id : channelsOf(layer)) {
            ofLayer.push_back(channelOf(layer, id, random));
        }
        addRecord(document, layer, ofLayer);
    }
    document.channelImageData = here(document);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        for (std::size_t k = 0; k < streams[i].size(); ++k) {
            document.records[i].channels[k].data = here(document);
            appendU16(document.bytes, streams[i][k].code);
            append(document.bytes, streams[i][k].bytes);
        }
    }
    padTo(document.bytes, 2);
}

void PsdBuilder::addRecord(Document& document, const Layer& layer,
                           const std::vector<Stream>& streams) const
{
    Document::Record record;
    record.name = layer.name;
    record.start = here(document);
    appendI32(document.bytes, layer.top);
    appendI32(document.bytes, layer.left);
    appendI32(document.bytes, layer.bottom.value_or(static_cast<std::int32_t>(m_rows)));
    appendI32(document.bytes, layer.right.value_or(static_cast<std::int32_t>(m_columns)));
    const std::vector<std::int16_t> ids = channelsOf(layer);
    appendU16(document.bytes, static_cast<std::uint32_t>(ids.size()));
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const auto length = static_cast<std::int64_t>(streams[i].bytes.size()) + 2;
        record.channels.push_back(
            {ids[i], static_cast<Packing>(streams[i].code), here(document), 0, length});
        appendU16(document.bytes, static_cast<std::uint16_t>(ids[i]));
        appendI32(document.bytes, length);
    }
    record.signature = here(document);
    append(document.bytes, "8BIM");
    append(document.bytes, layer.blend);
    append(document.bytes, Bytes{layer.opacity, 0, 8, 0}); // opacity, clipping, flags, filler
    record.extraLength = openLength(document);
    append(document.bytes, extraDataOf(layer));
    closeLength(document, record.extraLength);
    record.end = here(document);
    document.records.push_back(record);
}

Bytes PsdBuilder::extraDataOf(const Layer& layer) const
{
    Bytes extra;
    appendU32(extra, layer.masked ? 20 : 0);
    if (layer.masked) {
        appendI32(extra, layer.top);
        appendI32(extra, layer.left);
        appendI32(extra, layer.bottom.value_or(static_cast<std::int32_t>(m_rows)));
        appendI32(extra, layer.right.value_or(static_cast<std::int32_t>(m_columns)));
        append(extra, Bytes{255, 0, 0, 0}); // default colour, flags, padding
    }
    appendU32(extra, 0); // no blending ranges
    append(extra, pascalString(layer.name, 4));
    append(extra, layer.taggedBlocks);
    return extra;
}

void PsdBuilder::addGlobalBlocks(Document& document) const
{
    for (const auto& [key, data] : m_globalBlocks) {
        const std::int64_t start = here(document);
        append(document.bytes, taggedBlockOf(key, data, 4));
        document.globalBlocks.push_back(
            {start, start + 8, start + 12, here(document) - start - 12, key});
    }
}

void PsdBuilder::addComposite(Document& document, Random& random) const
{
    document.composite = here(document);
    const Stream stream = compositeOf(random);
    appendU16(document.bytes, stream.code);
    append(document.bytes, stream.bytes);
}

} // namespace talvek::test
