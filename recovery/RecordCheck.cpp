#include "recovery/RecordCheck.h"

#include "recovery/BlockCheck.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/Zeros.h"

#include <algorithm>
#include <map>
#include <string>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kFillerOffset = 11;
constexpr std::int64_t kExtraOffset = 16;
/// More zeros than these in a record are a hole.
constexpr std::int64_t kHoleZeros = 64;
// Parts of a record that are no blocks, named like blocks.
constexpr std::uint32_t kBlendPart = key("%bln");
constexpr std::uint32_t kMaskPart = key("%msk");
constexpr std::uint32_t kRangesPart = key("%rng");
constexpr std::uint32_t kNamePart = key("%nam");

/// Pairs of limits, black and white, of which none exceeds the next.
bool areRanges(SourceBytes& source, const ByteRange& ranges)
{
    for (std::int64_t at = ranges.offset; at + 4 <= ranges.end(); at += 4) {
        const std::uint8_t whiteFrom = source.u8(at + 2);
        const std::uint8_t whiteTo = source.u8(at + 3);
        if (source.u8(at) > source.u8(at + 1) || whiteFrom > whiteTo) {
            return false;
        }
    }
    return ranges.length % 4 == 0;
}

/// A mask's plane is empty when its rectangle is, and only then.
bool agreeWithMasks(const LayerRecord& record)
{
    for (std::size_t i = 0; i < record.entries.size(); ++i) {
        const Channel& channel = record.layer.channels[i];
        const bool isMask = channel.id < -1;
        if (isMask && channel.bounds.isEmpty() != (record.entries[i].length <= 2)) {
            return false;
        }
    }
    return true;
}

/// The name is stored twice: in the old way, often shortened, and in Unicode.
bool agreeOnName(SourceBytes& source, const LayerRecord& record, const TaggedBlock& unicode)
{
    const std::int64_t at = record.layer.blendingRanges.end();
    const std::size_t length = source.u8(at);
    const std::uint64_t units = source.u32(unicode.data.offset);
    if (units < length) {
        return true;
    }
    std::size_t differing = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const auto index = static_cast<std::int64_t>(i);
        const std::uint8_t old = source.u8(at + 1 + index);
        const std::uint16_t letter = source.u16(unicode.data.offset + 4 + 2 * index);
        differing += old != letter ? 1 : 0;
    }
    // Other encodings differ in more than one letter, or in letters beyond ASCII.
    return differing != 1 || length < 3;
}

class Check
{
public:
    Check(SourceBytes& source, const std::vector<LayerRecord>& records)
        : m_source(source), m_records(records), m_faulty(records.size())
    {}

    std::vector<RecordFaults> run()
    {
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            lookAt(i);
        }
        std::vector<RecordFaults> all(m_records.size());
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            all[i] = verdict(i);
        }
        return all;
    }

private:
    struct Habit
    {
        std::int64_t seen = 0;
        std::int64_t faulty = 0;
    };

    void note(std::size_t record, std::uint32_t part, bool isFaulty)
    {
        Habit& habit = m_habits[part];
        ++habit.seen;
        if (isFaulty) {
            ++habit.faulty;
            m_faulty[record].push_back(part);
        }
    }

    void lookAt(std::size_t index)
    {
        const LayerRecord& record = m_records[index];
        const Layer& layer = record.layer;
        const bool isFilled = m_source.u8(record.signature + kFillerOffset) != 0;
        note(index, kBlendPart, !isBlendMode(layer.blend) || layer.clipping > 1 || isFilled);
        note(index, kMaskPart, !agreeWithMasks(record));
        if (layer.blendingRanges.length > 0) {
            note(index, kRangesPart, !areRanges(m_source, layer.blendingRanges));
        }
        for (const TaggedBlock& block : layer.blocks) {
            note(index, block.key, contradictsFormat(m_source, block));
            if (block.key == key("luni") && layer.blendingRanges.offset > 0) {
                note(index, kNamePart, !agreeOnName(m_source, record, block));
            }
        }
    }

    [[nodiscard]] bool isHabit(std::uint32_t part) const
    {
        const Habit& habit = m_habits.at(part);
        return habit.seen > 2 && 3 * habit.faulty >= 2 * habit.seen;
    }

    RecordFaults verdict(std::size_t index)
    {
        const LayerRecord& record = m_records[index];
        const bool contradicts = std::any_of(m_faulty[index].begin(), m_faulty[index].end(),
                                             [this](std::uint32_t part) { return !isHabit(part); });
        RecordFaults faults;
        faults.any = contradicts || !record.endIsProved || lacksBytes(index);
        faults.areChanges = faults.any && isInPlace(index) &&
                            !holdsZeros(m_source, record.start, record.end, kHoleZeros);
        return faults;
    }

    [[nodiscard]] std::int64_t statedEnd(const LayerRecord& record)
    {
        const std::int64_t extra = record.signature + kExtraOffset;
        return extra + std::int64_t{m_source.u32(extra - 4)};
    }

    /// The next record begins where this one ends.
    [[nodiscard]] bool leadsOn(std::size_t index) const
    {
        return index + 1 < m_records.size() && m_records[index + 1].start == m_records[index].end;
    }

    /// Its length can be, and says that there was more of it.
    bool lacksBytes(std::size_t index)
    {
        const std::int64_t stated = statedEnd(m_records[index]);
        return !leadsOn(index) && stated > m_records[index].end && stated <= m_source.size();
    }

    /// The record ends where its length says, and there the next one begins.
    bool isInPlace(std::size_t index)
    {
        return statedEnd(m_records[index]) == m_records[index].end &&
               (index + 1 == m_records.size() || leadsOn(index));
    }

    SourceBytes& m_source;
    const std::vector<LayerRecord>& m_records;
    std::vector<std::vector<std::uint32_t>> m_faulty; ///< parts of each record
    std::map<std::uint32_t, Habit> m_habits;
};

} // namespace

std::vector<RecordFaults> checkRecords(SourceBytes& source, const std::vector<LayerRecord>& records)
{
    return Check(source, records).run();
}

} // namespace talvek::recovery
