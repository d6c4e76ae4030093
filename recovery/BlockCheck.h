#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

namespace talvek::recovery {

/// The block's bytes cannot be what a program wrote under its key: a length, a sign or a number in
/// it contradicts the format. Most blocks are not proved by it; that is no contradiction.
/// Time and memory: linear in the block; of long ones nothing is said.
bool contradictsFormat(SourceBytes& source, const TaggedBlock& block);

/// The key differs from a known one in one letter, and is none itself.
bool isMisspeltKey(std::uint32_t blockKey);

} // namespace talvek::recovery
