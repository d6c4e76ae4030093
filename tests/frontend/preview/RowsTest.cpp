#include "TestDocument.h"
#include "frontend/preview/RowSamples.h"

#include <gtest/gtest.h>

#include <numeric>

namespace talvek::testing {

namespace {

/// The plain bytes of a packed row, at most `most`, by the rules of the PSD format and no others.
Bytes expandedPlainly(const Bytes& packed, std::size_t most)
{
    Bytes plain;
    std::size_t at = 0;
    while (at < packed.size() && plain.size() < most) {
        const int control = packed[at++];
        if (control <= 127) {
            for (int i = 0; i <= control && at < packed.size(); ++i) {
                plain.push_back(packed[at++]);
            }
        } else if (control != 128 && at < packed.size()) {
            plain.insert(plain.end(), static_cast<std::size_t>(257 - control), packed[at++]);
        }
    }
    plain.resize(std::min(plain.size(), most));
    return plain;
}

/// The samples of all columns of an 8-bit row, brought back to bytes.
Bytes expandedByPicker(const Bytes& packed, std::size_t width)
{
    std::vector<std::int32_t> columns(width);
    std::iota(columns.begin(), columns.end(), 0);
    std::vector<std::uint16_t> samples(width);
    RowPicker picker(SampleKind::Byte, columns, samples);
    expandPackedRow(packed, picker);
    Bytes plain;
    for (std::size_t i = 0; i < picker.picked(); ++i) {
        plain.push_back(static_cast<std::uint8_t>(samples[i] / 257));
    }
    return plain;
}

TEST(PackedRow, EveryControlByteExpandsAsTheFormatSays)
{
    for (unsigned control = 0; control < 256; ++control) {
        Bytes packed = {static_cast<std::uint8_t>(control)};
        for (std::uint8_t i = 0; i < 140; ++i) {
            packed.push_back(static_cast<std::uint8_t>(i + 100U));
        }
        for (const std::size_t width : {1U, 127U, 128U, 129U, 400U}) {
            ASSERT_EQ(expandedByPicker(packed, width), expandedPlainly(packed, width))
                << "control byte " << control << ", width " << width;
        }
    }
}

TEST(PackedRow, EveryPrefixOfAStreamGivesThePrefixOfItsRow)
{
    Bytes row(300);
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = static_cast<std::uint8_t>(i / 20 % 2 == 0 ? i * i : 5);
    }
    const Bytes packed = packRow(row);
    for (std::size_t length = 0; length <= packed.size(); ++length) {
        const Bytes prefix(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length));
        ASSERT_EQ(expandedByPicker(prefix, 300), expandedPlainly(prefix, 300)) << length;
    }
    EXPECT_EQ(expandedByPicker(packed, 300), row);
}

TEST(PackedRow, LengthIsKnownOnlyOfARowThatEndsExactly)
{
    const Bytes packed = {2, 7, 8, 9, 0x80, 0xFE, 1, 0, 4};
    EXPECT_EQ(packedRowLength(packed, 3), 4);
    EXPECT_EQ(packedRowLength(packed, 6), 7);
    EXPECT_EQ(packedRowLength(packed, 7), 9);
    EXPECT_EQ(packedRowLength(packed, 5), -1);
    EXPECT_EQ(packedRowLength(packed, 8), -1);
    EXPECT_EQ(packedRowLength(Bytes{5, 1}, 6), -1);
    EXPECT_EQ(packedRowLength(Bytes{0xFE}, 3), -1);
}

TEST(RowPicker, PiecesOfAnySizeGiveTheSameSamples)
{
    Bytes row(64);
    std::iota(row.begin(), row.end(), std::uint8_t(3));
    const std::vector<std::int32_t> columns = {0, 0, 1, 3, 3, 3, 7, 12, 15};
    for (const SampleKind kind : {SampleKind::Bit, SampleKind::Byte, SampleKind::Word,
                                  SampleKind::LinearReal, SampleKind::PlainReal}) {
        std::vector<std::uint16_t> atOnce(columns.size());
        RowPicker(kind, columns, atOnce).feed(row);
        for (std::size_t piece = 1; piece < row.size(); ++piece) {
            std::vector<std::uint16_t> samples(columns.size());
            RowPicker picker(kind, columns, samples);
            for (std::size_t at = 0; at < row.size(); at += piece) {
                picker.feed(std::span(row).subspan(at, std::min(piece, row.size() - at)));
            }
            ASSERT_TRUE(picker.isDone());
            ASSERT_EQ(samples, atOnce) << "pieces of " << piece;
        }
    }
}

// The table of the rows' lengths

class RowTable : public ::testing::Test
{
protected:
    static TestDocument document() { return TestDocument().size(40, 12).packed(); }
    static std::size_t tableOffset() { return document().compressionOffset() + 2; }

    static int rowsThatDiffer(const QImage& image)
    {
        const QImage good = decoded(document());
        int count = 0;
        for (int y = 0; y < good.height(); ++y) {
            count += image.copy(0, y, 40, 1) == good.copy(0, y, 40, 1) ? 0 : 1;
        }
        return count;
    }
};

TEST_F(RowTable, LengthThatLiesCostsItsOwnRowAtMost)
{
    const Bytes good = document().build();
    for (std::size_t row = 0; row < 36; ++row) {
        for (const std::uint64_t lie : {0U, 1U, 3U, 200U, 65535U}) {
            Bytes bytes = good;
            putNumber(bytes, tableOffset() + 2 * row, lie, 2);
            ASSERT_LE(rowsThatDiffer(decoded(bytes)), 1) << "row " << row << " says " << lie;
        }
    }
}

TEST_F(RowTable, ZeroFilledTableIsMadeUpForByTheRows)
{
    Bytes bytes = document().build();
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(tableOffset()), 72, std::uint8_t(0));
    EXPECT_EQ(decoded(bytes), decoded(document()));
}

TEST_F(RowTable, DamagedDataCostsItsOwnRowAtMost)
{
    const Bytes good = document().build();
    std::uint32_t random = 5;
    for (int run = 0; run < 300; ++run) {
        Bytes bytes = good;
        const std::size_t data = tableOffset() + 72;
        bytes[data + nextRandom(random) % (bytes.size() - data)] ^= 0x5AU;
        ASSERT_LE(rowsThatDiffer(decoded(bytes)), 1) << "run " << run;
    }
}

TEST_F(RowTable, CutDocumentShowsTheRowsThatAreThere)
{
    const Bytes good = document().build();
    Bytes bytes = good;
    bytes.resize(good.size() - 30); // the last row of blue, which is filled in from another channel
    const QImage image = decoded(bytes);
    EXPECT_LE(rowsThatDiffer(image), 2);
    EXPECT_EQ(image.pixelColor(0, 11).alpha(), 255);
}

TEST_F(RowTable, BytesBehindTheLastRowChangeNothing)
{
    Bytes bytes = document().build();
    bytes.insert(bytes.end(), 1000, 0);
    EXPECT_EQ(decoded(bytes), decoded(document()));
}

} // namespace

} // namespace talvek::testing
