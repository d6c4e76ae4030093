#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/PlaneCheck.h"
#include "recovery/PlaneScan.h"
#include "recovery/RunControl.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek::recovery {

/// A plane that a record tells of, and where it was found.
struct PlaneSlot
{
    std::size_t record = 0;
    std::size_t channel = 0;
    std::size_t segment = 0;
    std::int64_t length = 0; ///< as the record states it
    std::int64_t prefix = 0; ///< lengths of the planes before it in its segment
    PlaneShape shape;
    bool isEmpty = false;       ///< has no samples by its shape
    bool isPlaced = false;      ///< `offset` and `check` hold
    bool isPlaceProved = false; ///< nothing else could stand there
    std::int64_t offset = -1;
    PlaneCheck check;
    // Where it would begin, after the plane before it and before the plane behind it; -1 unknown.
    std::int64_t headOffset = -1;
    std::int64_t tailOffset = -1;

    [[nodiscard]] std::int64_t end() const { return offset + check.length; }
};

/// Brings records and planes together.
///
/// Records that follow each other without a gap are a segment: the order and lengths of its planes
/// are known. Where the segment's planes begin is not believed but voted on by the planes that
/// prove themselves; after a shift, a cut or a hole more than one beginning wins votes.
class PlaneAligner
{
public:
    /// @param blockBehind  the first signature behind the last record, where the document's own
    ///                     tagged blocks begin if no plane holds one by chance; -1 if there is none
    /// @param stated       how many records there were, as far away resources say
    PlaneAligner(SourceBytes& source, const std::vector<LayerRecord>& records, int depth,
                 int entryBytes, std::int64_t blockBehind, std::optional<std::int32_t> stated,
                 const RunControl& control);

    void run();

    [[nodiscard]] const std::vector<PlaneSlot>& slots() const { return m_slots; }
    [[nodiscard]] std::vector<PlaneSlot>& slots() { return m_slots; }
    /// Beginnings of segments that planes voted for, the most voted first.
    [[nodiscard]] const std::vector<std::int64_t>& shifts() const { return m_shifts; }
    /// Bytes of planes that proved themselves.
    [[nodiscard]] std::int64_t provedBytes() const;
    /// Plane-like finds that no record claims.
    [[nodiscard]] const std::vector<PlaneHit>& unclaimed() const { return m_hits; }

private:
    struct Ballot;

    void countRecords(const std::vector<LayerRecord>& records, std::optional<std::int32_t> stated);
    void makeSlots(const std::vector<LayerRecord>& records, int depth);
    [[nodiscard]] std::size_t slotsEnd(std::size_t first) const;
    bool place(PlaneSlot& slot, std::int64_t offset, bool proved);
    void followChain(std::int64_t base);
    void scan();
    [[nodiscard]] std::vector<Ballot> ballots() const;
    void elect();
    [[nodiscard]] bool isOnlyOne(const PlaneSlot& slot) const;
    void acceptBallot(const Ballot& ballot, bool unrivalled);
    void findEnds(std::int64_t blockBehind);
    [[nodiscard]] bool codesStandAlong(std::int64_t shift) const;
    [[nodiscard]] bool reachesEnd(std::size_t segment, std::int64_t shift) const;
    [[nodiscard]] bool hasRival(const Ballot& ballot, const std::vector<Ballot>& all) const;
    [[nodiscard]] bool codeStandsAt(const PlaneSlot& slot, std::int64_t offset) const;
    [[nodiscard]] bool canEndAt(std::size_t index, std::int64_t end) const;
    [[nodiscard]] bool layersCanEndAt(std::int64_t end) const;
    void doubtEnds();
    void predict();
    void splitRaw();
    void splitRaw(std::size_t first, std::size_t behind);
    [[nodiscard]] bool isOpenRaw(const PlaneSlot& slot) const;
    void placeRaw();
    [[nodiscard]] bool standsBehindSound(std::size_t index) const;
    [[nodiscard]] bool codeCanStandAt(std::int64_t offset) const;
    [[nodiscard]] bool isClaimed(std::int64_t offset) const;
    [[nodiscard]] bool hasUnplaced() const;

    SourceBytes& m_source;
    int m_entryBytes;
    const RunControl& m_control;
    std::int64_t m_base = -1;
    bool m_frontIsKnown = false; ///< the first record found is the document's first
    bool m_allAreKnown = false;  ///< no record is missing
    std::size_t m_lastSegment = 0;
    std::int64_t m_lastLength = 0;    ///< of the last segment's planes together
    std::vector<std::int64_t> m_ends; ///< where the last plane may end
    std::int64_t m_endShift = -1;     ///< of the last segment, seen from there
    std::vector<PlaneSlot> m_slots;
    std::vector<PlaneHit> m_hits;
    std::vector<std::int64_t> m_shifts;
    std::vector<std::int64_t> m_claimed; ///< offsets of placed planes, ascending
};

} // namespace talvek::recovery
