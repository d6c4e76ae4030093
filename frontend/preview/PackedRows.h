#pragma once

#include "frontend/preview/PictureSource.h"
#include "frontend/preview/PsdLayout.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvek {

/// Where one packed row lies in the file; `bytes` is 0 for a row that is not there.
struct PackedRow
{
    std::int64_t offset = 0;
    std::int64_t bytes = 0;
};

/// Finds the rows of packed planes through the table of their lengths.
///
/// A table whose sum reaches the end of the file exactly is believed. Any other is checked row by
/// row against the data: where a length and its row disagree, the way on is the one behind which
/// the next row agrees with its own length.
class PackedRows
{
public:
    /// Both outlive the object. Requires: layout.isPacked.
    PackedRows(const PsdLayout& layout, ReadingFileHandle& table, ReadingFileHandle& data);

    /// The places of `rows` (ascending, each below the height) of each of `channels` (ascending),
    /// channel by channel. When `canceled` is set, the rest are rows that are not there.
    std::vector<PackedRow> locate(std::span<const int> channels, std::span<const std::int32_t> rows,
                                  const CancelFlag& canceled);

private:
    /// Rows of which neither way on agrees, after which the data is taken to be damaged, not the
    /// table; looking further would cost time without end in a file made for it.
    static constexpr int kMostRiddles = 64;

    [[nodiscard]] std::int64_t tableRows() const;
    [[nodiscard]] std::int64_t statedLength(std::int64_t row);
    [[nodiscard]] std::int64_t foundLength(std::int64_t offset);
    [[nodiscard]] bool tableFits(const CancelFlag& canceled);
    [[nodiscard]] std::int64_t settledLength(std::int64_t row, std::int64_t offset);
    [[nodiscard]] bool agrees(std::int64_t row, std::int64_t offset);

    const PsdLayout& m_layout;
    ReadingFileHandle& m_table;
    ReadingFileHandle& m_data;
    bool m_trusted = false;
    int m_riddles = 0;
};

} // namespace talvek
