#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>

namespace talvek::recovery {

/// A PackBits picture of which neither the rows nor the width are known beforehand.
struct BlindComposite
{
    std::int64_t offset = 0; ///< of the compression code
    PlaneShape shape;        ///< rows of all channels together
};

/// The picture at `offset`, if its table and rows reach exactly the end of the file, where zeros
/// that a writer padded the file with may follow.
std::optional<BlindComposite> compositeAt(SourceBytes& source, std::int64_t offset, int entryBytes);

/// The first place at or behind `from` where such a picture of three rows or more stands. Time:
/// linear.
std::optional<BlindComposite> findBlindComposite(SourceBytes& source, std::int64_t from,
                                                 int entryBytes, const RunControl& control);

} // namespace talvek::recovery
