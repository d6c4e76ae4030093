#include "recovery/PlaneAligner.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::size_t kMostPairsOfHit = 256;
constexpr std::size_t kMostPairs = 1U << 20U;
constexpr std::int64_t kMostRecordPadding = 3;

/// A plane of one row, or of a few bytes, is met by chance.
bool provesPlace(const PlaneSlot& slot)
{
    return slot.shape.rows >= 2 && slot.length >= 16;
}

/// Planes of many lengths cannot be laid over the wrong ones by chance.
bool hasVariedPlanes(const std::vector<PlaneSlot>& slots)
{
    std::set<std::int64_t> lengths;
    for (const PlaneSlot& slot : slots) {
        if (provesPlace(slot) && lengths.size() < 8) {
            lengths.insert(slot.length);
        }
    }
    return lengths.size() >= 4;
}

} // namespace

/// The slots of one segment that would be right if it began at `shift`.
struct PlaneAligner::Ballot
{
    std::size_t segment = 0;
    std::int64_t shift = 0;
    std::vector<std::pair<std::size_t, std::size_t>> pairs; ///< slot, hit
};

PlaneAligner::PlaneAligner(SourceBytes& source, const std::vector<LayerRecord>& records, int depth,
                           int entryBytes, std::int64_t blockBehind,
                           std::optional<std::int32_t> stated, const RunControl& control)
    : m_source(source), m_entryBytes(entryBytes), m_control(control)
{
    makeSlots(records, depth);
    if (!records.empty()) {
        m_base = records.back().end;
        countRecords(records, stated);
        // Records in one piece that lack some lack the last: their planes are not the last either.
        const bool lastIsMissing = m_frontIsKnown && !m_allAreKnown && m_lastSegment == 0;
        findEnds(lastIsMissing ? -1 : blockBehind);
    }
}

void PlaneAligner::countRecords(const std::vector<LayerRecord>& records,
                                std::optional<std::int32_t> stated)
{
    const std::int64_t count = std::abs(m_source.i16(records.front().start - 2));
    const auto found = static_cast<std::int64_t>(records.size());
    m_frontIsKnown = count >= found && count <= 2 * found + 64;
    m_allAreKnown = stated ? *stated == found : count == found;
}

void PlaneAligner::run()
{
    if (m_base >= 0) {
        followChain(m_base);
    }
    if (hasUnplaced()) {
        scan();
        elect();
    }
    doubtEnds();
    predict();
    splitRaw();
    placeRaw();
    predict();
}

std::int64_t PlaneAligner::provedBytes() const
{
    std::int64_t bytes = 0;
    for (const PlaneSlot& slot : m_slots) {
        const bool proved = slot.isPlaced && slot.check.proof != Proof::Length;
        bytes += proved ? slot.length : 0;
    }
    return bytes;
}

void PlaneAligner::makeSlots(const std::vector<LayerRecord>& records, int depth)
{
    std::size_t segment = 0;
    std::int64_t prefix = 0;
    for (std::size_t r = 0; r < records.size(); ++r) {
        const LayerRecord& record = records[r];
        if (r > 0 && record.start != records[r - 1].end) {
            ++segment;
            prefix = 0;
        }
        for (std::size_t c = 0; c < record.entries.size(); ++c) {
            const Rectangle& bounds = record.layer.channels[c].bounds;
            PlaneSlot slot;
            slot.record = r;
            slot.channel = c;
            slot.segment = segment;
            slot.length = record.entries[c].length;
            slot.prefix = prefix;
            slot.shape = {bounds.rows(), (bounds.columns() * depth + 7) / 8};
            slot.isEmpty = bounds.isEmpty();
            prefix += slot.length;
            m_slots.push_back(slot);
        }
    }
    m_lastSegment = segment;
    m_lastLength = prefix;
}

/// Another beginning of the segment would do as well: planes of one colour are alike everywhere.
bool PlaneAligner::hasRival(const Ballot& ballot, const std::vector<Ballot>& all) const
{
    return std::any_of(all.begin(), all.end(), [&ballot](const Ballot& other) {
        return other.segment == ballot.segment && other.shift != ballot.shift &&
               10 * other.pairs.size() >= 9 * ballot.pairs.size();
    });
}

