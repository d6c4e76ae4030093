#include "recovery/output/PlaneEvidence.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace talvek::recovery::output {

namespace {

bool isOneValue(const std::vector<std::uint8_t>& row)
{
    return std::adjacent_find(row.begin(), row.end(), std::not_equal_to<>()) == row.end();
}

} // namespace

Evidence compare(SourceFiles& files, const Plane& one, const Plane& other,
                 const RunControl& control)
{
    if (one.isEmpty() || one.runs.empty() || other.runs.empty()) {
        return Evidence::Silent;
    }
    if (one.rows != other.rows || one.columns != other.columns || one.depth != other.depth) {
        return Evidence::Differs;
    }
    const auto ours = openPlane(files, one);
    const auto theirs = openPlane(files, other);
    std::vector<std::uint8_t> ourRow(static_cast<std::size_t>(one.rowBytes()));
    std::vector<std::uint8_t> theirRow(ourRow.size());
    Evidence evidence = Evidence::Silent;
    for (std::int32_t row = 0; row < one.rows; ++row) {
        if (row % 64 == 0 && control.isStoppedAfterPause()) {
            return Evidence::Silent;
        }
        const bool hasOurs = ours->readRow(ourRow);
        if (!theirs->readRow(theirRow) || !hasOurs) {
            continue;
        }
        if (ourRow != theirRow) {
            return Evidence::Differs;
        }
        if (evidence == Evidence::Silent && !isOneValue(ourRow)) {
            evidence = Evidence::Agrees;
        }
    }
    return evidence;
}

Evidence both(Evidence one, Evidence other)
{
    return std::max(one, other);
}

} // namespace talvek::recovery::output
