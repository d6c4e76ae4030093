#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <vector>

namespace talvek::recovery {

/// Colours by the layers' channel lists, as most of them say; 0 without layers.
int colorsOfRecords(const std::vector<LayerRecord>& records);

/// The depth at which the planes behind the records prove themselves, or have their stated length
/// when they are raw. `stated`, unless none does so at that depth and some do at another.
int depthOfPlanes(SourceBytes& source, const std::vector<LayerRecord>& records, int stated,
                  int entryBytes);

/// The header's fields cannot all be right: the mode needs more channels, or the layers have other
/// colours, or one bit a sample stands beside a mode of many.
bool contradictsItself(const DocumentFacts& facts, const std::vector<LayerRecord>& records);

} // namespace talvek::recovery
