#include "frontend/preview/PackedRows.h"

#include "frontend/preview/RowSamples.h"

#include <algorithm>

namespace talvek {

namespace {

constexpr std::int64_t kLengthBytes = 2;
constexpr std::int64_t kLongestRow = 65535;
constexpr std::int64_t kRowsBetweenPolls = 1024;

} // namespace

PackedRows::PackedRows(const PsdLayout& layout, ReadingFileHandle& table, ReadingFileHandle& data)
    : m_layout(layout), m_table(table), m_data(data)
{}

std::int64_t PackedRows::tableRows() const
{
    return m_layout.height * m_layout.channels();
}

/// The length in the table; 0 where the table itself is cut off.
std::int64_t PackedRows::statedLength(std::int64_t row)
{
    const auto bytes =
        m_table.bytesAt(m_layout.dataStart + row * kLengthBytes, kLengthBytes, kLengthBytes);
    return bytes.size() < kLengthBytes ? 0 : bytes[0] << 8 | bytes[1];
}

/// The length of the row that starts at `offset`, told by its own runs; -1 if it has none.
std::int64_t PackedRows::foundLength(std::int64_t offset)
{
    const std::int64_t plain = m_layout.rowBytes();
    const std::int64_t most = std::min(kLongestRow, plain + plain / 64 + 64);
    const auto count = static_cast<std::size_t>(most);
    return packedRowLength(m_data.bytesAt(offset, count, count), plain);
}

bool PackedRows::tableFits(const CancelFlag& canceled)
{
    const std::int64_t tableEnd = m_layout.dataStart + tableRows() * kLengthBytes;
    std::int64_t left = m_layout.fileSize - tableEnd;
    for (std::int64_t row = 0; row < tableRows() && left >= 0; ++row) {
        if (row % kRowsBetweenPolls == 0 && canceled) {
            return false;
        }
        left -= statedLength(row);
    }
    return left == 0;
}

bool PackedRows::agrees(std::int64_t row, std::int64_t offset)
{
    return row < tableRows() && foundLength(offset) == statedLength(row);
}

/// How far it is from the row at `offset` to the next one.
std::int64_t PackedRows::settledLength(std::int64_t row, std::int64_t offset)
{
    const std::int64_t stated = statedLength(row);
    if (m_trusted || m_riddles >= kMostRiddles) {
        return stated;
    }
    const std::int64_t found = foundLength(offset);
    if (found == stated) {
        return stated;
    }
    // No row is empty. And where both ways on look right, a lie that leads back to a row's own
    // start is likelier than a damaged row that happens to end at another's.
    if (found > 0 && (stated == 0 || agrees(row + 1, offset + found))) {
        return found;
    }
    if (!agrees(row + 1, offset + stated)) {
        ++m_riddles;
    }
    return stated;
}

std::vector<PackedRow> PackedRows::locate(std::span<const int> channels,
                                          std::span<const std::int32_t> rows,
                                          const CancelFlag& canceled)
{
    std::vector<PackedRow> places(channels.size() * rows.size());
    m_trusted = tableFits(canceled);
    m_riddles = 0;
    std::int64_t offset = m_layout.dataStart + tableRows() * kLengthBytes;
    std::int64_t row = 0; // of all planes, one behind the other
    for (std::size_t i = 0; i < places.size(); ++i) {
        const std::int64_t wanted =
            channels[i / rows.size()] * m_layout.height + rows[i % rows.size()];
        for (; row < wanted && offset < m_layout.fileSize; ++row) {
            if (row % kRowsBetweenPolls == 0 && canceled) {
                return places;
            }
            offset += settledLength(row, offset);
        }
        if (offset >= m_layout.fileSize) {
            break;
        }
        places[i] = {offset, settledLength(wanted, offset)};
    }
    return places;
}

} // namespace talvek
