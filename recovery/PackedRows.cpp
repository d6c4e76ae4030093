#include "recovery/PackedRows.h"

#include "recovery/PackBitsRow.h"

#include <algorithm>

namespace talvek::recovery {

PackedRows::Row PackedRows::next()
{
    const auto& runs = m_plane.runs;
    while (m_run < runs.size() && m_row >= runs[m_run].firstRow + runs[m_run].rowCount) {
        ++m_run;
    }
    if (m_run == runs.size() || m_row < runs[m_run].firstRow) {
        ++m_row;
        return {};
    }
    const RowRun& run = runs[m_run];
    if (m_row == run.firstRow) {
        m_at = run.offset;
    }
    const Row row{m_at, countOf(run)};
    m_at += row.count;
    ++m_row;
    return row;
}

std::int64_t PackedRows::countOf(const RowRun& run)
{
    if (run.tableOffset >= 0) {
        const auto bytes = std::int64_t{m_plane.tableEntryBytes};
        const auto count = m_source.number(run.tableOffset + (m_row - run.firstRow) * bytes,
                                           static_cast<std::size_t>(bytes));
        return static_cast<std::int64_t>(count);
    }
    const std::int64_t count =
        rowLengthByWidth(m_source, m_at, m_source.size(), m_plane.rowBytes());
    return std::max<std::int64_t>(count, 0);
}

} // namespace talvek::recovery
