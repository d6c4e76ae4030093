#include "recovery/RowSalvage.h"

#include "recovery/PackBitsRow.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::size_t kMostRuns = 1U << 20U;
constexpr std::int64_t kFewRows = 4;
constexpr std::int64_t kFewBytes = 64;
/// No encoder leaves so many zeros in a row: it would have made a run of them.
constexpr std::int64_t kHoleBytes = 12;
constexpr std::int64_t kResyncCost = 16;

struct Run
{
    std::int64_t firstRow = 0;
    std::int64_t rows = 0;
    std::int64_t offset = 0;
    std::int64_t end = 0;
    std::int64_t tableOffset = -1;
};

class Salvage
{
public:
    Salvage(SourceBytes& source, const DamagedPlane& plane)
        : m_source(source),
          m_plane(plane),
          m_rows(plane.shape.rows),
          m_width(plane.shape.rowBytes),
          m_table(m_rows * plane.entryBytes),
          m_covered(static_cast<std::size_t>(m_rows), false)
    {}

    SalvagedRows run()
    {
        m_starts = possibleStarts();
        const auto& starts = m_starts;
        for (const std::int64_t table : starts) {
            walkWithTable(table, starts);
        }
        std::sort(m_runs.begin(), m_runs.end(),
                  [](const Run& a, const Run& b) { return a.firstRow < b.firstRow; });
        splitGaps(starts);
        dropDoubtfulRows();
        return result();
    }

private:
    std::vector<std::int64_t> possibleStarts() const
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

    [[nodiscard]] std::int64_t countAt(std::int64_t table, std::int64_t row)
    {
        const std::int64_t bytes = m_plane.entryBytes;
        const auto count = m_source.number(table + row * bytes, static_cast<std::size_t>(bytes));
        return count > static_cast<std::uint64_t>(mostPacked(m_width))
                   ? 0
                   : static_cast<std::int64_t>(count);
    }

    void walkWithTable(std::int64_t start, const std::vector<std::int64_t>& starts)
    {
        const std::int64_t table = start + kCodeBytes;
        const std::int64_t packed =
            packedLength(m_source, table, m_plane.shape, m_plane.entryBytes);
        const bool adds = packed >= 0 && m_plane.length >= 0 &&
                          kCodeBytes + packed <= m_plane.length &&
                          m_plane.length - kCodeBytes - packed <= kMostPlanePadding;
        // One beginning and a table that adds up: every row's place is known for certain.
        const bool certain = adds && starts.size() == 1;
        for (const std::int64_t data : starts) {
            forward(table, data + kCodeBytes + m_table, certain);
        }
        for (const std::int64_t tail : m_plane.tails) {
            const std::int64_t padding = adds ? m_plane.length - kCodeBytes - packed : 0;
            backward(table, tail - padding, certain);
        }
    }

    void forward(std::int64_t table, std::int64_t data, bool certain)
    {
        Run open;
        bool first = true;
        std::int64_t at = data;
        for (std::int64_t row = 0; row < m_rows; ++row) {
            const std::int64_t count = countAt(table, row);
            const bool fits = isSoundRow(at, count);
            if (fits && open.rows == 0) {
                open = {row, 0, at, at, table + row * m_plane.entryBytes};
            }
            if (fits) {
                ++open.rows;
                open.end = at + count;
            } else {
                close(open, certain || first);
                first = false;
            }
            if (count == 0) {
                break;
            }
            at += count;
        }
        close(open, certain || first);
    }

    void backward(std::int64_t table, std::int64_t end, bool certain)
    {
        Run open;
        bool first = m_plane.tailsAreSure;
        std::int64_t at = end;
        for (std::int64_t row = m_rows - 1; row >= 0; --row) {
            const std::int64_t count = countAt(table, row);
            at -= count;
            const bool fits = isSoundRow(at, count);
            if (fits && open.rows == 0) {
                open.end = at + count;
            }
            if (fits) {
                ++open.rows;
                open.firstRow = row;
                open.offset = at;
                open.tableOffset = table + row * m_plane.entryBytes;
            } else {
                close(open, certain || first);
                first = false;
            }
            if (count == 0) {
                break;
            }
        }
        close(open, certain || first);
    }

    /// Takes up the rows of a run that no earlier run has, and opens a new one.
    void close(Run& run, bool trusted)
    {
        const bool enough =
            trusted || run.rows >= kFewRows || (run.rows >= 2 && run.end - run.offset >= kFewBytes);
        if (run.rows > 0 && enough) {
            takeUp(run);
        }
        run = {};
    }

    void takeUp(const Run& run)
    {
        Run part;
        std::int64_t at = run.offset;
        for (std::int64_t i = 0; i < run.rows; ++i) {
            const std::int64_t row = run.firstRow + i;
            const std::int64_t entry = run.tableOffset + i * m_plane.entryBytes;
            const std::int64_t count = countAt(run.tableOffset, i);
            if (m_covered[static_cast<std::size_t>(row)]) {
                keep(part);
            } else {
                if (part.rows == 0) {
                    part = {row, 0, at, at, entry};
                }
                ++part.rows;
                part.end = at + count;
                m_covered[static_cast<std::size_t>(row)] = true;
            }
            at += count;
        }
        keep(part);
    }

    void keep(Run& part)
    {
        if (part.rows > 0 && m_runs.size() < kMostRuns) {
            m_runs.push_back(part);
        }
        part = {};
    }

