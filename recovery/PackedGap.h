#pragma once

#include "recovery/SourceBytes.h"

#include <cstdint>

namespace talvek::recovery {

/// No encoder leaves so many equal bytes in a row: it would have made a run of them.
constexpr std::int64_t kHoleBytes = 12;

/// The `count` bytes at `offset` have a part in a stretch of zeros, or of the ones of erased flash,
/// longer than an encoder leaves, which may begin before them and end behind them: a hole's border
/// can fit a row as well as what stood there. Looks at the first 64 KiB.
bool looksLikeHole(SourceBytes& source, std::int64_t offset, std::int64_t count);

/// The stretch of bytes equal to the one at `offset` ends here, `limit` at the latest.
std::int64_t endOfEqualBytes(SourceBytes& source, std::int64_t offset, std::int64_t limit);

/// Rows that were told apart by their width alone.
struct SplitRows
{
    std::int64_t rows = 0;
    std::int64_t begin = 0;
    std::int64_t end = 0; ///< behind the last of them
};

/// Up to `rows` rows from `from` on, each of exactly `width` bytes and none of them in a hole.
SplitRows splitForward(SourceBytes& source, std::int64_t from, std::int64_t limit,
                       std::int64_t rows, std::int64_t width);

/// Up to `rows` rows that lead exactly to `to`, from the first place at or behind `from` from which
/// whole rows do. What is left of a torn row can be read as a whole one: the first row found is not
/// among them. Time: a constant for each byte between the two.
SplitRows splitBackward(SourceBytes& source, std::int64_t from, std::int64_t to, std::int64_t rows,
                        std::int64_t width);

} // namespace talvek::recovery
