#include "recovery/LayeredDocumentWriter.h"

#include "recovery/DocumentBlocks.h"
#include "recovery/PlaneWriter.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kPaletteBytes = 768;
constexpr std::uint16_t kGroupIds = 0x0402;
constexpr std::uint16_t kGroupsEnabled = 0x0430;
constexpr std::uint16_t kLayerState = 0x0400;
constexpr std::size_t kMostPascalName = 255;

std::int64_t paddedTo(std::int64_t length, std::int64_t unit)
{
    return (length + unit - 1) / unit * unit;
}

/// The name's letters that the old one-byte field can hold.
std::string plainName(const std::string& name)
{
    std::string plain;
    for (const char letter : name) {
        if (static_cast<unsigned char>(letter) < 0x80 && plain.size() < kMostPascalName) {
            plain += letter;
        }
    }
    return plain;
}

bool hasBlock(const Layer& layer, std::uint32_t blockKey)
{
    return std::any_of(layer.blocks.begin(), layer.blocks.end(),
                       [blockKey](const TaggedBlock& block) { return block.key == blockKey; });
}

std::int64_t nameBlockLength(const Layer& layer)
{
    return hasBlock(layer, key("luni"))
               ? 0
               : 12 +
                     paddedTo(4 + 2 * static_cast<std::int64_t>(utf16OfUtf8(layer.name).size()), 4);
}

/// Bytes of a mask block that is made up, because the record's own is lost or never was.
std::int64_t maskLength(const Layer& layer)
{
    if (layer.maskData.length > 0 || !layer.mask) {
        return layer.maskData.length;
    }
    return layer.realMask ? 36 : 20;
}

void writeBounds(DocumentOutput& output, const Rectangle& bounds)
{
    for (const std::int32_t side : {bounds.top, bounds.left, bounds.bottom, bounds.right}) {
        output.u32(side);
    }
}

void writeMask(DocumentOutput& output, const Layer& layer)
{
    output.u32(maskLength(layer));
    if (layer.maskData.length > 0 || !layer.mask) {
        output.copy(layer.maskData);
        return;
    }
    writeBounds(output, layer.mask->bounds);
    output.u8(layer.mask->defaultColor);
    output.u8(layer.mask->flags);
    if (!layer.realMask) {
        output.fill(2);
        return;
    }
    output.u8(layer.realMask->flags);
    output.u8(layer.realMask->defaultColor);
    writeBounds(output, layer.realMask->bounds);
}

bool needsDivider(const Layer& layer)
{
    return layer.isDivider() && !hasBlock(layer, key("lsct")) && !hasBlock(layer, key("lsdk"));
}

std::int64_t blocksLength(const std::vector<TaggedBlock>& blocks, std::int64_t unit)
{
    std::int64_t length = 0;
    for (const TaggedBlock& block : blocks) {
        length += paddedTo(block.whole.length, unit);
    }
    return length;
}

/// Marks the merged picture's transparency at 16 and 32 bits. Programs put it in front of the
/// layers' block, and there are readers that show other things of a document where it stands
/// behind.
bool standsBeforeLayers(const TaggedBlock& block)
{
    return block.key == key("Mt16") || block.key == key("Mt32") || block.key == key("Mtrn");
}

void writeBlocks(DocumentOutput& output, const std::vector<TaggedBlock>& blocks, std::int64_t unit)
{
    for (const TaggedBlock& block : blocks) {
        output.copy(block.whole);
        output.fill(paddedTo(block.whole.length, unit) - block.whole.length);
    }
}

/// A mask that is lost as a whole must not hide the layer; other lost rows are transparent.
std::uint8_t fillOf(const Channel& channel)
{
    return channel.id < -1 && channel.plane.state == State::Lost ? 255 : 0;
}

} // namespace

LayeredDocumentWriter::LayeredDocumentWriter(FileManager& files, SourceFiles& sources,
                                             const RecoveredDocument& document,
                                             const RunControl& control)
    : m_files(files),
      m_sources(sources),
      m_document(document),
      m_control(control),
      m_large(document.facts.version == 2)
{}