bool PlaneAligner::place(PlaneSlot& slot, std::int64_t offset, bool proved)
{
    const PlaneCheck check = checkPlane(m_source, offset, slot.length, slot.shape, m_entryBytes);
    if (!check.isSound) {
        return false;
    }
    slot.check = check;
    slot.offset = offset;
    slot.isPlaced = true;
    slot.isPlaceProved = proved;
    return true;
}

/// The undamaged case: every plane stands where the lengths say, from the last record's end on.
void PlaneAligner::followChain(std::int64_t base)
{
    std::int64_t best = base;
    for (std::int64_t pad = 0; pad <= kMostRecordPadding; ++pad) {
        const auto first = std::find_if(m_slots.begin(), m_slots.end(),
                                        [](const PlaneSlot& slot) { return !slot.isEmpty; });
        if (first == m_slots.end() || first->segment != 0) {
            return;
        }
        if (checkPlane(m_source, base + pad + first->prefix, first->length, first->shape,
                       m_entryBytes)
                .isSound) {
            best = base + pad;
            break;
        }
    }
    m_base = best;
    const bool isCertain = m_frontIsKnown || reachesEnd(0, best) || hasVariedPlanes(m_slots);
    for (PlaneSlot& slot : m_slots) {
        if (m_control.isStoppedAfterPause() || slot.segment != 0) {
            return;
        }
        // Raw planes prove nothing: behind a shift they would seem to stand anywhere.
        const std::int64_t offset = best + slot.prefix;
        if (!slot.isEmpty && m_source.u16(offset) != 0) {
            place(slot, offset, isCertain);
        }
    }
}

bool PlaneAligner::hasUnplaced() const
{
    return std::any_of(m_slots.begin(), m_slots.end(), [](const PlaneSlot& slot) {
        return !slot.isEmpty && !slot.isPlaced && slot.length != kCodeBytes + slot.shape.bytes();
    });
}

bool PlaneAligner::isClaimed(std::int64_t offset) const
{
    return std::binary_search(m_claimed.begin(), m_claimed.end(), offset);
}

void PlaneAligner::scan()
{
    WantedPlanes wanted;
    for (const PlaneSlot& slot : m_slots) {
        if (!slot.isEmpty && !slot.isPlaced) {
            wanted.add(slot.shape, slot.length);
        }
        if (slot.isPlaced) {
            m_claimed.push_back(slot.offset);
        }
    }
    wanted.prepare();
    std::sort(m_claimed.begin(), m_claimed.end());
    m_hits = scanForPlanes(m_source, 0, m_source.size(), wanted, m_entryBytes, m_control);
    std::erase_if(m_hits, [this](const PlaneHit& hit) { return isClaimed(hit.offset); });
}

std::vector<PlaneAligner::Ballot> PlaneAligner::ballots() const
{
    std::multimap<std::pair<std::int64_t, std::int64_t>, std::size_t> byLength;
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        const PlaneSlot& slot = m_slots[i];
        if (slot.isEmpty || slot.isPlaced) {
            continue;
        }
        for (std::int64_t pad = 0; pad <= kMostPlanePadding; ++pad) {
            byLength.emplace(std::pair(slot.shape.rows, slot.length - pad), i);
            byLength.emplace(std::pair(-slot.shape.bytes(), slot.length - pad), i);
        }
    }
    std::map<std::pair<std::size_t, std::int64_t>, Ballot> byShift;
    std::size_t pairs = 0;
    for (std::size_t h = 0; h < m_hits.size(); ++h) {
        const PlaneHit& hit = m_hits[h];
        const bool packed = hit.compression == Compression::PackBits;
        auto [first, last] = byLength.equal_range({packed ? hit.rows : -hit.bytes, hit.length});
        for (std::size_t n = 0; first != last && n < kMostPairsOfHit && pairs < kMostPairs;
             ++first, ++n, ++pairs) {
            const PlaneSlot& slot = m_slots[first->second];
            const std::int64_t shift = hit.offset - slot.prefix;
            Ballot& ballot = byShift[{slot.segment, shift}];
            ballot.segment = slot.segment;
            ballot.shift = shift;
            ballot.pairs.emplace_back(first->second, h);
        }
    }
    std::vector<Ballot> all;
    all.reserve(byShift.size());
    for (auto& [where, ballot] : byShift) {
        all.push_back(std::move(ballot));
    }
    return all;
}

