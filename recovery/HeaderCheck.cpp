#include "recovery/HeaderCheck.h"

#include "recovery/HeaderFinder.h"
#include "recovery/PlaneCheck.h"

#include <algorithm>
#include <array>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;

/// How many of the first planes could be of this depth.
int planesOfDepth(SourceBytes& source, const std::vector<LayerRecord>& records, int depth,
                  int entryBytes)
{
    constexpr int kMostLooked = 64;
    int looked = 0;
    int sound = 0;
    std::int64_t at = records.back().end;
    for (const LayerRecord& record : records) {
        for (std::size_t i = 0; i < record.entries.size() && looked < kMostLooked; ++i) {
            const Rectangle& bounds = record.layer.channels[i].bounds;
            const std::int64_t length = record.entries[i].length;
            const PlaneShape shape{bounds.rows(), (bounds.columns() * depth + 7) / 8};
            if (!bounds.isEmpty()) {
                const bool isRaw = length == kCodeBytes + shape.bytes() && source.u16(at) == 0;
                ++looked;
                sound += isRaw || (source.u16(at) != 0 &&
                                   checkPlane(source, at, length, shape, entryBytes).isSound)
                             ? 1
                             : 0;
            }
            at += length;
        }
    }
    return sound;
}

} // namespace

int colorsOfRecords(const std::vector<LayerRecord>& records)
{
    std::array<int, 64> votes = {};
    for (const LayerRecord& record : records) {
        int greatest = -1;
        for (const ChannelEntry& entry : record.entries) {
            greatest = std::max<int>(greatest, entry.id);
        }
        if (greatest >= 0) {
            ++votes[static_cast<std::size_t>(greatest + 1)];
        }
    }
    const auto most = std::max_element(votes.begin(), votes.end());
    return *most == 0 ? 0 : static_cast<int>(most - votes.begin());
}

int depthOfPlanes(SourceBytes& source, const std::vector<LayerRecord>& records, int stated,
                  int entryBytes)
{
    if (records.empty() || planesOfDepth(source, records, stated, entryBytes) > 0) {
        return stated;
    }
    int best = stated;
    int most = 0;
    for (const int depth : {8, 16, 32}) {
        const int sound = planesOfDepth(source, records, depth, entryBytes);
        if (sound > most) {
            best = depth;
            most = sound;
        }
    }
    return best;
}

bool contradictsItself(const DocumentFacts& facts, const std::vector<LayerRecord>& records)
{
    const int colors = colorsOf(facts.mode);
    const int ofRecords = colorsOfRecords(records);
    const bool isBitmap = facts.mode == ColorMode::Bitmap;
    return facts.channels < colors || isBitmap != (facts.depth == 1) ||
           (ofRecords > 0 && colors > 0 && (ofRecords < colors || ofRecords > colors + 1));
}

} // namespace talvek::recovery