bool LayeredDocumentWriter::write(const std::string& path, const Progress& progress)
{
    if (!m_files.createFile(path, {})) {
        return false;
    }
    DocumentOutput output(m_files.openForWriting(path), m_sources);
    measurePlanes();
    writeHeader(output);
    writeColorData(output);
    writeResources(output);
    writeLayerSection(output, progress);
    writeComposite(output);
    return output.close() && !m_control.stop();
}

void LayeredDocumentWriter::writeLength(DocumentOutput& output, std::int64_t length)
{
    output.number(static_cast<std::uint64_t>(length), static_cast<int>(lengthBytes()));
}

void LayeredDocumentWriter::measurePlanes()
{
    for (const Layer& layer : m_document.layers) {
        std::vector<std::int64_t> lengths;
        for (const Channel& channel : layer.channels) {
            lengths.push_back(
                PlaneWriter(m_sources, {&channel.plane}, entryBytes(), fillOf(channel)).length());
        }
        m_lengths.push_back(std::move(lengths));
    }
}

void LayeredDocumentWriter::writeHeader(DocumentOutput& output)
{
    const DocumentFacts& facts = m_document.facts;
    output.text("8BPS");
    output.u16(facts.version);
    output.fill(6);
    output.u16(facts.channels);
    output.u32(facts.height);
    output.u32(facts.width);
    output.u16(facts.depth);
    output.u16(static_cast<std::int64_t>(facts.mode));
}

void LayeredDocumentWriter::writeColorData(DocumentOutput& output)
{
    const DocumentFacts& facts = m_document.facts;
    if (facts.colorData.length > 0 || facts.mode != ColorMode::Indexed) {
        output.u32(facts.colorData.length);
        output.copy(facts.colorData);
        return;
    }
    // Without its colour table the picture is shown in grays, so that it can be seen at all.
    output.u32(kPaletteBytes);
    for (int i = 0; i < kPaletteBytes; ++i) {
        output.u8(static_cast<std::uint32_t>(i % 256));
    }
}

bool LayeredDocumentWriter::carriesResource(const Resource& resource) const
{
    const auto layers = static_cast<std::int64_t>(m_document.layers.size());
    switch (resource.id) {
    case kGroupIds:
        return resource.data.length == 2 * layers;
    case kGroupsEnabled:
        return resource.data.length == layers;
    case kLayerState:
        return layers > 0;
    default:
        return true;
    }
}

void LayeredDocumentWriter::writeResources(DocumentOutput& output)
{
    std::int64_t length = 0;
    for (const Resource& resource : m_document.resources) {
        length += carriesResource(resource) ? paddedTo(resource.whole.length, 2) : 0;
    }
    output.u32(length);
    for (const Resource& resource : m_document.resources) {
        if (carriesResource(resource)) {
            output.copy(resource.whole);
            output.fill(resource.whole.length % 2);
        }
    }
}

bool LayeredDocumentWriter::hasSection() const
{
    return !m_document.layers.empty() || !m_document.blocks.empty() ||
           m_document.globalMask.length > 0;
}

bool LayeredDocumentWriter::usesOwnBlock() const
{
    return m_document.facts.depth > 8 && !m_document.layers.empty();
}

std::int64_t LayeredDocumentWriter::extraLength(const Layer& layer) const
{
    if (layer.extra.length > 0) {
        return layer.extra.length;
    }
    const auto name = static_cast<std::int64_t>(plainName(layer.name).size());
    return 4 + maskLength(layer) + 4 + layer.blendingRanges.length + paddedTo(name + 1, 4) +
           nameBlockLength(layer) + (needsDivider(layer) ? 16 : 0) + blocksLength(layer.blocks, 2);
}

std::int64_t LayeredDocumentWriter::layerInfoLength() const
{
    std::int64_t length = 2;
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        const Layer& layer = m_document.layers[i];
        length += 18 + 16 + extraLength(layer);
        for (const std::int64_t plane : m_lengths[i]) {
            length += 2 + lengthBytes() + plane;
        }
    }
    return length;
}

