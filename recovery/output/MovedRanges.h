#pragma once

#include "recovery/RecoveredDocument.h"

namespace talvek::recovery::output {

/// The document with every range pointing `sources` files further on, for a document whose files
/// are appended to those of another.
RecoveredDocument withSourcesMoved(RecoveredDocument document, std::int32_t sources);

} // namespace talvek::recovery::output
