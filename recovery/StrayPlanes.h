#pragma once

#include "recovery/PlaneCarver.h"
#include "recovery/RecoveredDocument.h"

#include <vector>

namespace talvek::recovery {

/// Makes layers of planes that were found without a record: planes of one size that follow each
/// other belong together, in the order in which programs write the channels. The layers are named
/// "Recovered 1" and so on and stand in a group "Found without a record", lowest first, the group's
/// brackets included. Their place on the canvas is not known: they stand at its corner.
/// @param colors  of the document's mode; 0 counts as 3
std::vector<Layer> layersOfStrayPlanes(const std::vector<CarvedPlane>& planes,
                                       const DocumentFacts& facts, int colors);

/// Gives layers that were made up all colours of the mode, those that were not found as lost or, in
/// a bracket, as empty planes: readers refuse a document with a layer that lacks one.
void completeChannels(std::vector<Layer>& layers, const DocumentFacts& facts, int colors);

} // namespace talvek::recovery
