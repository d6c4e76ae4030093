#include "recovery/RowSalvage.h"

#include "recovery/PackBitsRow.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

constexpr int kRows = 40;
constexpr int kWidth = 24;

/// A PackBits plane of rows of which no two are alike; row y takes an odd or even count.
struct PackedPlane
{
    Bytes bytes = {0, 1};
    std::vector<std::int64_t> rowOffsets;

    PackedPlane()
    {
        Bytes rows;
        const std::size_t start = 2 + 2 * kRows;
        for (int y = 0; y < kRows; ++y) {
            rowOffsets.push_back(static_cast<std::int64_t>(start + rows.size()));
            const std::size_t before = rows.size();
            const int run = 3 + y % 5;
            rows.push_back(static_cast<std::uint8_t>(257 - run));
            rows.push_back(static_cast<std::uint8_t>(y));
            rows.push_back(static_cast<std::uint8_t>(kWidth - run - 1));
            for (int x = run; x < kWidth; ++x) {
                rows.push_back(static_cast<std::uint8_t>(17 * y + 31 * x + 1));
            }
            appendU16(bytes, static_cast<std::uint32_t>(rows.size() - before));
        }
        rowOffsets.push_back(static_cast<std::int64_t>(start + rows.size()));
        append(bytes, rows);
    }

    [[nodiscard]] std::int64_t length() const { return rowOffsets.back(); }
};

/// The number of rows found, each of which must stand where it stood, moved by `shift` from row
/// `from` on.
int goodRows(const Bytes& bytes, const DamagedPlane& plane, const PackedPlane& whole,
             std::int64_t shift = 0, int from = 0)
{
    Source source(bytes);
    int rows = 0;
    for (const RowRun& run : salvageRows(source.bytes(), plane).runs) {
        std::int64_t at = run.offset;
        for (int y = run.firstRow; y < run.firstRow + run.rowCount; ++y, ++rows) {
            const auto row = static_cast<std::size_t>(y);
            EXPECT_EQ(at, whole.rowOffsets[row] + (y >= from ? shift : 0)) << "row " << y;
            at += whole.rowOffsets[row + 1] - whole.rowOffsets[row];
        }
    }
    return rows;
}

DamagedPlane asStated(const PackedPlane& plane)
{
    return {{kRows, kWidth}, 2, plane.length(), {0}, {plane.length()}};
}

void zero(Bytes& bytes, std::int64_t from, std::int64_t to)
{
    std::fill(bytes.begin() + from, bytes.begin() + to, std::uint8_t{0});
}

TEST(RowSalvage, AllRowsOfASoundPlane)
{
    const PackedPlane plane;
    EXPECT_EQ(goodRows(plane.bytes, asStated(plane), plane), kRows);
}

TEST(RowSalvage, AHoleInTheRowsCostsOnlyTheRowsThatItHits)
{
    PackedPlane plane;
    zero(plane.bytes, plane.rowOffsets[10], plane.rowOffsets[15]);
    EXPECT_EQ(goodRows(plane.bytes, asStated(plane), plane), kRows - 5);
}

TEST(RowSalvage, AHoleInTheTableIsBridgedByTheWidth)
{
    PackedPlane plane;
    zero(plane.bytes, 2 + 2 * 12, 2 + 2 * 20);
    EXPECT_EQ(goodRows(plane.bytes, asStated(plane), plane), kRows);
}

TEST(RowSalvage, WithoutAnyTableTheRowsAreToldByTheirWidth)
{
    PackedPlane plane;
    zero(plane.bytes, 2, 2 + 2 * kRows);
    EXPECT_EQ(goodRows(plane.bytes, asStated(plane), plane), kRows);
}

TEST(RowSalvage, BehindAHoleThatTookTableAndRowsTheEndIsTheAnchor)
{
    PackedPlane plane;
    zero(plane.bytes, 2, plane.rowOffsets[6]);
    EXPECT_GE(goodRows(plane.bytes, asStated(plane), plane), kRows - 7);
}

TEST(RowSalvage, BytesMissingInsideShiftNothingBehindThem)
{
    PackedPlane plane;
    Bytes bytes = plane.bytes;
    const std::int64_t cut = plane.rowOffsets[20] + 4;
    bytes.erase(bytes.begin() + cut, bytes.begin() + cut + 3);
    DamagedPlane damaged = asStated(plane);
    damaged.tails = {plane.length() - 3, plane.length()};
    // The row that lacks them fits all the same, with the first bytes of the next one, and nothing
    // tells which of its neighbours is torn.
    EXPECT_GE(goodRows(bytes, damaged, plane, -3, 20), kRows - 3);
}

TEST(RowSalvage, ACutKeepsTheRowsBeforeIt)
{
    PackedPlane plane;
    Bytes bytes = plane.bytes;
    bytes.resize(static_cast<std::size_t>(plane.rowOffsets[25] + 1));
    EXPECT_EQ(goodRows(bytes, asStated(plane), plane), 25);
}

TEST(RowSalvage, AnEndFarBehindTheFileIsNotLookedFor)
{
    PackedPlane plane;
    Bytes bytes = plane.bytes;
    bytes.resize(static_cast<std::size_t>(plane.rowOffsets[25] + 1));
    DamagedPlane damaged = asStated(plane);
    damaged.length = std::int64_t{1} << 50;
    damaged.tails = {damaged.length};
    // The last rows of those that are there may be torn.
    EXPECT_GE(goodRows(bytes, damaged, plane), 22);
}

TEST(RowSalvage, ZerosGiveNoRows)
{
    const PackedPlane plane;
    EXPECT_EQ(goodRows(Bytes(plane.bytes.size(), 0), asStated(plane), plane), 0);
}

} // namespace talvek::test
