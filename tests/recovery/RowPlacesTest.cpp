#include "recovery/PackBitsRow.h"
#include "recovery/PackedRows.h"
#include "recovery/RowSalvage.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

namespace {

constexpr int kRows = 60;
constexpr int kRun = 128;

/// Rows as pictures have them, by how well they tell where they begin.
enum class Picture
{
    Varied, ///< literals and runs of many lengths
    Bands,  ///< four runs of the greatest length: any four of them in a row give the width
    Chunks, ///< two literals of the greatest length: the same
    Flat,   ///< most rows of one colour, and one here and there that is not
};

struct TestPlane
{
    Bytes bytes = {0, 1};
    std::vector<std::int64_t> offsets; ///< of the rows, and behind the last
    std::vector<Bytes> rows;
    std::int64_t width = 0;

    explicit TestPlane(Picture picture)
    {
        Bytes packed;
        for (int y = 0; y < kRows; ++y) {
            offsets.push_back(2 + 2 * kRows + static_cast<std::int64_t>(packed.size()));
            const Bytes row = packedRow(picture, y);
            appendU16(bytes, static_cast<std::uint32_t>(row.size()));
            append(packed, row);
            width = widthOf(row);
            rows.push_back(unpacked(row));
        }
        offsets.push_back(2 + 2 * kRows + static_cast<std::int64_t>(packed.size()));
        append(bytes, packed);
    }

    [[nodiscard]] std::int64_t length() const { return offsets.back(); }

private:
    static void addRun(Bytes& row, int count, int value)
    {
        row.push_back(static_cast<std::uint8_t>(257 - count));
        row.push_back(static_cast<std::uint8_t>(value));
    }

    static void addLiteral(Bytes& row, int count, int seed)
    {
        row.push_back(static_cast<std::uint8_t>(count - 1));
        for (int x = 0; x < count; ++x) {
            row.push_back(static_cast<std::uint8_t>(seed + 37 * x + x * x));
        }
    }

    static Bytes packedRow(Picture picture, int y)
    {
        Bytes row;
        switch (picture) {
        case Picture::Varied:
            addRun(row, 3 + y % 5, y);
            addLiteral(row, 41 - 3 - y % 5, 17 * y);
            break;
        case Picture::Bands:
            for (int band = 0; band < 4; ++band) {
                addRun(row, kRun, 5 * y + 60 * band);
            }
            break;
        case Picture::Chunks:
            addLiteral(row, kRun, 13 * y);
            addLiteral(row, kRun, 13 * y + 7);
            break;
        case Picture::Flat:
            addRun(row, kRun, y % 16 == 7 ? 9 : 0);
            addRun(row, 72, 0);
            break;
        }
        return row;
    }

    static std::int64_t widthOf(const Bytes& row)
    {
        std::int64_t width = 0;
        for (std::size_t at = 0; at < row.size();) {
            const int control = row[at];
            width += control < 128 ? control + 1 : 257 - control;
            at += control < 128 ? static_cast<std::size_t>(control) + 2 : 2;
        }
        return width;
    }

    [[nodiscard]] Bytes unpacked(const Bytes& row) const
    {
        Bytes plain(static_cast<std::size_t>(width));
        EXPECT_TRUE(unpackRow(row, plain));
        return plain;
    }
};

struct Outcome
{
    int rows = 0;
    int wrong = 0;
};

/// Holds each row that is given against the one that stood there.
Outcome outcomeOf(const Bytes& bytes, const DamagedPlane& damaged, const TestPlane& whole)
{
    Source source(bytes);
    recovery::Plane plane;
    plane.rows = kRows;
    plane.columns = static_cast<std::int32_t>(whole.width);
    plane.depth = 8;
    plane.compression = Compression::PackBits;
    plane.runs = salvageRows(source.bytes(), damaged).runs;
    PackedRows packed(source.bytes(), plane);
    Outcome outcome;
    Bytes row(static_cast<std::size_t>(whole.width));
    for (const Bytes& expected : whole.rows) {
        const PackedRows::Row found = packed.next();
        if (found.count > 0) {
            const auto view =
                source.bytes().at(found.offset, static_cast<std::size_t>(found.count));
            const bool isRight = unpackRow(view, row) && row == expected;
            ++outcome.rows;
            outcome.wrong += isRight ? 0 : 1;
        }
    }
    return outcome;
}

/// The plane with another one behind it, and what is known of the two: the next one's place is.
DamagedPlane between(const TestPlane& plane, std::int64_t shift)
{
    DamagedPlane damaged{{kRows, plane.width}, 2, plane.length(), {0}, {plane.length() + shift}};
    if (shift != 0) {
        damaged.heads.push_back(shift);
        damaged.tails.push_back(plane.length());
    }
    std::erase_if(damaged.heads, [](std::int64_t head) { return head < 0; });
    return damaged;
}

Bytes withNext(Bytes bytes)
{
    for (int i = 0; i < 400; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i % 7 == 0 ? 0 : 31 * i + i * i));
    }
    return bytes;
}

