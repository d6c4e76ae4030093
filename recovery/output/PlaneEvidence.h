#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"

#include <cstdint>

namespace talvek::recovery::output {

/// What two copies of a plane say about each other.
enum class Evidence : std::uint8_t
{
    Silent,  ///< no rows are left in both, or only rows of one value, which are alike by chance
    Agrees,  ///< every row that is left in both is the same
    Differs, ///< some row is not
};

/// Compares the rows that are left in both. Planes of different size or depth
/// differ, unless nothing is left of one.
/// Time: both are decoded once at most. A run that is stopped finds silence.
Evidence compare(SourceFiles& files, const Plane& one, const Plane& other,
                 const RunControl& control);

/// The evidence of two parts of one thing together: a difference outweighs all.
Evidence both(Evidence one, Evidence other);

} // namespace talvek::recovery::output
