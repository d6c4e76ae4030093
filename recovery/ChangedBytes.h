#pragma once

#include "recovery/RecordCheck.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <vector>

namespace talvek::recovery {

// PackBits does not show that a byte of a pixel's value was changed. Where bytes nearby were, or
// single bytes here and there, planes that only their rows prove are therefore called unproved.

/// Single bytes of the document have been changed where they stood, as failing memory or a bad
/// transfer does it: a row is broken between two that are sound and stand where they should, a row
/// table holds a count that nothing agrees with, a record or the metadata contradicts itself.
/// Holes, cuts and shifts are no such signs.
bool hasChangedBytes(SourceBytes& source, const RecoveredDocument& document,
                     const std::vector<RecordFaults>& records);

/// For a document in which single bytes have been changed.
void doubtAll(RecoveredDocument& document);

/// For layers whose records are damaged.
/// Requires: the document's layers begin with those of the records, in order.
void doubtLayers(RecoveredDocument& document, const std::vector<RecordFaults>& records);

/// For layers whose records are damaged, and which have no name left.
/// Requires: the document's layers begin with those of the records, in order.
void noteLostNames(RecoveredDocument& document, const std::vector<RecordFaults>& records);

/// For layers whose planes are as long as another's, in a document of which records were moved or
/// torn apart: the order of the records is then no proof of whose planes are whose.
void doubtPlaces(RecoveredDocument& document, const std::vector<RecordFaults>& records);

} // namespace talvek::recovery