class RowPlaces : public testing::TestWithParam<Picture>
{
protected:
    TestPlane m_plane{GetParam()};
};

TEST_P(RowPlaces, AnyBitOfTheTableMayFlipAndEveryRowIsInItsPlace)
{
    for (int entry = 0; entry < kRows; ++entry) {
        for (int bit = 0; bit < 16; ++bit) {
            Bytes bytes = withNext(m_plane.bytes);
            bytes[2 + 2 * static_cast<std::size_t>(entry) + (bit < 8 ? 1 : 0)] ^=
                static_cast<std::uint8_t>(1U << (static_cast<unsigned>(bit) % 8U));
            const Outcome outcome = outcomeOf(bytes, between(m_plane, 0), m_plane);
            EXPECT_EQ(outcome.wrong, 0) << "entry " << entry << " bit " << bit;
            EXPECT_EQ(outcome.rows, kRows) << "entry " << entry << " bit " << bit;
        }
    }
}

TEST_P(RowPlaces, BytesMissingInARowPutNoRowInTheWrongPlace)
{
    int rows = 0;
    int tried = 0;
    for (std::int64_t at = m_plane.offsets.front(); at + 3 < m_plane.length(); at += 3, ++tried) {
        const std::int64_t count = 1 + at / 3 % 3;
        Bytes bytes = m_plane.bytes;
        bytes.erase(bytes.begin() + at, bytes.begin() + at + count);
        const Outcome outcome = outcomeOf(withNext(bytes), between(m_plane, -count), m_plane);
        EXPECT_EQ(outcome.wrong, 0) << count << " bytes at " << at;
        rows += outcome.rows;
    }
    if (GetParam() == Picture::Varied) {
        EXPECT_GE(rows, tried * (kRows - 4));
    }
}

TEST_P(RowPlaces, BytesTooManyInARowPutNoRowInTheWrongPlace)
{
    for (std::int64_t at = m_plane.offsets.front(); at < m_plane.length(); at += 3) {
        const std::int64_t count = 1 + at / 3 % 3;
        Bytes more;
        for (std::int64_t i = 0; i < count; ++i) {
            more.push_back(static_cast<std::uint8_t>(29 * at + 71 * i));
        }
        Bytes bytes = m_plane.bytes;
        bytes.insert(bytes.begin() + at, more.begin(), more.end());
        const Outcome outcome = outcomeOf(withNext(bytes), between(m_plane, count), m_plane);
        EXPECT_EQ(outcome.wrong, 0) << count << " bytes at " << at;
    }
}

TEST_P(RowPlaces, AHoleOfZerosOrErasedFlashGivesNoRows)
{
    for (const int value : {0x00, 0xff}) {
        for (std::int64_t at = 2; at + 64 < m_plane.length(); at += 5) {
            Bytes bytes = withNext(m_plane.bytes);
            const std::int64_t end = std::min(m_plane.length(), at + 64 + at % 200);
            std::fill(bytes.begin() + at, bytes.begin() + end, static_cast<std::uint8_t>(value));
            const Outcome outcome = outcomeOf(bytes, between(m_plane, 0), m_plane);
            EXPECT_EQ(outcome.wrong, 0) << value << " from " << at;
        }
    }
}

TEST_P(RowPlaces, AChangedCountAndAHoleTogetherPutNoRowInTheWrongPlace)
{
    for (int entry = 0; entry < kRows; ++entry) {
        for (int bit = 0; bit < 4; ++bit) {
            Bytes bytes = withNext(m_plane.bytes);
            bytes[3 + 2 * static_cast<std::size_t>(entry)] ^= static_cast<std::uint8_t>(1U << bit);
            const auto hole = m_plane.offsets[static_cast<std::size_t>((7 * entry + bit) % kRows)];
            std::fill_n(bytes.begin() + hole + 3, 40, std::uint8_t{0});
            const Outcome outcome = outcomeOf(bytes, between(m_plane, 0), m_plane);
            EXPECT_EQ(outcome.wrong, 0) << "entry " << entry << " bit " << bit;
        }
    }
}

TEST_P(RowPlaces, WithNothingKnownBehindIt_BytesMissingPutNoRowInTheWrongPlace)
{
    for (std::int64_t at = m_plane.offsets.front(); at + 3 < m_plane.length(); at += 3) {
        const std::int64_t count = 1 + at / 3 % 3;
        Bytes bytes = m_plane.bytes;
        bytes.erase(bytes.begin() + at, bytes.begin() + at + count);
        DamagedPlane damaged{{kRows, m_plane.width}, 2, m_plane.length(), {0}, {m_plane.length()}};
        damaged.tailsAreSure = false;
        const Outcome outcome = outcomeOf(withNext(bytes), damaged, m_plane);
        EXPECT_EQ(outcome.wrong, 0) << count << " bytes at " << at;
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, RowPlaces,
                         testing::Values(Picture::Varied, Picture::Bands, Picture::Chunks,
                                         Picture::Flat));

} // namespace

} // namespace talvek::test
