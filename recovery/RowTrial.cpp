#include "recovery/RowTrial.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PackedGap.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kFewRows = 4;
/// So many do not, where bytes are missing.
constexpr std::int64_t kManyRows = 8;
constexpr std::int64_t kFewBytes = 64;
/// A wider hole than this was not made by a changed byte.
constexpr std::int64_t kNarrowHole = 1;
constexpr std::size_t kMostRuns = 1U << 20U;

} // namespace

std::int64_t countOfRow(SourceBytes& source, std::int64_t table, std::int64_t row, int entryBytes,
                        std::int64_t width)
{
    const auto count =
        source.number(table + row * entryBytes, static_cast<std::size_t>(entryBytes));
    return count > static_cast<std::uint64_t>(mostPacked(width)) ? 0
                                                                 : static_cast<std::int64_t>(count);
}

RowTrial::RowTrial(SourceBytes& source, const PlaneShape& shape, int entryBytes,
                   const RowAnchors& anchors)
    : m_source(source),
      m_rows(shape.rows),
      m_width(shape.rowBytes),
      m_entryBytes(entryBytes),
      m_anchors(anchors),
      m_fitsFront(static_cast<std::size_t>(shape.rows), false),
      m_fitsBack(static_cast<std::size_t>(shape.rows), false)
{}

std::vector<FoundRows> RowTrial::run()
{
    readTable();
    tryRows();
    if (isAgreed()) {
        doubtHoles();
        collect(0, m_rows, m_anchors.front, m_fitsFront, true);
    } else {
        findBreak();
        doubtBreak();
        dropBroken();
        collect(0, m_frontRows, m_anchors.front, m_fitsFront, true);
        collect(m_behindUnknown, m_rows, m_backOffset, m_fitsBack, false);
    }
    return std::move(m_found);
}

std::int64_t RowTrial::countAt(std::int64_t row)
{
    return countOfRow(m_source, m_anchors.table, row, m_entryBytes, m_width);
}

bool RowTrial::isSoundRow(std::int64_t offset, std::int64_t count)
{
    return count > 0 && rowFits(m_source, offset, count, m_width) &&
           !looksLikeHole(m_source, offset, count);
}

void RowTrial::readTable()
{
    m_firstUnknown = m_rows;
    std::int64_t behind = 0;
    for (std::int64_t row = 0; row < m_rows; ++row) {
        const std::int64_t count = countAt(row);
        behind += count;
        if (count == 0) {
            m_firstUnknown = std::min(m_firstUnknown, row);
            m_behindUnknown = row + 1;
            behind = 0;
        }
    }
    m_isComplete = m_firstUnknown == m_rows;
    m_backOffset = m_anchors.end - behind;
    m_shift = m_backOffset - m_anchors.front;
}

void RowTrial::tryRows()
{
    std::int64_t front = m_anchors.front;
    std::int64_t back = m_backOffset;
    for (std::int64_t row = 0; row < m_rows; ++row) {
        const std::int64_t count = countAt(row);
        const auto index = static_cast<std::size_t>(row);
        if (row < m_firstUnknown) {
            m_fitsFront[index] = isSoundRow(front, count);
            front += count;
            m_cutRow = front <= m_source.size() ? row + 1 : m_cutRow;
        }
        if (row >= m_behindUnknown) {
            m_fitsBack[index] = isAgreed() ? m_fitsFront[index] : isSoundRow(back, count);
            back += count;
        }
    }
}

/// The change is where most rows before it fit only as the front says, and most behind it only as
/// the end says; between the first such place and the last nothing tells where it is.
void RowTrial::findBreak()
{
    std::int64_t score = 0;
    std::int64_t best = 0;
    for (std::int64_t row = 0; row < m_rows; ++row) {
        const auto index = static_cast<std::size_t>(row);
        score += (m_fitsFront[index] ? 1 : 0) - (m_fitsBack[index] ? 1 : 0);
        if (score > best) {
            best = score;
            m_frontRows = row + 1;
        }
        if (score >= best) {
            m_backRow = row + 1;
        }
    }
}

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
    std::int64_t behind = isBeforeDoubt ? run.to - 1 : run.to;
    std::int64_t at = run.end - (behind < run.to && run.to > run.from ? countAt(behind) : 0);
    std::int64_t proved = run.from;
    if (isBehindDoubt && run.to - run.from < kManyRows) {
        behind = run.from;
    }
    while (proved == run.from && --behind > run.from) {
        const std::int64_t count = countAt(behind);
        at -= count;
        proved = isOnlyReading(behind, at) ? behind + 1 : proved;
    }
    const std::int64_t end = isBeforeDoubt || proved == run.from ? proved : run.to;
    for (std::int64_t row = end; row < run.to; ++row) {
        drop(m_fitsFront, row);
    }
    if (isBehindDoubt) {
        drop(m_fitsFront, run.from);
    }
}

/// No row as long as this one, or as the next, begins behind any of this one's runs.
bool RowTrial::isOnlyReading(std::int64_t row, std::int64_t offset)
{
    constexpr int kMostTried = 32;
    const std::int64_t count = countAt(row);
    const std::int64_t next = row + 1 < m_rows ? countAt(row + 1) : 0;
    std::int64_t at = offset;
    for (int tried = 0; tried < kMostTried && at < offset + count; ++tried) {
        const std::uint8_t control = m_source.u8(at);
        at += control < 128 ? control + 2 : control > 128 ? 2 : 1;
        const bool fits = rowFits(m_source, at, count, m_width) ||
                          (at < offset + count && next > 0 && rowFits(m_source, at, next, m_width));
        if (fits) {
            return false;
        }
    }
    return true;
}

void RowTrial::collect(std::int64_t from, std::int64_t to, std::int64_t offset,
                       const std::vector<bool>& fits, bool fromFront)
{
    const bool certain = isAgreed() && m_anchors.endIsSure;
    const bool isSure = m_anchors.placeIsSure && (fromFront || m_anchors.endIsSure);
    FoundRows open;
    std::int64_t at = offset;
    for (std::int64_t row = from; row < to; ++row) {
        const std::int64_t count = countAt(row);
        if (fits[static_cast<std::size_t>(row)]) {
            if (open.rows == 0) {
                open = {row, 0, at, at, m_anchors.table + row * m_entryBytes};
            }
            ++open.rows;
            open.end = at + count;
        } else {
            keep(open, certain || (fromFront && open.firstRow == 0), isSure);
        }
        at += count;
    }
    keep(open, certain || (isSure && (!fromFront || open.firstRow == 0)), isSure);
}

/// A few rows fit by chance, and so do many of one colour where their beginning is not known.
void RowTrial::keep(FoundRows& run, bool trusted, bool isSure)
{
    const bool enough =
        trusted || run.rows >= kFewRows || (run.rows >= 2 && run.end - run.offset >= kFewBytes);
    if (run.rows > 0 && enough && m_found.size() < kMostRuns && (isSure || hasOnlyReading(run))) {
        m_found.push_back(run);
    }
    run = {};
}

bool RowTrial::hasOnlyReading(const FoundRows& run)
{
    std::int64_t at = run.offset;
    for (std::int64_t row = run.firstRow; row + 1 < run.behind(); ++row) {
        if (row > run.firstRow && isOnlyReading(row, at)) {
            return true;
        }
        at += countAt(row);
    }
    return false;
}

} // namespace talvek::recovery
