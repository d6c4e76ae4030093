#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/RecoveredDocument.h"

#include <vector>

namespace talvek::recovery {

/// Takes out layers that were found twice, because a piece of the file was written to two places:
/// records of one id with the same name, rectangle and lengths of channels, for which there are
/// planes only once. The better one stays, in the place of the first.
///
/// Some writers repeat ids over different layers; these stay, and so does a layer with planes of
/// its own.
/// Requires: the layers begin with those of the records, in order.
void dropDoubles(std::vector<LayerRecord>& records, std::vector<Layer>& layers);

} // namespace talvek::recovery
