#pragma once

#include "tests/support/Document.h"
#include "tests/support/Random.h"

namespace talvek::test {

/// A document of any mode, depth, size and compression, with anything in it that the format knows;
/// sound, apart from contents that nobody checks. Mostly small: a few kilobytes.
Document randomDocument(Random& random);

/// As the one above, with a few hundred layers and up to 501: more than a run takes note of.
Document documentOfManyLayers(Random& random);

/// Damages `document` once, in one of the ways in which files get damaged, preferably where it
/// hurts: lengths, bounds, signatures, the ends of blocks.
void damage(Document& document, Random& random);

/// A length that somebody may have got wrong: near `truth`, near zero, near the steps in which a
/// repair reads, near the ends of its number range, or anything.
std::int64_t lyingLength(std::int64_t truth, Random& random);

} // namespace talvek::test