void LayeredDocumentWriter::writeLayerSection(DocumentOutput& output, const Progress& progress)
{
    if (!hasSection()) {
        writeLength(output, 0);
        return;
    }
    const bool own = usesOwnBlock();
    const std::int64_t info = m_document.layers.empty() ? 0 : paddedTo(layerInfoLength(), 4);
    const std::int64_t ownHead = own ? 8 + lengthBytes() : 0;
    const std::int64_t blocks = blocksLength(m_document.blocks, 4);
    writeLength(output, lengthBytes() + info + ownHead + 4 + m_document.globalMask.length + blocks);
    writeLength(output, own ? 0 : info);
    if (!own && info > 0) {
        writeLayerInfo(output, progress);
    }
    output.u32(m_document.globalMask.length);
    output.copy(m_document.globalMask);
    std::vector<TaggedBlock> rest = m_document.blocks;
    if (own) {
        const auto behind = std::stable_partition(rest.begin(), rest.end(), standsBeforeLayers);
        writeBlocks(output, {rest.begin(), behind}, 4);
        rest.erase(rest.begin(), behind);
        output.text(m_document.facts.depth == 16 ? "8BIMLr16" : "8BIMLr32");
        writeLength(output, info);
        writeLayerInfo(output, progress);
    }
    writeBlocks(output, rest, 4);
}

void LayeredDocumentWriter::writeLayerInfo(DocumentOutput& output, const Progress& progress)
{
    const std::int64_t length = layerInfoLength();
    const auto count = static_cast<std::int64_t>(m_document.layers.size());
    output.u16(m_document.mergedAlpha ? -count : count);
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        writeRecord(output, i);
    }
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        if (m_control.isStoppedAfterPause()) {
            return;
        }
        writePlanes(output, m_document.layers[i]);
        progress(static_cast<double>(i + 1) / static_cast<double>(count));
    }
    output.fill(paddedTo(length, 4) - length);
}

void LayeredDocumentWriter::writeRecord(DocumentOutput& output, std::size_t index)
{
    const Layer& layer = m_document.layers[index];
    writeBounds(output, layer.bounds);
    output.u16(static_cast<std::int64_t>(layer.channels.size()));
    for (std::size_t i = 0; i < layer.channels.size(); ++i) {
        output.u16(layer.channels[i].id);
        writeLength(output, m_lengths[index][i]);
    }
    output.text("8BIM" + layer.blend);
    output.u8(layer.opacity);
    output.u8(layer.clipping);
    output.u8(layer.flags);
    output.u8(0);
    output.u32(extraLength(layer));
    if (layer.extra.length > 0) {
        output.copy(layer.extra);
    } else {
        writeMadeUpExtra(output, layer);
    }
}

void LayeredDocumentWriter::writeMadeUpExtra(DocumentOutput& output, const Layer& layer)
{
    writeMask(output, layer);
    output.u32(layer.blendingRanges.length);
    output.copy(layer.blendingRanges);
    const std::string plain = plainName(layer.name);
    const auto letters = static_cast<std::int64_t>(plain.size());
    output.u8(static_cast<std::uint32_t>(letters));
    output.text(plain);
    output.fill(paddedTo(letters + 1, 4) - letters - 1);
    if (const std::int64_t length = nameBlockLength(layer); length > 0) {
        const std::u16string units = utf16OfUtf8(layer.name);
        const auto count = static_cast<std::int64_t>(units.size());
        output.text("8BIMluni");
        output.u32(length - 12);
        output.u32(count);
        for (const char16_t unit : units) {
            output.u16(unit);
        }
        output.fill(length - 16 - 2 * count);
    }
    if (needsDivider(layer)) {
        output.text("8BIMlsct");
        output.u32(4);
        output.u32(static_cast<std::int64_t>(layer.group));
    }
    writeBlocks(output, layer.blocks, 2);
}

void LayeredDocumentWriter::writePlanes(DocumentOutput& output, const Layer& layer)
{
    for (const Channel& channel : layer.channels) {
        PlaneWriter(m_sources, {&channel.plane}, entryBytes(), fillOf(channel)).write(output);
    }
}

} // namespace talvek::recovery
