#include "recovery/RowSalvage.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PackedGap.h"
#include "recovery/RowTrial.h"
#include "recovery/Zeros.h"

#include <algorithm>
#include <optional>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::size_t kMostRuns = 1U << 20U;
constexpr std::uint16_t kPackBits = 1;

class Salvage
{
public:
    Salvage(SourceBytes& source, const DamagedPlane& plane)
        : m_source(source),
          m_plane(plane),
          m_rows(plane.shape.rows),
          m_width(plane.shape.rowBytes),
          m_table(m_rows * plane.entryBytes),
          m_starts(possibleStarts())
    {}

    SalvagedRows run()
    {
        if (!splitAll()) {
            tryAnchors();
            fillGaps();
            dropDoubtfulRows();
        }
        return result();
    }

private:
    [[nodiscard]] std::vector<std::int64_t> possibleStarts() const
    {
        std::vector<std::int64_t> starts;
        const auto add = [&starts](std::int64_t start) {
            if (start >= 0 && std::find(starts.begin(), starts.end(), start) == starts.end()) {
                starts.push_back(start);
            }
        };
        for (const std::int64_t head : m_plane.heads) {
            add(head);
        }
        for (const std::int64_t tail : m_plane.tails) {
            add(m_plane.length < 0 ? -1 : tail - m_plane.length);
        }
        return starts;
    }

    [[nodiscard]] std::int64_t frontOf(std::int64_t start) const
    {
        return start + kCodeBytes + m_table;
    }

    /// Rows that fill the place of all rows exactly are all there, whatever the table says. Where
    /// nothing else tells the end, the last may have taken bytes behind it.
    bool splitAll()
    {
        const std::int64_t tail = m_plane.tails.empty() ? 0 : m_plane.tails.front();
        const std::int64_t front = frontOf(tail - m_plane.length);
        if (m_plane.length < 0 || front < m_table || tail > m_source.size()) {
            return false;
        }
        const SplitRows split = splitForward(m_source, front, tail, m_rows, m_width);
        if (split.rows < m_rows || !isPadding(split.end, tail)) {
            return false;
        }
        const std::int64_t rows = m_plane.tailsAreSure ? m_rows : m_rows - 1;
        m_found = {{0, rows, front, split.end, -1}};
        return rows > 0;
    }

    [[nodiscard]] bool isPadding(std::int64_t from, std::int64_t to)
    {
        return to == from ||
               (to - from <= kMostPlanePadding && holdsZeros(m_source, from, to, to - from));
    }

    /// Bytes by which the plane is longer than its table says; nothing if the two do not agree.
    [[nodiscard]] std::optional<std::int64_t> paddingBy(std::int64_t start)
    {
        const std::int64_t packed =
            packedLength(m_source, start + kCodeBytes, m_plane.shape, m_plane.entryBytes);
        const std::int64_t padding = m_plane.length - kCodeBytes - packed;
        const bool agrees = packed >= 0 && m_plane.length >= 0 && padding >= 0 &&
                            padding <= kMostPlanePadding && m_source.u16(start) == kPackBits;
        return agrees ? std::optional(padding) : std::nullopt;
    }

    /// A table that adds up stands where the plane begins; else every pair of table and rows is
    /// tried, and the one that gives most rows is taken.
    void tryAnchors()
    {
        const std::int64_t tail = m_plane.tails.empty() ? m_source.size() : m_plane.tails.front();
        bool anyAgrees = false;
        for (const std::int64_t start : m_starts) {
            if (const auto padding = paddingBy(start)) {
                anyAgrees = true;
                tryTable(start, tail - *padding);
            }
        }
        for (const std::int64_t table : m_starts) {
            for (const std::int64_t start : m_starts) {
                if (!anyAgrees) {
                    tryAnchors(table, start, tail, isPlaceSure(table), m_plane.tailsAreSure);
                }
            }
        }
    }

    /// Where nothing tells the end, the last rows do: a few bytes missing or too many move them
    /// all.
    void tryTable(std::int64_t start, std::int64_t end)
    {
        const auto found = m_plane.tailsAreSure ? std::nullopt : endByRows(start, end);
        tryAnchors(start, start, found.value_or(end), true, m_plane.tailsAreSure || found);
    }

    /// The only end near `end` before which rows stand; nothing if there is none or more than one.
    std::optional<std::int64_t> endByRows(std::int64_t start, std::int64_t end)
    {
        constexpr std::int64_t kMostShift = 16;
        constexpr std::int64_t kLeastRows = 8;
        std::optional<std::int64_t> best;
        for (std::int64_t shift = -kMostShift; shift <= kMostShift; ++shift) {
            if (rowsBefore(start + kCodeBytes, end + shift) < kLeastRows) {
                continue;
            }
            if (best) {
                return std::nullopt;
            }
            best = end + shift;
        }
        return best;
    }

    std::int64_t rowsBefore(std::int64_t table, std::int64_t end)
    {
        std::int64_t rows = 0;
        for (std::int64_t at = end; rows < m_rows; ++rows) {
            const std::int64_t count =
                countOfRow(m_source, table, m_rows - rows - 1, m_plane.entryBytes, m_width);
            at -= count;
            if (!rowFits(m_source, at, count, m_width) || looksLikeHole(m_source, at, count)) {
                break;
            }
        }
        return rows;
    }

    [[nodiscard]] bool isPlaceSure(std::int64_t table)
    {
        return m_starts.size() == 1 &&
               (m_plane.tailsAreSure ||
                packedLength(m_source, table + kCodeBytes, m_plane.shape, m_plane.entryBytes) >= 0);
    }

