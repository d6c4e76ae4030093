#include "recovery/BlindComposite.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PlaneScan.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::int64_t kMostRows = std::int64_t{99} * 300000;

/// The number of rows with which table and counts end exactly at the file's end; 0 if none does.
std::int64_t rowsToEnd(SourceBytes& source, std::int64_t offset, int entryBytes,
                       std::int64_t& budget)
{
    std::int64_t at = offset + kCodeBytes;
    std::int64_t end = at;
    for (std::int64_t rows = 1; rows <= kMostRows; ++rows) {
        const std::uint64_t count = source.number(at, static_cast<std::size_t>(entryBytes));
        at += entryBytes;
        end += entryBytes + static_cast<std::int64_t>(count);
        --budget;
        if (count < 2 || end > source.size() || budget < 0) {
            return 0;
        }
        if (end == source.size()) {
            return rows;
        }
    }
    return 0;
}

std::optional<BlindComposite> solve(SourceBytes& source, std::int64_t offset, int entryBytes,
                                    std::int64_t& budget)
{
    if (source.u16(offset) != 1) {
        return std::nullopt;
    }
    const std::int64_t rows = rowsToEnd(source, offset, entryBytes, budget);
    if (rows == 0) {
        return std::nullopt;
    }
    const auto first = static_cast<std::int64_t>(
        source.number(offset + kCodeBytes, static_cast<std::size_t>(entryBytes)));
    const std::int64_t width = widthOfRow(source, offset + kCodeBytes + rows * entryBytes, first);
    const PlaneShape shape{rows, width};
    if (width > 0 && checkPlane(source, offset, -1, shape, entryBytes).isSound) {
        return BlindComposite{offset, shape};
    }
    return std::nullopt;
}

} // namespace

std::optional<BlindComposite> compositeAt(SourceBytes& source, std::int64_t offset, int entryBytes)
{
    std::int64_t budget = kMostRows;
    return solve(source, offset, entryBytes, budget);
}

std::optional<BlindComposite> findBlindComposite(SourceBytes& source, std::int64_t from,
                                                 int entryBytes, const RunControl& control)
{
    // Fewer rows than one of each colour agree by chance.
    constexpr std::int64_t kLeastRows = 3;
    std::int64_t budget = 1 << 22;
    const std::int64_t to = source.size();
    for (std::int64_t at = nextPlaneCode(source, from, to); at < to;) {
        if (control.isStoppedAfterPause()) {
            break;
        }
        if (budget > 0) {
            const auto found = solve(source, at, entryBytes, budget);
            if (found && found->shape.rows >= kLeastRows) {
                return found;
            }
        }
        const std::int64_t next = nextPlaneCode(source, at + 1, to);
        budget += 4 * (next - at);
        at = next;
    }
    return std::nullopt;
}

} // namespace talvek::recovery
