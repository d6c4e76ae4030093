#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// What is known of a PackBits plane that does not prove itself as a whole.
struct DamagedPlane
{
    PlaneShape shape;
    int entryBytes = 2;
    std::int64_t length = -1;        ///< as stated, the code included; -1 unknown
    std::vector<std::int64_t> heads; ///< where it may begin, the likeliest first
    std::vector<std::int64_t> tails; ///< where it may end, the likeliest first
    bool tailsAreSure = true;        ///< false: it may as well go on behind them all
};

struct SalvagedRows
{
    std::vector<RowRun> runs; ///< by `firstRow`, disjoint
    std::int64_t rows = 0;
};

/// Finds the rows that are still good before, between and behind the holes of a PackBits plane.
///
/// Rows are independent of each other. Where the row table holds, each row's place is known and
/// the row is checked by itself: forward from the beginning, backward from the end, so that bytes
/// missing in between shift nothing. Where the table is gone, rows are told apart by their width,
/// from a known beginning on or up to a known end. A row is given only with its number known.
/// Time: linear in the plane for each pair of beginning and end.
SalvagedRows salvageRows(SourceBytes& source, const DamagedPlane& plane);

} // namespace talvek::recovery
