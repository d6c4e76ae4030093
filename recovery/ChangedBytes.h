#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

namespace talvek::recovery {

/// Single bytes of the document have been changed where they stood, as failing memory or a bad
/// transfer does it: a row is broken between two that are sound and stand where they should, or a
/// row table holds a count that nothing agrees with. Holes, cuts and shifts are no such signs.
bool hasChangedBytes(SourceBytes& source, const RecoveredDocument& document);

/// PackBits does not show that a byte of a pixel's value was changed. In a document where single
/// bytes have been, a plane that nothing but its rows proves is therefore called unproved.
void doubtPackedPlanes(RecoveredDocument& document);

} // namespace talvek::recovery
