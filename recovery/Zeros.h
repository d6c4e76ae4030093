#pragma once

#include "recovery/SourceBytes.h"

#include <cstdint>

namespace talvek::recovery {

/// At least `least` zero bytes stand in a row between two offsets. Time: linear.
bool holdsZeros(SourceBytes& source, std::int64_t from, std::int64_t to, std::int64_t least);

} // namespace talvek::recovery
