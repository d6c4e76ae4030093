#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// What contradicts itself in one record.
struct RecordFaults
{
    bool any = false;        ///< some of the record's bytes are not what a program wrote
    bool areChanges = false; ///< and were changed where they stood: nothing is missing or moved
};

/// Looks for changed bytes in records, whose fields, names and blocks say many things twice.
/// What most of the records that have a block do alike is a writer's habit and no fault.
/// @return one for each record
std::vector<RecordFaults> checkRecords(SourceBytes& source,
                                       const std::vector<LayerRecord>& records);

} // namespace talvek::recovery
