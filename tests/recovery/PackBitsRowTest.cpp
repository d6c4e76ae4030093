#include "recovery/PackBitsRow.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

TEST(PackBitsRow, TakesExactlyItsBytesAndGivesExactlyItsWidth)
{
    Source row({2, 'a', 'b', 'c', 0xFE, 'd'}); // three literals, a run of three
    EXPECT_TRUE(rowFits(row.bytes(), 0, 6, 6));
    EXPECT_FALSE(rowFits(row.bytes(), 0, 6, 5));
    EXPECT_FALSE(rowFits(row.bytes(), 0, 5, 6));
    EXPECT_FALSE(rowFits(row.bytes(), 0, 7, 6)); // reaches behind the file
    EXPECT_EQ(widthOfRow(row.bytes(), 0, 6), 6);
    EXPECT_EQ(rowLengthByWidth(row.bytes(), 0, 6, 6), 6);
}

TEST(PackBitsRow, EveryControlByteMakesItsNumberOfBytes)
{
    for (int control = 0; control < 256; ++control) {
        const int made = control < 128 ? control + 1 : control == 128 ? 0 : 257 - control;
        const std::size_t taken = control < 128 ? static_cast<std::size_t>(made) : 1;
        Bytes bytes(1 + (control == 128 ? 0 : taken), 7);
        bytes[0] = static_cast<std::uint8_t>(control);
        Source row(bytes);
        const auto packed = static_cast<std::int64_t>(bytes.size());
        EXPECT_EQ(widthOfRow(row.bytes(), 0, packed), made == 0 ? -1 : made) << control;
        Bytes plain(static_cast<std::size_t>(made));
        EXPECT_TRUE(unpackRow(bytes, plain)) << control;
        EXPECT_EQ(plain, Bytes(plain.size(), 7));
    }
}

TEST(PackBitsRow, NoPrefixOfARowIsARow)
{
    const Bytes bytes = {1, 'a', 'b', 0xFD, 'c', 0, 'd'};
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        Source row(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_FALSE(rowFits(row.bytes(), 0, static_cast<std::int64_t>(length), 7));
        Bytes plain(7);
        EXPECT_FALSE(unpackRow(std::span(bytes).first(length), plain));
    }
}

TEST(PackBitsRow, ARowThatCrossesItsWidthHasNoLength)
{
    Source row({0xFD, 'a', 0xFD, 'b'}); // two runs of four
    EXPECT_EQ(rowLengthByWidth(row.bytes(), 0, 4, 8), 4);
    EXPECT_EQ(rowLengthByWidth(row.bytes(), 0, 4, 6), -1);
    EXPECT_EQ(rowLengthByWidth(row.bytes(), 0, 3, 8), -1);
}

TEST(PackBitsRow, AFilledRowOfAnyWidthUnpacksToItsValue)
{
    for (const std::int64_t width : {1, 2, 127, 128, 129, 130, 256, 257, 1000}) {
        Bytes packed(static_cast<std::size_t>(packedFillLength(width)));
        packFill(width, 9, packed);
        Bytes plain(static_cast<std::size_t>(width));
        EXPECT_TRUE(unpackRow(packed, plain)) << width;
        EXPECT_EQ(plain, Bytes(plain.size(), 9)) << width;
    }
}

TEST(PackBitsRow, OnlyShortLiteralsInARowAreTakenForSomethingElse)
{
    Source counts({0, 6, 0, 6, 0, 6}); // a row table, read as a row
    EXPECT_TRUE(isWastefulRow(counts.bytes(), 0, 6));
    Source literal({3, 1, 2, 3, 4});
    EXPECT_FALSE(isWastefulRow(literal.bytes(), 0, 5));
}

} // namespace talvek::test
