#include "recovery/RowTrial.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PackedGap.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kFewRows = 4;
constexpr std::int64_t kFewBytes = 64;
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
