#include "recovery/PackBitsRow.h"
#include "recovery/PackedGap.h"
#include "recovery/RowTrial.h"

namespace talvek::recovery {

namespace {

/// So many rows do not fit by chance, even where bytes are missing.
constexpr std::int64_t kManyRows = 8;
/// A wider hole than this was not made by a changed byte.
constexpr std::int64_t kNarrowHole = 1;

} // namespace

/// The row before the change may well fit by taking bytes that are not its own, and where the
/// change is on a border, the one before that. So may the one behind it, unless the change is known
/// to be before that.
void RowTrial::doubtBreak()
{
    if (isCut()) {
        m_frontRows = m_rows;
        m_backRow = m_rows;
        return;
    }
    const auto fitsNone = [this](std::int64_t row) {
        const auto index = static_cast<std::size_t>(row);
        return !m_fitsFront[index] && !m_fitsBack[index];
    };
    const bool isBetween = m_backRow == m_frontRows + 1 && fitsNone(m_frontRows);
    drop(m_fitsFront, m_frontRows - 1);
    if (!isBetween) {
        drop(m_fitsFront, m_frontRows - 2);
        drop(m_fitsBack, m_backRow);
    }
}

/// Behind a hole that nothing explains no way leads on: it may be another change.
void RowTrial::dropBroken()
{
    const auto isHole = [this](std::int64_t offset, std::int64_t count) {
        return m_anchors.placeIsSure && count > 0 && looksLikeHole(m_source, offset, count);
    };
    bool isBroken = false;
    std::int64_t at = m_anchors.front;
    for (std::int64_t row = 0; row < m_frontRows; ++row) {
        const std::int64_t count = countAt(row);
        isBroken = isBroken || (!m_fitsFront[static_cast<std::size_t>(row)] && !isHole(at, count));
        if (isBroken) {
            drop(m_fitsFront, row);
        }
        at += count;
    }
    isBroken = false;
    at = m_anchors.end;
    for (std::int64_t row = m_rows - 1; row >= m_behindUnknown; --row) {
        const std::int64_t count = countAt(row);
        at -= count;
        isBroken = isBroken || row < m_backRow ||
                   (!m_fitsBack[static_cast<std::size_t>(row)] && !isHole(at, count));
        if (isBroken) {
            drop(m_fitsBack, row);
        }
    }
}

void RowTrial::drop(std::vector<bool>& fits, std::int64_t row) const
{
    if (row >= 0 && row < m_rows) {
        fits[static_cast<std::size_t>(row)] = false;
    }
}

/// The rows go on as the front says up to the file's end, which took more than the last of them:
/// what stands there is not the plane's end.
bool RowTrial::isCut() const
{
    if (m_anchors.endIsSure || m_cutRow + 1 >= m_rows) {
        return false;
    }
    for (std::int64_t row = m_frontRows; row < m_cutRow; ++row) {
        if (!m_fitsFront[static_cast<std::size_t>(row)]) {
            return false;
        }
    }
    return true;
}

/// Holes that nothing explains: what made them may reach into the rows next to them, and with the
/// end not known, bytes may be missing or too many.
void RowTrial::doubtHoles()
{
    const std::vector<bool> fits = m_fitsFront;
    std::int64_t at = m_anchors.front;
    Stretch run;
    bool isBehindDoubt = false;
    for (std::int64_t row = 0; row < m_rows;) {
        Stretch hole{row, row, at, at};
        while (hole.to < m_rows && !fits[static_cast<std::size_t>(hole.to)]) {
            hole.end += countAt(hole.to++);
        }
        const bool doubted = hole.to > hole.from && !isExplained(hole);
        if (doubted && !m_anchors.endIsSure) {
            keepProved(run, isBehindDoubt, true);
            isBehindDoubt = true;
        } else if (isBehindDoubt) {
            keepProved(run, true, false);
        }
        const bool isWide =
            hole.to - hole.from > kNarrowHole || hole.from == 0 || hole.to == m_rows;
        if (doubted && isWide) {
            drop(m_fitsFront, hole.from - 1);
            drop(m_fitsFront, hole.to);
        }
        run = {hole.to, hole.to, hole.end, hole.end};
        while (run.to < m_rows && fits[static_cast<std::size_t>(run.to)]) {
            run.end += countAt(run.to++);
        }
        row = run.to;
        at = run.end;
    }
    if (isBehindDoubt) {
        keepProved(run, true, false);
    }
}

/// Zeros, erased flash, or the end of the file.
bool RowTrial::isExplained(const Stretch& hole)
{
    return hole.end > m_source.size() ||
           (looksLikeHole(m_source, hole.offset, countAt(hole.from)) &&
            looksLikeHole(m_source, hole.end - countAt(hole.to - 1), countAt(hole.to - 1)));
}

/// Of rows next to a place where bytes may be missing, those up to the last one that cannot be read
/// from any other place.
void RowTrial::keepProved(const Stretch& run, bool isBehindDoubt, bool isBeforeDoubt)
{
    const bool isLong = !isBehindDoubt || run.to - run.from >= kManyRows;
    const std::int64_t proved = isLong ? behindProved(run, isBeforeDoubt) : run.from;
    const std::int64_t behind = isBeforeDoubt || proved == run.from ? proved : run.to;
    for (std::int64_t row = behind; row < run.to; ++row) {
        drop(m_fitsFront, row);
    }
    if (isBehindDoubt) {
        drop(m_fitsFront, run.from);
    }
}

/// Behind the last row that has one reading only; the run's beginning if none has. The first row
/// of the run, and the last one before a change, may be torn, and then it proves nothing.
std::int64_t RowTrial::behindProved(const Stretch& run, bool isBeforeDoubt)
{
    std::int64_t at = run.end;
    for (std::int64_t row = run.to - 1; row > run.from; --row) {
        at -= countAt(row);
        const bool mayBeTorn = isBeforeDoubt && row + 1 == run.to;
        if (!mayBeTorn && isOnlyReading(row, at)) {
            return row + 1;
        }
    }
    return run.from;
}

/// No row as long as this one, or as the next, begins behind any of this one's runs. Only those
/// near its ends are tried: a few bytes missing or too many lead there.
bool RowTrial::isOnlyReading(std::int64_t row, std::int64_t offset)
{
    constexpr std::int64_t kNear = 64;
    const std::int64_t count = countAt(row);
    const std::int64_t next = row + 1 < m_rows ? countAt(row + 1) : 0;
    const std::int64_t end = offset + count;
    for (std::int64_t at = offset; at < end;) {
        const std::uint8_t control = m_source.u8(at);
        at += control < 128 ? control + 2 : control > 128 ? 2 : 1;
        const bool isNear = at - offset <= kNear || end - at <= kNear;
        if (isNear && (rowFits(m_source, at, count, m_width) ||
                       (at < end && rowFits(m_source, at, next, m_width)))) {
            return false;
        }
    }
    return true;
}

} // namespace talvek::recovery