    void tryAnchors(std::int64_t table, std::int64_t start, std::int64_t end, bool placeIsSure,
                    bool endIsSure)
    {
        const RowAnchors anchors{table + kCodeBytes, frontOf(start), end, endIsSure, placeIsSure};
        std::vector<FoundRows> found =
            RowTrial(m_source, m_plane.shape, m_plane.entryBytes, anchors).run();
        if (rowsIn(found) > rowsIn(m_found) || m_anchors.table == 0) {
            m_found = std::move(found);
            m_anchors = anchors;
        }
    }

    [[nodiscard]] static std::int64_t rowsIn(const std::vector<FoundRows>& found)
    {
        std::int64_t rows = 0;
        for (const FoundRows& run : found) {
            rows += run.rows;
        }
        return rows;
    }

    /// Between the rows found so far, rows are told apart by their width, where no bytes are
    /// missing or too many.
    void fillGaps()
    {
        const std::int64_t place = m_anchors.end - m_anchors.front + m_table + kCodeBytes;
        if (m_starts.empty() || place > m_plane.length ||
            place < m_plane.length - kMostPlanePadding) {
            return;
        }
        const std::vector<FoundRows> known = m_found;
        FoundRows before{0, 0, m_anchors.front, m_anchors.front, -1};
        for (const FoundRows& run : known) {
            fillGap(before, run);
            before = run;
        }
        fillGap(before, {m_rows, 0, m_anchors.end, m_anchors.end, -1});
        std::sort(m_found.begin(), m_found.end(),
                  [](const FoundRows& a, const FoundRows& b) { return a.firstRow < b.firstRow; });
    }

    void fillGap(const FoundRows& before, const FoundRows& behind)
    {
        const std::int64_t row = before.behind();
        const std::int64_t rows = behind.firstRow - row;
        const std::int64_t limit = std::min(behind.offset, m_source.size());
        if (rows <= 0 || before.end >= limit) {
            return;
        }
        const SplitRows front = splitForward(m_source, before.end, limit, rows, m_width);
        const bool isEnd = behind.firstRow == m_rows;
        if (front.rows == rows &&
            (front.end == behind.offset || (isEnd && isPadding(front.end, behind.offset)))) {
            keep({row, rows, front.begin, front.end, -1});
            return;
        }
        if (m_plane.tailsAreSure) {
            keepFront(row, front);
            keepBack(row + front.rows, front.end, behind, isEnd);
        }
    }

    /// Rows that lead nowhere: the last one may hold bytes that are not its own, and where the
    /// table contradicts, nothing tells which is right.
    void keepFront(std::int64_t row, const SplitRows& split)
    {
        std::int64_t rows = 0;
        while (rows < split.rows && countOf(row + rows) == 0) {
            ++rows;
        }
        rows = std::min(rows, split.rows - 1);
        if (rows > 0) {
            keep({row, rows, split.begin, split.end, -1});
        }
    }

    void keepBack(std::int64_t row, std::int64_t from, const FoundRows& behind, bool isEnd)
    {
        std::int64_t rows = 0;
        while (rows < behind.firstRow - row &&
               (isEnd || countOf(behind.firstRow - rows - 1) == 0)) {
            ++rows;
        }
        if (rows == 0) {
            return;
        }
        const SplitRows split = splitBackward(m_source, from, behind.offset, rows, m_width);
        if (split.rows > 0) {
            keep({behind.firstRow - split.rows, split.rows, split.begin, split.end, -1});
        }
    }

    [[nodiscard]] std::int64_t countOf(std::int64_t row)
    {
        return countOfRow(m_source, m_anchors.table, row, m_plane.entryBytes, m_width);
    }

    void keep(const FoundRows& run)
    {
        if (m_found.size() < kMostRuns) {
            m_found.push_back(run);
        }
    }

    /// Where one row does not begin at the end of the one before, bytes are missing or too many,
    /// and the row before may well have fitted by taking bytes that are not its own.
    void dropDoubtfulRows()
    {
        for (std::size_t i = 0; i + 1 < m_found.size(); ++i) {
            FoundRows& run = m_found[i];
            const FoundRows& next = m_found[i + 1];
            if (run.behind() == next.firstRow && run.end != next.offset) {
                --run.rows;
            }
        }
        std::erase_if(m_found, [](const FoundRows& run) { return run.rows == 0; });
    }

    [[nodiscard]] SalvagedRows result() const
    {
        SalvagedRows salvaged;
        for (const FoundRows& run : m_found) {
            salvaged.runs.push_back({static_cast<std::int32_t>(run.firstRow),
                                     static_cast<std::int32_t>(run.rows), run.offset,
                                     run.tableOffset});
            salvaged.rows += run.rows;
        }
        return salvaged;
    }

    SourceBytes& m_source;
    const DamagedPlane& m_plane;
    std::int64_t m_rows;
    std::int64_t m_width;
    std::int64_t m_table;
    std::vector<std::int64_t> m_starts; ///< where the plane may begin
    RowAnchors m_anchors;               ///< of the rows found
    std::vector<FoundRows> m_found;
};

} // namespace

SalvagedRows salvageRows(SourceBytes& source, const DamagedPlane& plane)
{
    constexpr std::int64_t kMostRows = std::int64_t{99} * 300000;
    if (plane.shape.isEmpty() || plane.shape.rows > kMostRows) {
        return {};
    }
    return Salvage(source, plane).run();
}

} // namespace talvek::recovery
