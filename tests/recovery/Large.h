#pragma once

#include "tests/support/Document.h"

namespace talvek::test {

/// The same document as a large one (PSB): version 2, lengths of sections and channels in eight
/// bytes, row tables in entries of four. The places are those of the new document.
/// Requires: `small` is as built, 8 bits deep, its layers in the main layer info.
Document asLarge(const Document& small);

} // namespace talvek::test
