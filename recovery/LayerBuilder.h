#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/PlaneAligner.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// Makes layers of records and the planes that were brought together with them; planes that do not
/// prove themselves are salvaged by rows.
class LayerBuilder
{
public:
    LayerBuilder(SourceBytes& source, const DocumentFacts& facts, const RunControl& control);

    std::vector<Layer> build(const std::vector<LayerRecord>& records, const PlaneAligner& aligner);

private:
    void fillPlane(const PlaneSlot& slot, Channel& channel);
    void placeWhole(const PlaneSlot& slot, Plane& plane);
    void salvage(const PlaneSlot& slot, Plane& plane);
    void salvageRaw(const PlaneSlot& slot, std::int64_t offset, Plane& plane);
    void salvageZip(const PlaneSlot& slot, std::int64_t offset, Plane& plane);
    void salvagePackBits(const PlaneSlot& slot, Plane& plane);
    void judge(const LayerRecord& record, Layer& layer);

    SourceBytes& m_source;
    const DocumentFacts& m_facts;
    const RunControl& m_control;
    std::vector<std::int64_t> m_shifts;
};

/// The worst state of its channels that have samples; whole when it has none.
State stateOfChannels(const Layer& layer);

/// Fills in each layer's enclosing group; adds the brackets that are missing, because readers
/// refuse or misread a document in which they do not balance.
/// Requires: layers in the order of the records, the lowest first.
void balanceGroups(std::vector<Layer>& layers);

} // namespace talvek::recovery