void PlaneAligner::elect()
{
    auto all = ballots();
    const auto rank = [this](const Ballot& ballot) {
        // Where the planes end is evidence of its own: it outweighs a few planes that are damaged.
        const std::size_t votes = ballot.pairs.size();
        return reachesEnd(ballot.segment, ballot.shift) ? 4 * votes + 3 : 3 * votes;
    };
    std::stable_sort(all.begin(), all.end(),
                     [&rank](const Ballot& a, const Ballot& b) { return rank(a) > rank(b); });
    for (const Ballot& ballot : all) {
        if (m_control.isStoppedAfterPause()) {
            return;
        }
        // With a record lost or moved, planes that are alike can be laid over the wrong layers even
        // when the last of them ends where it should.
        const bool settled =
            m_allAreKnown && m_lastSegment == 0 && reachesEnd(ballot.segment, ballot.shift);
        acceptBallot(ballot, settled || !hasRival(ballot, all));
    }
    std::erase_if(m_hits, [this](const PlaneHit& hit) { return isClaimed(hit.offset); });
}

/// No other plane that is looked for, and no other find, has these rows and this length.
bool PlaneAligner::isOnlyOne(const PlaneSlot& slot) const
{
    constexpr std::size_t kMostCompared = 1U << 14U;
    if (m_slots.size() + m_hits.size() > kMostCompared) {
        return false;
    }
    const auto slots = std::count_if(m_slots.begin(), m_slots.end(), [&](const PlaneSlot& other) {
        return other.shape.rows == slot.shape.rows && other.length == slot.length &&
               !other.isPlaced;
    });
    const auto hits = std::count_if(m_hits.begin(), m_hits.end(), [&](const PlaneHit& hit) {
        return slot.length - hit.length >= 0 && slot.length - hit.length <= kMostPlanePadding &&
               (hit.rows == slot.shape.rows || hit.bytes == slot.shape.bytes());
    });
    return slots == 1 && hits == 1;
}

void PlaneAligner::acceptBallot(const Ballot& ballot, bool unrivalled)
{
    std::vector<std::size_t> open;
    for (const auto& [slot, hit] : ballot.pairs) {
        if (!m_slots[slot].isPlaced && !isClaimed(m_hits[hit].offset)) {
            open.push_back(slot);
        }
    }
    const bool known = std::find(m_shifts.begin(), m_shifts.end(), ballot.shift) != m_shifts.end();
    bool accepted = false;
    for (const std::size_t index : open) {
        PlaneSlot& slot = m_slots[index];
        const bool proved = known || (open.size() > 1 && 2 * open.size() >= ballot.pairs.size()) ||
                            (provesPlace(slot) && isOnlyOne(slot));
        const std::int64_t offset = ballot.shift + slot.prefix;
        if (proved && place(slot, offset, known || unrivalled)) {
            accepted = true;
            m_claimed.insert(std::upper_bound(m_claimed.begin(), m_claimed.end(), offset), offset);
        }
    }
    if (accepted && !known) {
        m_shifts.push_back(ballot.shift);
    }
}

/// Where the planes that are not placed would stand, seen from the placed ones around them.
void PlaneAligner::predict()
{
    std::int64_t shift = m_base;
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        PlaneSlot& slot = m_slots[i];
        if (i > 0 && slot.segment != m_slots[i - 1].segment) {
            shift = -1;
        }
        if (slot.isPlaced) {
            shift = slot.offset - slot.prefix;
        }
        slot.headOffset = shift < 0 ? -1 : shift + slot.prefix;
    }
    shift = m_endShift;
    for (std::size_t i = m_slots.size(); i-- > 0;) {
        PlaneSlot& slot = m_slots[i];
        if (i + 1 < m_slots.size() && slot.segment != m_slots[i + 1].segment) {
            shift = -1;
        }
        if (slot.isPlaced) {
            shift = slot.offset - slot.prefix;
        }
        slot.tailOffset = shift < 0 ? -1 : shift + slot.prefix;
    }
}

