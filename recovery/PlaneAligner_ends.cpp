#include "recovery/PlaneAligner.h"
#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <array>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;

} // namespace

/// Between the last plane and the first block stand up to three bytes of padding and, in the main
/// layer info, the global mask behind its length.
void PlaneAligner::findEnds(std::int64_t blockBehind)
{
    constexpr std::array<std::int64_t, 3> kMaskBytes = {0, 16, 14};
    if (blockBehind < 0) {
        return;
    }
    const auto add = [this](std::int64_t end) {
        // Padding is zeros: anything else belongs to a plane that bytes were added to.
        m_ends.push_back(end);
        for (std::int64_t pad = 1; pad <= kMostPlanePadding && m_source.u8(end - pad) == 0; ++pad) {
            m_ends.push_back(end - pad);
        }
    };
    for (const std::int64_t mask : kMaskBytes) {
        if (m_source.u32(blockBehind - mask - 4) == mask) {
            add(blockBehind - mask - 4);
        }
    }
    add(blockBehind);
    for (const std::int64_t end : m_ends) {
        if (m_endShift < 0 && codesStandAlong(end - m_lastLength)) {
            m_endShift = end - m_lastLength;
        }
    }
}

/// With this beginning, a code that can be stands where each of the last planes begins.
bool PlaneAligner::codesStandAlong(std::int64_t shift) const
{
    constexpr std::size_t kLooked = 12;
    std::size_t looked = 0;
    for (std::size_t i = m_slots.size(); i-- > 0 && looked < kLooked; ++looked) {
        const PlaneSlot& slot = m_slots[i];
        if (slot.segment != m_lastSegment) {
            break;
        }
        if (!codeStandsAt(slot, shift + slot.prefix)) {
            return false;
        }
    }
    return looked > 0;
}

/// A code that the slot's plane can have.
bool PlaneAligner::codeStandsAt(const PlaneSlot& slot, std::int64_t offset) const
{
    const bool isRaw = slot.length == kCodeBytes + slot.shape.bytes();
    const std::uint16_t code = m_source.u16(offset);
    return slot.isEmpty ? code <= 1 : code <= 3 && isRaw == (code == 0);
}

bool PlaneAligner::reachesEnd(std::size_t segment, std::int64_t shift) const
{
    return segment == m_lastSegment &&
           std::find(m_ends.begin(), m_ends.end(), shift + m_lastLength) != m_ends.end();
}

/// What stands at `end` can follow the slot's plane: the heads of the next ones up to one that has
/// samples, or, behind the last one, the end of the layers.
bool PlaneAligner::canEndAt(std::size_t index, std::int64_t end) const
{
    std::int64_t at = end;
    for (std::size_t i = index + 1; i < m_slots.size(); ++i) {
        const PlaneSlot& next = m_slots[i];
        if (next.segment != m_slots[index].segment) {
            return codeCanStandAt(at);
        }
        if (!next.isEmpty || !codeStandsAt(next, at)) {
            return codeStandsAt(next, at);
        }
        at += next.length;
    }
    return layersCanEndAt(at) || codeCanStandAt(at);
}

bool PlaneAligner::layersCanEndAt(std::int64_t end) const
{
    constexpr std::int64_t kMaskLengthBytes = 4;
    for (std::int64_t at = end; at <= end + kMostPlanePadding; ++at) {
        const std::int64_t behindMask = at + kMaskLengthBytes + m_source.u32(at);
        if (isBlockSignature(m_source, at) || isBlockSignature(m_source, behindMask) ||
            (m_source.u32(at) == 0 && codeCanStandAt(at + kMaskLengthBytes))) {
            return true;
        }
    }
    return end >= m_source.size();
}

/// Planes follow each other without a gap. Where the next one begins earlier, the one before ends
/// in bytes that are not its own; where it begins later, the one before may lack bytes, or the next
/// one was moved away from it: either way its end is not proved.
void PlaneAligner::doubtEnds()
{
    const std::int64_t lastEnd =
        m_ends.empty() ? -1 : *std::max_element(m_ends.begin(), m_ends.end());
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        PlaneSlot& slot = m_slots[i];
        if (!slot.isPlaced || slot.check.proof == Proof::Length) {
            continue;
        }
        const std::int64_t end = slot.offset + slot.length;
        const bool isLast = i + 1 == m_slots.size();
        const bool follows =
            !isLast && m_slots[i + 1].isPlaced && m_slots[i + 1].segment == slot.segment;
        const std::int64_t next = follows ? m_slots[i + 1].offset : isLast ? lastEnd : -1;
        if (next > slot.offset && next < end) {
            slot.isPlaced = false;
        } else if (follows ? next != end : !canEndAt(i, end)) {
            slot.isPlaceProved = false;
        }
    }
}

} // namespace talvek::recovery
