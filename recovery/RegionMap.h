#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <vector>

namespace talvek::recovery {

/// Every byte of source 0 by what it means, without a gap; bytes that nothing claims are unknown,
/// or zeros where they are nothing else. Reads only what nothing claims, and of that at most
/// 64 MiB.
std::vector<Region> mapRegions(const RecoveredDocument& document, SourceBytes& source);

/// Counts what lacks its counterpart, and says in words what was found missing.
void noteMissing(RecoveredDocument& document);

} // namespace talvek::recovery
