#pragma once

#include "recovery/RecoveredDocument.h"

#include <string>
#include <vector>

namespace talvek::recovery::output {

/// What is missing from the document, a sentence each: what was noted, then what its parts show.
std::vector<std::string> missingPieces(const RecoveredDocument& document);

/// What its owner can try next, the most promising first, a sentence or two each.
std::vector<std::string> nextSteps(const RecoveredDocument& document, bool hasReference);

} // namespace talvek::recovery::output
