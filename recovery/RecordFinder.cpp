#include "recovery/RecordFinder.h"

#include <algorithm>
#include <cstdlib>

namespace talvek::recovery {

namespace {

bool isInside(const std::vector<ByteRange>& ranges, std::int64_t offset)
{
    const auto behind =
        std::upper_bound(ranges.begin(), ranges.end(), offset,
                         [](std::int64_t at, const ByteRange& one) { return at < one.offset; });
    return behind != ranges.begin() && offset < std::prev(behind)->end();
}

/// A record cannot begin before the one that ends behind its start: of two that overlap, the one
/// with more channels is the better proved.
class Keeper
{
public:
    void keepBetter(LayerRecord&& record)
    {
        const std::size_t count = record.entries.size();
        const bool overlaps = !m_records.empty() && record.start < m_records.back().signature + 16;
        const std::size_t former = overlaps ? m_records.back().entries.size() : 0;
        if (overlaps && count <= former) {
            return;
        }
        if ((!overlaps && m_records.size() >= FoundRecords::kMost) ||
            m_channels - former + count > FoundRecords::kMostChannels) {
            m_isLimited = true;
            return;
        }
        m_channels += count - former;
        if (overlaps) {
            m_records.back() = std::move(record);
        } else {
            m_records.push_back(std::move(record));
        }
    }
    [[nodiscard]] std::size_t channels() const { return m_channels; }
    FoundRecords take(bool areLarge) { return {std::move(m_records), areLarge, m_isLimited}; }

private:
    std::vector<LayerRecord> m_records;
    std::size_t m_channels = 0;
    bool m_isLimited = false;
};

/// A sound record's bytes are carried over as they are: a list of its blocks is dispensable.
void limitBlocks(LayerRecord& record, std::size_t& left)
{
    if (record.layer.blocks.size() > left) {
        record.layer.blocks.resize(left);
    }
    record.layer.blocks.shrink_to_fit();
    left -= record.layer.blocks.size();
}

} // namespace

FoundRecords findRecords(SourceBytes& source, const SignatureIndex& index,
                         const std::vector<ByteRange>& embedded, const RunControl& control)
{
    Keeper small;
    Keeper large;
    for (const std::int64_t signature : index.blocks()) {
        if (control.isStoppedAfterPause()) {
            break;
        }
        if (isInside(embedded, signature)) {
            continue;
        }
        if (auto record = readRecordHead(source, signature, false)) {
            small.keepBetter(std::move(*record));
        }
        if (auto record = readRecordHead(source, signature, true)) {
            large.keepBetter(std::move(*record));
        }
    }
    const bool areLarge = large.channels() > small.channels();
    FoundRecords found = (areLarge ? large : small).take(areLarge);
    auto& records = found.records;
    std::size_t blocksLeft = FoundRecords::kMostBlocks;
    for (std::size_t i = 0; i < records.size(); ++i) {
        readRecordExtra(source, records[i], i + 1 < records.size() ? records[i + 1].start : -1);
        limitBlocks(records[i], blocksLeft);
    }
    return found;
}

void dropForeignRecords(SourceBytes& source, std::vector<LayerRecord>& records)
{
    if (records.empty()) {
        return;
    }
    const auto count =
        static_cast<std::size_t>(std::abs(int{source.i16(records.front().start - 2)}));
    if (count == 0 || count >= records.size()) {
        return;
    }
    std::int64_t planesEnd = records[count - 1].end;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0 && records[i].start != records[i - 1].end) {
            return;
        }
        for (const ChannelEntry& entry : records[i].entries) {
            planesEnd += entry.length;
        }
    }
    if (records[count].start >= planesEnd) {
        records.resize(count);
    }
}

} // namespace talvek::recovery
