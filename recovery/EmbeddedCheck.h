#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

namespace talvek::recovery {

/// Whether an embedded file proves itself: a PNG by the checksums of its chunks, a document by
/// being examined. What is there in full and of another kind stays unproved.
/// Time: linear in the file's length. A run that is stopped proves nothing.
State checkEmbedded(SourceBytes& source, const EmbeddedFile& file, const RunControl& control);

} // namespace talvek::recovery
