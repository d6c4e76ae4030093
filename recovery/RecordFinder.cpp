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
void keepBetter(std::vector<LayerRecord>& records, LayerRecord&& record)
{
    if (!records.empty() && record.start < records.back().signature + 16) {
        if (record.entries.size() > records.back().entries.size()) {
            records.back() = std::move(record);
        }
        return;
    }
    if (records.size() < FoundRecords::kMost) {
        records.push_back(std::move(record));
    }
}

std::size_t channelsOf(const std::vector<LayerRecord>& records)
{
    std::size_t channels = 0;
    for (const LayerRecord& record : records) {
        channels += record.entries.size();
    }
    return channels;
}

} // namespace

FoundRecords findRecords(SourceBytes& source, const SignatureIndex& index,
                         const std::vector<ByteRange>& embedded, const RunControl& control)
{
    std::vector<LayerRecord> small;
    std::vector<LayerRecord> large;
    for (const std::int64_t signature : index.blocks()) {
        if (control.isStoppedAfterPause()) {
            break;
        }
        if (isInside(embedded, signature)) {
            continue;
        }
        if (auto record = readRecordHead(source, signature, false)) {
            keepBetter(small, std::move(*record));
        }
        if (auto record = readRecordHead(source, signature, true)) {
            keepBetter(large, std::move(*record));
        }
    }
    FoundRecords found;
    found.isLarge = channelsOf(large) > channelsOf(small);
    found.records = std::move(found.isLarge ? large : small);
    auto& records = found.records;
    for (std::size_t i = 0; i < records.size(); ++i) {
        readRecordExtra(source, records[i], i + 1 < records.size() ? records[i + 1].start : -1);
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
