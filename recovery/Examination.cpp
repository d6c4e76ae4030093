#include "recovery/Examination.h"

#include "recovery/ChangedBytes.h"
#include "recovery/DoubleRecords.h"
#include "recovery/EmbeddedCheck.h"
#include "recovery/EmbeddedFinder.h"
#include "recovery/FileKind.h"
#include "recovery/HeaderCheck.h"
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
        m_document.facts.origin = HeaderOrigin::Unknown;
        return std::move(m_document);
    }
    findEmbeddedFiles();
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
    if (m_hasHeader && isOfAnotherSize(m_document.composite)) {
        correctHeader();
    }
    tell();
    carvePlanes();
    doubtPlanes();
    dropDoubles(m_found.records, m_document.layers);
    countLayers();
    tell();
    limitLostRows(m_document, m_source.size());
    balanceGroups(m_document.layers);
    completeChannels(m_document.layers, m_document.facts, colorsOf(m_document.facts.mode));
    decideFlattening();
    noteKind();
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

void Examination::findEmbeddedFiles()
{
    m_embedded = embeddedRanges(m_source, m_index);
    auto& files = m_document.embedded;
    files = findEmbedded(m_source, m_embedded);
    for (EmbeddedFile& file : files) {
        // Before anything else is in memory, as an embedded document takes as much as this one.
        file.state = m_isEmbedded ? file.state : checkEmbedded(m_source, file, m_control);
    }
    if (files.size() >= kMostEmbeddedFiles) {
        m_document.missing.push_back("Embedded files were looked for up to the first " +
                                     std::to_string(kMostEmbeddedFiles) + ".");
    }
}

void Examination::findRecords()
{
    m_progress("Looking for layers", 0.3);
    m_found = recovery::findRecords(m_source, m_index, m_embedded, m_control);
    if (m_found.isLimited) {
        m_document.missing.push_back("More layers or channels than a document can have were met; "
                                     "the first " +
                                     std::to_string(m_found.records.size()) +
                                     " layers were looked at.");
    }
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
    checkHeader();
    m_sections =
        readStatedSections(m_source, m_document.facts.header.offset, m_document.facts.version == 2);
    m_document.facts.colorData = m_sections.colorData;
}

/// Of a header that contradicts itself or the layers only the size is proposed, like others.
void Examination::checkHeader()
{
    DocumentFacts& facts = m_document.facts;
    if (!m_hasHeader) {
        return;
    }
    const int depth = depthOfPlanes(m_source, m_found.records, facts.depth, entryBytes());
    if (depth == facts.depth && !contradictsItself(facts, m_found.records)) {
        return;
    }
    m_hasHeader = false;
    m_statedWidth = facts.width;
    m_statedHeight = facts.height;
    facts.depth = depth;
    facts.origin = HeaderOrigin::Rebuilt;
    // Until the header has been worked out, the layers tell the number of colours.
    const int colors = colorsOfRecords(m_found.records);
    if (colors > 0 && colors != colorsOf(facts.mode)) {
        facts.mode = colors < 3    ? ColorMode::Grayscale
                     : colors == 3 ? ColorMode::Rgb
                                   : ColorMode::Cmyk;
    }
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
    if (m_resources->isLimited()) {
        m_document.missing.push_back("More image resources than a document has were met; the "
                                     "first " +
                                     std::to_string(ResourceFinder::kMost) + " were looked at.");
    }
    m_document.resourcesAreWhole =
        m_hasHeader && m_resources->areWhole(m_sections.resourcesStart, m_sections.resourcesEnd);
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
    noteLostNames(m_document, faults);
    doubtPlaces(m_document, faults);
    if (hasChangedBytes(m_source, m_document, faults)) {
        doubtAll(m_document);
    }
}

void Examination::noteKind()
{
    const std::string kind = otherKindOf(m_source);
    const bool isNothing = m_document.layers.empty() && m_document.composite.state == State::Lost;
    if (isNothing && !kind.empty()) {
        m_document.missing.push_back("The file begins like " + kind +
                                     ", not like a Photoshop document.");
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
    m_document.layersMayBeLost = m_document.layers.empty() && !provesNoLayers();
}

} // namespace talvek::recovery
