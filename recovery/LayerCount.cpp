#include "recovery/LayerCount.h"

#include "recovery/DocumentBlocks.h"
#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <cstdlib>

namespace talvek::recovery {

namespace {

/// Rectangle, channel count, one channel, blend mode and extra data that hold nothing.
constexpr std::int64_t kLeastRecordBytes = 40;
constexpr std::int64_t kCountBytes = 2;

/// The layer info: where its count stands, and where it says that it ends.
struct LayerInfo
{
    std::int64_t count = -1; ///< -1: not known
    std::int64_t end = -1;
};

class Counter
{
public:
    Counter(SourceBytes& source, const SignatureIndex& index, const CountEvidence& evidence)
        : m_source(source), m_index(index), m_evidence(evidence)
    {}

    LayerCount run()
    {
        const auto found = static_cast<std::int64_t>(m_evidence.records.size());
        const LayerInfo info = findInfo();
        if (info.count < 0) {
            return {m_evidence.apart};
        }
        const std::int64_t stated = std::abs(std::int64_t{m_source.i16(info.count)});
        const std::int64_t room = roomForRecords(info);
        if (stated == found && found > 0 && room < kLeastRecordBytes && endsAreProved()) {
            return {static_cast<std::int32_t>(found), true};
        }
        const std::int64_t known = std::max<std::int64_t>(found, m_evidence.apart.value_or(0));
        const bool hasRoom = stated > known && stated - found <= room / kLeastRecordBytes;
        return {hasRoom ? std::optional(static_cast<std::int32_t>(stated)) : m_evidence.apart};
    }

private:
    [[nodiscard]] bool canBeBefore(std::int64_t count) const
    {
        const auto& records = m_evidence.records;
        return count >= 0 && (records.empty() || count + kCountBytes <= records.front().start);
    }

    /// The layer info whose length field stands at `lengthAt`, if it is one.
    LayerInfo infoAt(std::int64_t lengthAt)
    {
        const std::int64_t lengthBytes = m_evidence.isLarge ? 8 : 4;
        const std::uint64_t length =
            m_source.number(lengthAt, static_cast<std::size_t>(lengthBytes));
        const std::int64_t count = lengthAt + lengthBytes;
        // An empty one: the layers stand in a tagged block.
        const bool sound =
            lengthAt >= 0 && length > kCountBytes && length < kMostLength && canBeBefore(count);
        return sound ? LayerInfo{count, count + static_cast<std::int64_t>(length)} : LayerInfo{};
    }

    /// The block that holds the layers of a document of 16 or 32 bits.
    LayerInfo infoInBlock()
    {
        const auto& records = m_evidence.records;
        if (records.empty()) {
            return {};
        }
        std::int64_t at =
            m_index.firstAtOrBehind(std::max<std::int64_t>(0, m_evidence.resourcesEnd));
        for (; at >= 0 && at < records.front().start; at = m_index.firstAtOrBehind(at + 1)) {
            const auto block =
                readTaggedBlock(m_source, at, m_source.size(), m_evidence.isLarge, 4);
            if (block && holdsLayers(block->key) && canBeBefore(block->data.offset)) {
                return {block->data.offset, block->data.end()};
            }
        }
        return {};
    }

    LayerInfo findInfo()
    {
        const auto& records = m_evidence.records;
        if (records.empty()) {
            // Nothing but the section's own end shows that it is one.
            const LayerInfo info = infoAt(m_evidence.sections.layersStart);
            const bool fits = info.end <= m_evidence.sections.layersEnd;
            return m_evidence.pictureFollows && fits ? info : LayerInfo{};
        }
        const std::int64_t sectionBytes = m_evidence.isLarge ? 8 : 4;
        const std::int64_t behindResources =
            m_evidence.resourcesEnd < 0 ? -1 : m_evidence.resourcesEnd + sectionBytes;
        for (const std::int64_t lengthAt : {m_evidence.sections.layersStart, behindResources}) {
            const LayerInfo info = infoAt(lengthAt);
            if (info.count >= 0) {
                return info;
            }
        }
        const LayerInfo inBlock = infoInBlock();
        return inBlock.count >= 0 ? inBlock
                                  : infoAt(records.front().start - kCountBytes - sectionBytes);
    }

    /// Where the first plane begins, as far as the planes found tell; -1 if none was found.
    [[nodiscard]] std::int64_t firstPlane() const
    {
        std::int64_t first = m_evidence.firstStray;
        for (const PlaneSlot& slot : m_evidence.slots) {
            if (slot.isPlaced) {
                const std::int64_t base = slot.offset - slot.prefix;
                first = first < 0 ? base : std::min(first, base);
            }
        }
        return first;
    }

    /// Bytes between the count and the first plane that no record found explains.
    [[nodiscard]] std::int64_t roomForRecords(const LayerInfo& info) const
    {
        std::int64_t room = 0;
        std::int64_t at = info.count + kCountBytes;
        for (const LayerRecord& record : m_evidence.records) {
            room += std::max<std::int64_t>(0, record.start - at);
            at = std::max(at, record.end);
        }
        std::int64_t limit = firstPlane();
        if (limit < 0) {
            limit = info.end;
            for (const PlaneSlot& slot : m_evidence.slots) {
                limit -= std::clamp<std::int64_t>(slot.length, 0, std::max<std::int64_t>(limit, 0));
            }
        }
        return room + std::max<std::int64_t>(0, limit - at);
    }

    [[nodiscard]] bool endsAreProved() const
    {
        return std::all_of(m_evidence.records.begin(), m_evidence.records.end(),
                           [](const LayerRecord& record) { return record.endIsProved; });
    }

    static constexpr std::uint64_t kMostLength = std::uint64_t{1} << 48U;

    SourceBytes& m_source;
    const SignatureIndex& m_index;
    const CountEvidence& m_evidence;
};

} // namespace

LayerCount countLayers(SourceBytes& source, const SignatureIndex& index,
                       const CountEvidence& evidence)
{
    return Counter(source, index, evidence).run();
}

} // namespace talvek::recovery
