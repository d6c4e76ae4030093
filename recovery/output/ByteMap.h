#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// The document's bytes by meaning, from its first to its last: `regions` where they were filled
/// in, else what the document's parts themselves say. What nothing claims is unknown.
/// The result is by offset, disjoint, without gaps, and of source 0 alone.
std::vector<Region> bytesByMeaning(const RecoveredDocument& document);

/// A drawing of the bytes as lines of cells, in inline SVG of bounded size, with classes for its
/// colours: "m0" to "m7" by `Meaning`, "bad" and "gone" over what is partial and lost.
/// Empty for an empty document.
std::string drawByteMap(const RecoveredDocument& document);

/// How many bytes have each meaning, in the order of `Meaning`.
std::vector<std::int64_t> bytesOfEachMeaning(const RecoveredDocument& document);

/// A meaning in words.
const char* wordsFor(Meaning meaning);

} // namespace talvek::recovery::output
