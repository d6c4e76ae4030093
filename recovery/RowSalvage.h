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
    bool tailsAreSure = true;        ///< false: nothing but its length says that it ends there
};

struct SalvagedRows
{
    std::vector<RowRun> runs; ///< by `firstRow`, disjoint
    std::int64_t rows = 0;
};

/// Finds the rows that are still good before, between and behind the holes of a PackBits plane.
///
/// A row that takes its bytes and gives its width proves neither its number nor its place: of rows
/// of one colour any stretch as long does. So a row is given only where an unbroken way leads to
/// it: by the table's counts where those from the beginning and those from the end agree, or else
/// from the side of the change on which it lies; by the width, where rows fill what is between two
/// known places exactly. Where two ways fit, the rows between are lost.
/// Time: linear in the plane for each pair of beginning and end.
SalvagedRows salvageRows(SourceBytes& source, const DamagedPlane& plane);

} // namespace talvek::recovery
