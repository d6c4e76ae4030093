#include "recovery/Examination.h"

#include "recovery/ChangedBytes.h"
#include "recovery/EmbeddedFinder.h"
#include "recovery/Flattening.h"
#include "recovery/HeaderRebuilder.h"
#include "recovery/LayerBuilder.h"
#include "recovery/LayerCount.h"
#include "recovery/OutputBudget.h"
#include "recovery/PlaneCarver.h"
#include "recovery/RegionMap.h"
#include "recovery/StrayPlanes.h"
#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <utility>

namespace talvek::recovery {

Examination::Examination(SourceBytes& source, const RunControl& control, Progress progress)
    : m_source(source), m_control(control), m_progress(std::move(progress))
{}

RecoveredDocument Examination::run(const std::string& path)
{
    m_document.sources = {path};
    m_document.size = m_source.size();
    indexSignatures();
    if (m_index.isOneValue()) {
        m_document.nothingLeft = true;
        return std::move(m_document);
    }
    findRecords();
    tell();
    findHeader();
    tell();
    findResources();
    alignPlanes();
    buildLayers();
    tell();
    correctSection();
    findBlocks();
    if (!m_hasHeader) {
        rebuildHeader();
        m_document.mergedAlpha = hasMergedAlpha();
    }
    findComposite();
    if (m_hasHeader && m_document.composite.state >= State::Partial) {
        correctHeader();
    }
    tell();
    carvePlanes();
    doubtPlanes();
    countLayers();
    tell();
    limitLostRows(m_document, m_source.size());
    balanceGroups(m_document.layers);
    completeChannels(m_document.layers, m_document.facts, colorsOf(m_document.facts.mode));
    decideFlattening();
    noteMissing(m_document);
    m_document.regions = mapRegions(m_document, m_source);
    return std::move(m_document);
}

void Examination::tell()
{
    Findings findings = m_listener ? findingsOf(m_document, m_found.records) : Findings{};
    if (findings != m_told) {
        m_told = std::move(findings);
        m_listener(m_told);
    }
}

void Examination::indexSignatures()
{
    const double size = static_cast<double>(std::max<std::int64_t>(1, m_source.size()));
    m_index.build(m_source, m_control, [this, size](std::int64_t done) {
        m_progress("Looking for signatures", 0.3 * static_cast<double>(done) / size);
    });
}

void Examination::findRecords()
{
    m_progress("Looking for layers", 0.3);
    m_embedded = embeddedRanges(m_source, m_index);
    m_document.embedded = findEmbedded(m_source, m_embedded);
    m_found = recovery::findRecords(m_source, m_index, m_embedded, m_control);
    dropForeignRecords(m_source, m_found.records);
}

void Examination::findHeader()
{
    const auto facts = recovery::findHeader(m_source, m_index, m_embedded);
    m_hasHeader = facts.has_value();
    if (m_hasHeader) {
        m_document.facts = *facts;
    } else {
        m_document.facts.origin = HeaderOrigin::Rebuilt;
        m_document.facts.version = m_found.isLarge ? 2 : 1;
        m_document.facts.depth = std::max(8, depthOfLayerBlocks(m_source, m_index));
    }
    if (!m_found.records.empty()) {
        m_document.facts.version = m_found.isLarge ? 2 : 1;
    }
    m_sections =
        readStatedSections(m_source, m_document.facts.header.offset, m_document.facts.version == 2);
    m_document.facts.colorData = m_sections.colorData;
}

void Examination::findResources()
{
    const std::int64_t from = m_document.facts.header.offset;
    const std::int64_t to =
        m_found.records.empty()
            ? (m_sections.resourcesEnd >= 0 ? m_sections.resourcesEnd : m_source.size())
            : m_found.records.front().start;
    m_resources.emplace(m_source, m_index);
    m_resources->run(from, to);
    m_document.resources = m_resources->resources();
    m_document.statedLayers = statedLayerCount(*m_resources);
    for (const Resource& resource : m_document.resources) {
        if (resource.id == 0x040C) {
            m_document.thumbnail = thumbnailIn(m_source, resource);
        } else if (resource.id == 0x040F) {
            m_document.profile = resource.data;
        } else if (resource.id == 0x0424) {
            m_document.xmp = resource.data;
        } else if (resource.id == 0x03ED) {
            m_document.resolution = resource.data;
        }
    }
}

void Examination::alignPlanes()
{
    m_progress("Bringing layers and pixels together", 0.4);
    const auto& records = m_found.records;
    const std::int64_t behind = records.empty() ? -1 : m_index.firstAtOrBehind(records.back().end);
    m_aligner =
        std::make_unique<PlaneAligner>(m_source, m_found.records, m_document.facts.depth,
                                       entryBytes(), behind, m_document.statedLayers, m_control);
    m_aligner->run();
}

void Examination::buildLayers()
{
    LayerBuilder builder(m_source, m_document.facts, m_control);
    m_document.layers = builder.build(m_found.records, *m_aligner);
    m_document.mergedAlpha = hasMergedAlpha();
}

/// A negative count says so; but a lost record before the first one leaves any bytes there. Then
/// the resources tell, which name the picture's alpha channels.
bool Examination::hasMergedAlpha()
{
    const auto& records = m_found.records;
    const auto found = static_cast<std::int64_t>(records.size());
    const std::int64_t count = !records.empty() && records.front().start >= 2
                                   ? m_source.i16(records.front().start - 2)
                                   : 0;
    if (std::abs(count) >= found && std::abs(count) <= 2 * found + 64 && count != 0) {
        return count < 0;
    }
    return depthOfLayerBlocks(m_source, m_index) == 0 &&
           m_document.facts.channels > colorsOf(m_document.facts.mode) &&
           firstAlphaIsTransparency(m_source, *m_resources);
}

/// The last plane's end, or that of the records when there are no planes; -1 when unknown.
std::int64_t Examination::behindPlanes() const
{
    std::int64_t end = m_found.records.empty() ? -1 : m_found.records.back().end;
    for (const PlaneSlot& slot : m_aligner->slots()) {
        if (slot.isPlaced) {
            end = std::max(end, slot.offset + slot.length);
        } else if (slot.headOffset >= 0) {
            end = std::max(end, slot.headOffset + slot.length);
        }
    }
    return end;
}

/// The header gives a raw picture's size, and so its place at the end of the file. Where the
/// lengths lead elsewhere, and the bytes up to there read as a section without layers, they are the
/// section.
void Examination::correctSection()
{
    const DocumentFacts& facts = m_document.facts;
    const std::int64_t rowBytes = (std::int64_t{facts.width} * facts.depth + 7) / 8;
    const std::int64_t picture = m_source.size() - 2 - rowBytes * facts.height * facts.channels;
    if (!m_hasHeader || !m_found.records.empty() || m_sections.layersEnd == picture ||
        m_source.u16(picture) != 0) {
        return;
    }
    const bool large = facts.version == 2;
    for (const std::int64_t start :
         {m_sections.layersStart, m_resources->end() + (large ? 8 : 4)}) {
        if (start >= 0 && readBlocksOfSection(m_source, start, picture, large).end == picture) {
            m_sections.layersStart = start;
            m_sections.layersEnd = picture;
            return;
        }
    }
}

void Examination::findBlocks()
{
    const bool large = m_document.facts.version == 2;
    DocumentBlocks behind;
    const std::int64_t planesEnd = behindPlanes();
    if (planesEnd >= 0) {
        behind = readBlocksBehind(m_source, planesEnd, large);
    }
    DocumentBlocks stated;
    if (m_sections.layersEnd > m_sections.layersStart) {
        stated = readBlocksOfSection(m_source, m_sections.layersStart, m_sections.layersEnd, large);
    }
    const bool useStated = stated.blocks.size() >= behind.blocks.size();
    DocumentBlocks& chosen = useStated ? stated : behind;
    m_document.globalMask = stated.globalMask.length > 0 ? stated.globalMask : behind.globalMask;
    for (const TaggedBlock& block : chosen.blocks) {
        if (!holdsLayers(block.key)) {
            m_document.blocks.push_back(block);
        }
    }
    m_blocksEnd = chosen.end;
    m_isCut = behind.isCut;
}

/// Behind the planes and blocks that are still to come by what the records and blocks say. What
/// stands before is theirs, however much its rows look like those of the picture.
std::int64_t Examination::earliestPicture() const
{
    const std::int64_t planesEnd = behindPlanes();
    if (planesEnd < 0) {
        return 0;
    }
    const std::int64_t size = m_source.size();
    std::int64_t end = m_isCut ? size : planesEnd;
    const auto& slots = m_aligner->slots();
    for (auto slot = slots.rbegin(); slot != slots.rend() && end < size; ++slot) {
        if (slot->isPlaced || slot->headOffset >= 0) {
            break;
        }
        end += std::clamp<std::int64_t>(slot->length, 0, size);
    }
    end = std::max(end, m_blocksEnd);
    return m_sections.layersEnd >= planesEnd ? std::min(end, m_sections.layersEnd) : end;
}

std::optional<BlindComposite> Examination::blindComposite()
{
    for (std::int64_t pad = 0; m_blocksEnd >= 0 && pad <= 3; ++pad) {
        if (auto found = compositeAt(m_source, m_blocksEnd + pad, entryBytes())) {
            return found;
        }
    }
    const std::int64_t from = std::max({behindPlanes(), m_resources->end(), m_blocksEnd});
    return findBlindComposite(m_source, from, entryBytes(), m_control);
}

void Examination::rebuildHeader()
{
    m_progress("Working out the document's size", 0.55);
    DocumentFacts& facts = m_document.facts;
    HeaderEvidence evidence{
        m_found.records,       *m_resources, facts.colorData,
        blindComposite(),      -1,           depthOfLayerBlocks(m_source, m_index),
        m_document.mergedAlpha};
    const std::int64_t start = m_sections.layersEnd >= 0 ? m_sections.layersEnd : m_blocksEnd;
    if (start >= 0 && m_source.u16(start) == 0) {
        evidence.rawBytes = m_source.size() - start - 2;
    }
    if (!m_found.records.empty() && evidence.depth == 0) {
        evidence.depth = facts.depth;
    }
    HeaderRebuilder(m_source, evidence).run(facts);
}

/// A header can be damaged and still be one that a document can have. A picture that proves itself
/// at another size is believed more.
void Examination::correctHeader()
{
    const auto picture = blindComposite();
    if (!picture) {
        return;
    }
    const DocumentFacts stated = m_document.facts;
    const HeaderEvidence evidence{
        m_found.records, *m_resources,          stated.colorData, picture, -1,
        stated.depth,    m_document.mergedAlpha};
    HeaderRebuilder(m_source, evidence).run(m_document.facts);
    m_document.facts.mode = stated.mode;
    const Composite former = m_document.composite;
    findComposite();
    if (m_document.composite.state != State::Whole) {
        m_document.facts = stated;
        m_document.composite = former;
    }
}

/// Ends of the last few blocks in the file that lead to no other: the picture may begin there.
std::vector<std::int64_t> Examination::endsOfLastBlocks()
{
    constexpr std::size_t kLooked = 64;
    constexpr std::size_t kMostEnds = 8;
    const auto& offsets = m_index.blocks();
    std::vector<std::int64_t> ends;
    for (std::size_t i = 0; i < std::min(offsets.size(), kLooked); ++i) {
        const std::int64_t offset = offsets[offsets.size() - 1 - i];
        const auto block =
            readTaggedBlock(m_source, offset, m_source.size(), m_document.facts.version == 2, 4);
        if (block && m_source.u16(block->whole.end()) <= 1 && ends.size() < kMostEnds) {
            ends.push_back(block->whole.end());
        }
    }
    return ends;
}

void Examination::findComposite()
{
    m_progress("Looking for the merged picture", 0.6);
    if (m_document.facts.origin == HeaderOrigin::Unknown) {
        return;
    }
    std::vector<std::int64_t> candidates;
    std::int64_t from = std::max<std::int64_t>(behindPlanes(), m_resources->end());
    if (m_sections.layersEnd >= from) {
        candidates.push_back(m_sections.layersEnd);
    }
    const auto add = [&candidates](std::int64_t at) {
        for (std::int64_t pad = 0; at >= 0 && pad <= 3; ++pad) {
            candidates.push_back(at + pad);
        }
    };
    add(m_blocksEnd);
    // Old programs write no blocks: the empty global mask stands before the picture.
    add(behindPlanes() < 0 ? -1 : behindPlanes() + 4);
    for (const std::int64_t end : endsOfLastBlocks()) {
        add(end);
    }
    std::erase_if(candidates, [this](std::int64_t at) { return m_source.u16(at) > 3; });
    CompositeFinder finder(m_source, m_document.facts, m_control);
    m_document.composite = finder.run(m_sections.layersEnd, candidates, std::max(from, m_blocksEnd),
                                      earliestPicture());
}

/// Everything that has a meaning already, by offset.
std::vector<ByteRange> Examination::claimedRanges() const
{
    std::vector<ByteRange> ranges = m_embedded;
    for (const LayerRecord& record : m_found.records) {
        ranges.push_back(record.layer.record);
    }
    for (const PlaneSlot& slot : m_aligner->slots()) {
        if (slot.isPlaced) {
            ranges.push_back({slot.offset, std::max(slot.length, slot.check.length), 0});
        } else if (slot.isEmpty && slot.headOffset >= 0) {
            ranges.push_back({slot.headOffset, slot.length, 0});
        }
    }
    for (const Layer& layer : m_document.layers) {
        for (const Channel& channel : layer.channels) {
            ranges.push_back(channel.plane.bytes);
        }
    }
    for (const TaggedBlock& block : m_document.blocks) {
        ranges.push_back(block.whole);
    }
    ranges.push_back(m_document.composite.bytes);
    std::erase_if(ranges, [](const ByteRange& range) { return range.length <= 0; });
    std::sort(ranges.begin(), ranges.end(),
              [](const ByteRange& a, const ByteRange& b) { return a.offset < b.offset; });
    return ranges;
}

std::vector<PlaneShape> Examination::knownShapes() const
{
    const DocumentFacts& facts = m_document.facts;
    std::vector<PlaneShape> shapes;
    shapes.push_back({facts.height, (std::int64_t{facts.width} * facts.depth + 7) / 8});
    for (const PlaneSlot& slot : m_aligner->slots()) {
        const bool known = std::find(shapes.begin(), shapes.end(), slot.shape) != shapes.end();
        if (!slot.isEmpty && !known && shapes.size() < 256) {
            shapes.push_back(slot.shape);
        }
    }
    return shapes;
}

/// Looks for planes where no record tells of any.
void Examination::carvePlanes()
{
    constexpr std::int64_t kLeastGap = 32;
    m_progress("Looking for pixels without a layer", 0.8);
    const DocumentFacts& facts = m_document.facts;
    std::int64_t at = facts.header.end();
    const std::int64_t to =
        m_document.composite.bytes.length > 0 ? m_document.composite.bytes.offset : m_source.size();
    PlaneCarver carver(m_source, facts.depth, entryBytes(), knownShapes(), m_control);
    std::vector<ByteRange> claimed = claimedRanges();
    claimed.push_back({to, m_source.size() - to, 0});
    for (const ByteRange& range : claimed) {
        if (range.offset - at >= kLeastGap && at >= 0) {
            carver.run(at, std::min(range.offset, to));
        }
        at = std::max(at, range.end());
    }
    auto strays = layersOfStrayPlanes(carver.planes(), facts, colorsOf(facts.mode));
    m_document.planesWithoutRecord = 0;
    for (Layer& layer : strays) {
        m_document.planesWithoutRecord += static_cast<std::int32_t>(layer.channels.size());
        m_document.layers.push_back(std::move(layer));
    }
}

/// Takes back what sound rows prove, where bytes were changed.
void Examination::doubtPlanes()
{
    const auto faults = checkRecords(m_source, m_found.records);
    doubtLayers(m_document, faults);
    doubtPlaces(m_document, faults);
    if (hasChangedBytes(m_source, m_document, faults)) {
        doubtAll(m_document);
    }
}

void Examination::countLayers()
{
    CountEvidence evidence{m_found.records,
                           m_aligner->slots(),
                           m_sections,
                           m_document.facts.version == 2,
                           m_resources->end(),
                           -1,
                           false,
                           m_document.statedLayers};
    for (const Layer& layer : m_document.layers) {
        for (const Channel& channel : layer.channels) {
            const std::int64_t at = channel.plane.bytes.offset;
            const bool isEarlier = evidence.firstStray < 0 || at < evidence.firstStray;
            evidence.firstStray = !layer.hasRecord && isEarlier ? at : evidence.firstStray;
        }
    }
    evidence.pictureFollows = m_document.composite.bytes.length > 0 &&
                              m_document.composite.bytes.offset == m_sections.layersEnd;
    const LayerCount count = recovery::countLayers(m_source, m_index, evidence);
    m_document.statedLayers = count.records;
    if (count.isComplete) {
        std::erase_if(m_document.layers, [](const Layer& layer) { return !layer.hasRecord; });
        m_document.planesWithoutRecord = 0;
    }
}

/// A lost picture is made anew, unless the canvas claims far more room than the document has.
void Examination::decideFlattening()
{
    constexpr std::int64_t kTimesSource = 64;
    constexpr std::int64_t kFreeBytes = std::int64_t{64} << 20;
    const DocumentFacts& facts = m_document.facts;
    const std::int64_t bytes =
        (std::int64_t{facts.width} * facts.depth + 7) / 8 * facts.height * facts.channels;
    m_document.composite.rows = std::int64_t{facts.height} * facts.channels;
    m_document.composite.flattened = m_document.composite.channels.empty() &&
                                     bytes <= kFreeBytes + kTimesSource * m_source.size() &&
                                     canFlatten(m_document);
}

} // namespace talvek::recovery