bool PlaneAligner::codeCanStandAt(std::int64_t offset) const
{
    return offset >= 0 && offset + kCodeBytes <= m_source.size() && m_source.u16(offset) <= 3;
}

/// Raw planes stand where both neighbours agree, or where a code stands before and behind them.
void PlaneAligner::placeRaw()
{
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        PlaneSlot& slot = m_slots[i];
        if (slot.isEmpty || slot.isPlaced || slot.length != kCodeBytes + slot.shape.bytes()) {
            continue;
        }
        const bool agreed = slot.headOffset == slot.tailOffset;
        std::array<std::int64_t, 2> offsets = {slot.headOffset, slot.tailOffset};
        if (!standsBehindSound(i)) {
            // Bytes are missing or too many in the plane before, not in this one.
            std::swap(offsets[0], offsets[1]);
        }
        for (const std::int64_t offset : offsets) {
            if (!slot.isPlaced && offset >= 0 && m_source.u16(offset) == 0 &&
                (agreed || codeCanStandAt(offset + slot.length))) {
                place(slot, offset, agreed);
            }
        }
    }
}

/// Between two beginnings that disagree, raw planes stand by the first up to one of them, and by
/// the second from there on: where most codes stand where they should.
void PlaneAligner::splitRaw()
{
    for (std::size_t first = 0; first < m_slots.size();) {
        std::size_t behind = first;
        while (behind < m_slots.size() && isOpenRaw(m_slots[behind]) &&
               m_slots[behind].segment == m_slots[first].segment) {
            ++behind;
        }
        if (behind > first) {
            splitRaw(first, behind);
        }
        first = std::max(behind, first + 1);
    }
}

bool PlaneAligner::isOpenRaw(const PlaneSlot& slot) const
{
    return slot.headOffset >= 0 && slot.tailOffset >= 0 && slot.headOffset != slot.tailOffset &&
           !slot.isPlaced && (slot.isEmpty || slot.length == kCodeBytes + slot.shape.bytes());
}

void PlaneAligner::splitRaw(std::size_t first, std::size_t behind)
{
    const auto stands = [this](const PlaneSlot& slot, std::int64_t offset) {
        return m_source.u16(offset) <= (slot.isEmpty ? 1 : 0) ? 1 : 0;
    };
    int score = 0;
    for (std::size_t i = first; i < behind; ++i) {
        score += stands(m_slots[i], m_slots[i].tailOffset);
    }
    // Behind a plane that is damaged itself, the change is in that one.
    const bool late = standsBehindSound(first) || m_slots[first].prefix == 0;
    int best = score;
    std::size_t split = first;
    for (std::size_t i = first; i < behind; ++i) {
        score +=
            stands(m_slots[i], m_slots[i].headOffset) - stands(m_slots[i], m_slots[i].tailOffset);
        if (score > best || (score == best && late)) {
            best = score;
            split = i + 1;
        }
    }
    const bool nextIsDamaged = behind < m_slots.size() && !m_slots[behind].isPlaced;
    for (std::size_t i = first; i < behind; ++i) {
        // The last one before the change holds it, unless the plane behind them all does.
        const bool holdsChange = i + 1 == split && !(split == behind && nextIsDamaged) && late;
        PlaneSlot& slot = m_slots[i];
        if (!slot.isEmpty && !holdsChange) {
            place(slot, i < split ? slot.headOffset : slot.tailOffset, false);
        }
    }
}

/// The plane before this one in its segment is where it should be.
bool PlaneAligner::standsBehindSound(std::size_t index) const
{
    for (std::size_t i = index; i-- > 0 && m_slots[i].segment == m_slots[index].segment;) {
        if (!m_slots[i].isEmpty) {
            return m_slots[i].isPlaced;
        }
    }
    return false;
}

} // namespace talvek::recovery
