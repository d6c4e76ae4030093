#pragma once

#include "recovery/HeaderFinder.h"
#include "recovery/LayerRecord.h"
#include "recovery/PlaneAligner.h"
#include "recovery/SignatureIndex.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek::recovery {

/// What is known of the place where the layers' records stand.
struct CountEvidence
{
    const std::vector<LayerRecord>& records; ///< those found, ascending
    const std::vector<PlaneSlot>& slots;     ///< their planes
    StatedSections sections;
    bool isLarge = false;              ///< lengths of sections take eight bytes
    std::int64_t resourcesEnd = -1;    ///< behind the last image resource found; -1: none
    std::int64_t firstStray = -1;      ///< the first plane that no record claims; -1: none
    bool pictureFollows = false;       ///< the merged picture was found where the layers' section
                                       ///< says that it ends
    std::optional<std::int32_t> apart; ///< the number of layers by the image resources
};

/// How many records the document had, dividers of groups included.
struct LayerCount
{
    std::optional<std::int32_t> records; ///< nothing says how many: none
    bool isComplete = false;             ///< all were found: no other plane is one of a layer
};

/// Counts by the image resources and by the count in front of the records.
///
/// The count is damaged as easily as any other two bytes. It is believed when it tells of more
/// records than were found only as far as there is room for them: bytes between the count and the
/// first plane that no record found explains. Where it, the records and the planes join without a
/// gap nothing is missing, whatever the resources say: programs that take layers out leave them.
LayerCount countLayers(SourceBytes& source, const SignatureIndex& index,
                       const CountEvidence& evidence);

} // namespace talvek::recovery