    /// Between the rows found so far, rows are told apart by their width.
    void splitGaps(const std::vector<std::int64_t>& starts)
    {
        const std::vector<Run> known = m_runs;
        std::int64_t row = 0;
        std::int64_t at = starts.empty() ? -1 : starts.front() + kCodeBytes + m_table;
        for (const Run& run : known) {
            splitGap(row, run.firstRow, at, run.offset);
            row = run.firstRow + run.rows;
            at = run.end;
        }
        const std::int64_t tail = m_plane.tails.empty() ? -1 : m_plane.tails.front();
        splitGap(row, m_rows, at, tail);
        std::sort(m_runs.begin(), m_runs.end(),
                  [](const Run& a, const Run& b) { return a.firstRow < b.firstRow; });
    }

    /// Rows `[row, behind)` between two offsets, either of which may be unknown (-1).
    void splitGap(std::int64_t row, std::int64_t behind, std::int64_t from, std::int64_t to)
    {
        if (row >= behind || (from < 0 && to < 0)) {
            return;
        }
        std::int64_t at = from;
        if (from >= 0) {
            const std::int64_t limit = to >= from ? to : m_source.size();
            row = splitForward(row, behind, at, limit);
        }
        if (row < behind && to >= 0) {
            splitBehindHole(row, behind, from >= 0 ? at : to - 2 * m_width, to);
        }
    }

    /// @return the first row that could not be told; `at` is where it would begin
    std::int64_t splitForward(std::int64_t row, std::int64_t behind, std::int64_t& at,
                              std::int64_t limit)
    {
        Run run{row, 0, at, at, -1};
        while (row < behind) {
            const std::int64_t count = rowLengthByWidth(m_source, at, limit, m_width);
            if (count <= 0 || looksLikeHole(at, count)) {
                break;
            }
            at += count;
            ++row;
            ++run.rows;
            run.end = at;
        }
        cover(run);
        return row;
    }

    void cover(Run run)
    {
        for (std::int64_t i = 0; i < run.rows; ++i) {
            m_covered[static_cast<std::size_t>(run.firstRow + i)] = true;
        }
        keep(run);
    }

    /// Looks for the first place from which whole rows lead exactly to `to`, the next known one.
    void splitBehindHole(std::int64_t row, std::int64_t behind, std::int64_t from, std::int64_t to)
    {
        std::int64_t budget = kResyncCost * (to - from) + (64 << 10);
        for (std::int64_t start = std::max<std::int64_t>(from, 0); start < to && budget > 0;
             ++start) {
            std::int64_t at = start;
            std::int64_t rows = 0;
            std::int64_t second = to;
            while (at < to && rows < behind - row) {
                const std::int64_t count = rowLengthByWidth(m_source, at, to, m_width);
                budget -= 16 + std::max<std::int64_t>(count, 0) / 8;
                if (count <= 0) {
                    break;
                }
                if (rows == 0 && looksLikeHole(at, count)) {
                    start = std::max(start, lastHoleStart(start, to));
                    break;
                }
                at += count;
                second = ++rows == 1 ? at : second;
            }
            if (at == to && rows > 0 && (rows >= 2 || to - start >= kHoleBytes)) {
                coverBehindHole({behind - rows, rows, start, to, -1}, second);
                return;
            }
        }
    }

    /// What is left of a torn row can be read as a whole one: without the table's word for it, the
    /// first row behind a hole is not given.
    void coverBehindHole(Run run, std::int64_t second)
    {
        const bool isWitnessed = std::any_of(m_starts.begin(), m_starts.end(), [&](auto start) {
            return countAt(start + kCodeBytes, run.firstRow) == second - run.offset;
        });
        if (!isWitnessed) {
            ++run.firstRow;
            --run.rows;
            run.offset = second;
        }
        if (run.rows > 0) {
            cover(run);
        }
    }

    /// The last place in the zeros at `offset` where a row can begin that takes some of them.
    std::int64_t lastHoleStart(std::int64_t offset, std::int64_t to)
    {
        std::int64_t at = offset;
        while (at < to && m_source.u8(at) == 0) {
            ++at;
        }
        return at - kHoleBytes;
    }

    bool isSoundRow(std::int64_t offset, std::int64_t count)
    {
        return count > 0 && rowFits(m_source, offset, count, m_width) &&
               !looksLikeHole(offset, count);
    }

    /// The row has a part in more zeros than an encoder leaves, which may begin before it and end
    /// behind it: a hole's border can fit a row as well as what stood there.
    bool looksLikeHole(std::int64_t offset, std::int64_t count)
    {
        const std::int64_t from = std::max<std::int64_t>(0, offset - kHoleBytes);
        const std::int64_t to = offset + count + kHoleBytes;
        const auto view = m_source.at(from, static_cast<std::size_t>(std::min<std::int64_t>(
                                                to - from, SourceBytes::kMostView)));
        std::int64_t zeros = 0;
        std::int64_t at = from;
        for (const std::uint8_t byte : view) {
            ++at;
            zeros = byte == 0 ? zeros + 1 : 0;
            if (zeros >= kHoleBytes && at > offset && at - zeros < offset + count) {
                return true;
            }
        }
        return false;
    }

    /// Where one row does not begin at the end of the one before, bytes are missing or too many,
    /// and the row before may well have fitted by taking bytes that are not its own.
    void dropDoubtfulRows()
    {
        for (std::size_t i = 0; i + 1 < m_runs.size(); ++i) {
            Run& run = m_runs[i];
            const Run& next = m_runs[i + 1];
            if (run.firstRow + run.rows == next.firstRow && run.end != next.offset) {
                --run.rows;
            }
        }
        std::erase_if(m_runs, [](const Run& run) { return run.rows == 0; });
    }

    [[nodiscard]] SalvagedRows result() const
    {
        SalvagedRows salvaged;
        for (const Run& run : m_runs) {
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
    std::vector<bool> m_covered;
    std::vector<std::int64_t> m_starts; ///< where the plane may begin
    std::vector<Run> m_runs;
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
