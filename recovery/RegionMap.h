#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <string>
#include <vector>

namespace talvek::recovery {

/// Every byte of source 0 by what it means, without a gap; bytes that nothing claims are unknown,
/// or zeros where they are nothing else. Reads only what nothing claims, and of that at most
/// 64 MiB.
std::vector<Region> mapRegions(const RecoveredDocument& document, SourceBytes& source);

/// Counts what lacks its counterpart, and says in words what was found missing, behind what is
/// said already.
void noteMissing(RecoveredDocument& document);

/// The same once more, for a document that has been changed since: of the sentences that were true
/// of `before`, those that are still true of it stand. What others said stays.
/// @param before  as `missingIn` gave it before the change
void noteMissingAgain(RecoveredDocument& document, const std::vector<std::string>& before);

/// What is missing in a document as it is, a sentence each.
std::vector<std::string> missingIn(const RecoveredDocument& document);

} // namespace talvek::recovery
