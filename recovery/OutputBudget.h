#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstdint>

namespace talvek::recovery {

/// Empties the rectangles of layers whose lost rows would take more room in the written document
/// than damaged lengths and rectangles may ask for: in all, a few times the source's size. What
/// was recovered in one piece is never touched.
/// @param sourceSize  of the damaged file, in bytes
void limitLostRows(RecoveredDocument& document, std::int64_t sourceSize);

} // namespace talvek::recovery
