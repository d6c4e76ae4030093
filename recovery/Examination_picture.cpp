#include "recovery/Examination.h"
#include "recovery/Flattening.h"
#include "recovery/HeaderRebuilder.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/Zeros.h"

#include <algorithm>

namespace talvek::recovery {

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
    HeaderEvidence evidence{m_found.records,
                            *m_resources,
                            facts.colorData,
                            blindComposite(),
                            -1,
                            depthOfLayerBlocks(m_source, m_index),
                            m_document.mergedAlpha,
                            m_statedWidth,
                            m_statedHeight};
    evidence.rawBytes = rawBytesBehindLayers();
    if (!m_found.records.empty() && evidence.depth == 0) {
        evidence.depth = facts.depth;
    }
    HeaderRebuilder(m_source, evidence).run(facts);
}

/// Of a picture that seems to be raw, without its code; -1 if there is none.
std::int64_t Examination::rawBytesBehindLayers()
{
    const std::int64_t start = m_sections.layersEnd >= 0 ? m_sections.layersEnd : m_blocksEnd;
    return start >= 0 && m_source.u16(start) == 0 ? m_source.size() - start - 2 : -1;
}

/// The picture is damaged at the size that the header states, or there is more of it.
bool Examination::isOfAnotherSize(const Composite& picture)
{
    const std::int64_t end = picture.bytes.end();
    const std::int64_t size = m_source.size();
    return picture.state >= State::Partial || (picture.state == State::Unproved && end < size &&
                                               !holdsZeros(m_source, end, size, size - end));
}

/// A header can be damaged and still be one that a document can have. A picture that proves itself
/// at another size, or reaches the end of the file, is believed more.
void Examination::correctHeader()
{
    const auto picture = blindComposite();
    const std::int64_t rawBytes = picture ? -1 : rawBytesBehindLayers();
    if (!picture && rawBytes <= 0) {
        return;
    }
    const DocumentFacts stated = m_document.facts;
    const HeaderEvidence evidence{m_found.records,
                                  *m_resources,
                                  stated.colorData,
                                  picture,
                                  rawBytes,
                                  stated.depth,
                                  m_document.mergedAlpha,
                                  0,
                                  0};
    HeaderRebuilder(m_source, evidence).run(m_document.facts);
    m_document.facts.mode = stated.mode;
    const Composite former = m_document.composite;
    findComposite();
    const Composite& found = m_document.composite;
    const bool reachesEnd = found.state == State::Unproved && found.bytes.end() == m_source.size();
    if (found.state != State::Whole && !reachesEnd) {
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
    Composite& picture = m_document.composite;
    if (m_document.facts.sizeIsGuess && picture.state == State::Whole) {
        // The rows are proved, but not where one channel ends and the next one begins.
        picture.state = State::Unproved;
        for (Channel& channel : picture.channels) {
            channel.plane.state = std::max(channel.plane.state, State::Unproved);
        }
    }
}

/// A section from `start` to `end` that holds no layers, be it because it holds nothing at all.
bool Examination::isEmptySection(std::int64_t start, std::int64_t end)
{
    constexpr std::int64_t kMostInfo = 16;
    constexpr std::int64_t kMostPadding = 3;
    const bool large = m_document.facts.version == 2;
    const std::int64_t lengthBytes = large ? 8 : 4;
    if (start < 0 || start > end || end - start <= kMostPadding) {
        return start == end;
    }
    const auto info =
        static_cast<std::int64_t>(m_source.number(start, static_cast<std::size_t>(lengthBytes)));
    // A count of no layers, and padding.
    for (std::int64_t at = 0; at < std::clamp<std::int64_t>(info, 0, kMostInfo); ++at) {
        if (m_source.u8(start + lengthBytes + at) != 0) {
            return false;
        }
    }
    const DocumentBlocks blocks = readBlocksOfSection(m_source, start, end, large);
    const bool reaches = blocks.end >= 0 && end - blocks.end <= kMostPadding;
    return info >= 0 && info <= kMostInfo && (reaches || end - start == lengthBytes + info) &&
           std::none_of(blocks.blocks.begin(), blocks.blocks.end(),
                        [](const TaggedBlock& block) { return holdsLayers(block.key); });
}

/// The picture follows the resources, with nothing between them but a section without layers.
bool Examination::provesNoLayers()
{
    const std::int64_t picture = m_document.composite.bytes.offset;
    const std::int64_t lengthBytes = m_document.facts.version == 2 ? 8 : 4;
    if (m_document.composite.bytes.length <= 0) {
        return false;
    }
    if (isEmptySection(m_sections.layersStart, picture) ||
        (m_resources->end() >= 0 && isEmptySection(m_resources->end() + lengthBytes, picture))) {
        return true;
    }
    // So far away it may stand when bytes of the resources are missing or too many. Then its length
    // has to be right.
    constexpr std::int64_t kNear = 16;
    const std::int64_t first = std::max(lengthBytes, m_sections.layersStart - kNear);
    for (std::int64_t start = first; start <= m_sections.layersStart + kNear; ++start) {
        const std::uint64_t stated =
            m_source.number(start - lengthBytes, static_cast<std::size_t>(lengthBytes));
        if (start <= picture && stated == static_cast<std::uint64_t>(picture - start) &&
            isEmptySection(start, picture)) {
            return true;
        }
    }
    return false;
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
