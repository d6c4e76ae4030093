#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <set>

namespace talvek::test {

namespace {

/// A tagged block at `offset` that states `length`.
void putBlock(Bytes& bytes, std::size_t offset, std::int64_t length)
{
    put(bytes, offset, "8BIMluni");
    Bytes field;
    appendI32(field, length);
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 8);
}

/// Bytes that are no code of a channel, wherever two of them are looked at.
Bytes noCodes(std::size_t count)
{
    return Bytes(count, 0x77);
}

void putCode(Bytes& bytes, std::size_t offset, std::uint8_t code)
{
    bytes[offset] = 0;
    bytes[offset + 1] = code;
}

std::int64_t lastBlock(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Scanner scanner(document);
    scanner.engine.last8BIMOffset = 4711;
    scanner.engine.findLast8BIM(start, length);
    return scanner.engine.last8BIMOffset;
}

/// The walk, taken as it stands, with every block remembered.
std::int64_t plainLastBlock(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Bytes field(4);
    std::set<std::int64_t> seen;
    std::int64_t block = plainScan(document, start, length, plainBlock(""));
    while (block != 0 && seen.insert(block).second) {
        const Bytes read = plainRead(document, block + 8, 4);
        std::copy(read.begin(), read.end(), field.begin());
        std::int64_t stated = 0;
        for (const std::uint8_t byte : field) {
            stated = stated * 256 + byte;
        }
        stated -= field[0] >= 0x80 ? std::int64_t{1} << 32U : 0;
        const std::int64_t end = block + 12 + stated;
        const Bytes code = plainRead(document, end, 2);
        if (read.size() == 4 && code.size() == 2 && code[0] == 0 && code[1] <= 1) {
            return block;
        }
        block = plainScan(document, end, length - end, plainBlock(""));
    }
    return 0;
}

} // namespace

TEST(ResourceScan, AnySignatureIsFoundWithItsFourBytesAlone)
{
    Bytes document(200);
    put(document, 196, "8BIM");
    Workbench bench(document);
    bench.prepare();
    EXPECT_EQ(bench.engine.search_8BIMOffset(26, 174), 196);
    Workbench cut(slice(document, 0, 199));
    cut.prepare();
    EXPECT_EQ(cut.engine.search_8BIMOffset(26, 174), 0);
}

TEST(ResourceScan, TheSearchHonoursTheAbortSwitchAndNoFlag)
{
    Bytes document(200);
    put(document, 100, "8BIM");
    Workbench bench(document);
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    EXPECT_EQ(bench.engine.search_8BIMOffset(26, 174), 100);
    bench.engine.recoverFileLocationField.clear();
    EXPECT_EQ(bench.engine.search_8BIMOffset(26, 174), 0);
}

TEST(ResourceScan, AFirstBlockThatEndsBeforeACodeIsTheAnswer)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putCode(document, 132, 1);
    putBlock(document, 134, 10);
    putCode(document, 156, 0);
    EXPECT_EQ(lastBlock(document, 50, 300), 100);
}

TEST(ResourceScan, OnlyRawAndPackBitsAreCodes)
{
    for (int code = 0; code < 5; ++code) {
        Bytes document = noCodes(400);
        putBlock(document, 100, 20);
        putCode(document, 132, static_cast<std::uint8_t>(code));
        EXPECT_EQ(lastBlock(document, 50, 300), code <= 1 ? 100 : 0) << code;
    }
}

TEST(ResourceScan, AWalkOverThreeBlocksEndsAtTheOneBeforeACode)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putBlock(document, 132, 20);
    putBlock(document, 164, 20);
    putCode(document, 196, 0);
    EXPECT_EQ(lastBlock(document, 50, 300), 164);
}

TEST(ResourceScan, TheLengthLessAnOffsetBoundsTheWalk)
{
    Bytes document = noCodes(6000);
    putBlock(document, 3000, 20);
    putBlock(document, 3032, 20);
    putCode(document, 3064, 0);
    const std::int64_t end = 3032;
    EXPECT_EQ(lastBlock(document, 2900, end), 3032) << "one read more";
    EXPECT_EQ(lastBlock(document, 2900, end - 1023), 3032);
    EXPECT_EQ(lastBlock(document, 2900, end - 1024), 0) << "exactly -1024 is no read";
    EXPECT_EQ(lastBlock(document, 2900, end - 1025), 3032);
    EXPECT_EQ(lastBlock(document, 2900, end - 2047), 3032);
    EXPECT_EQ(lastBlock(document, 2900, end - 2048), 0);
    EXPECT_EQ(lastBlock(document, 2900, end - 2500), 0);
}

TEST(ResourceScan, WithoutASignatureInRangeThereIsNone)
{
    Bytes document = noCodes(4000);
    putBlock(document, 2000, 20);
    putCode(document, 2032, 0);
    EXPECT_EQ(lastBlock(document, 26, 900), 0);
    EXPECT_EQ(lastBlock(Bytes{}, 26, 900), 0);
}

TEST(ResourceScan, AProbeBehindTheEndFails)
{
    Bytes document(200);
    putBlock(document, 100, 5000);
    EXPECT_EQ(lastBlock(document, 50, 100), 0);
}

TEST(ResourceScan, AProbeOfWhichOneByteIsThereFails)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putCode(document, 132, 0);
    EXPECT_EQ(lastBlock(slice(document, 0, 134), 50, 60), 100);
    EXPECT_EQ(lastBlock(slice(document, 0, 133), 50, 60), 0);
}

TEST(ResourceScan, AProbeWhoseLengthIsReadShortFails)
{
    // Two bytes of the length are there; with zeros behind them the end would be before a code.
    Bytes document(110);
    put(document, 100, "8BIMluni");
    document[108] = 0xFF;
    document[109] = 0xFF;
    EXPECT_EQ(lastBlock(document, 50, 60), 0);
}

TEST(ResourceScan, ALengthBelowZeroCanLeadForwardToACodeBefore)
{
    Bytes document = noCodes(400);
    putCode(document, 60, 1);
    putBlock(document, 100, -52);
    EXPECT_EQ(lastBlock(document, 80, 300), 100);
}

TEST(ResourceScan, AWalkThatComesBackEndsWithNothing)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putBlock(document, 132, -44); // its end is the first block
    EXPECT_EQ(lastBlock(document, 50, 300), 0);
}

TEST(ResourceScan, ABlockThatEndsAtItselfEndsTheWalk)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, -12);
    EXPECT_EQ(lastBlock(document, 50, 300), 0);
}

TEST(ResourceScan, AStopEndsTheWalkAfterTheFirstProbe)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putBlock(document, 132, 20);
    putCode(document, 164, 0);
    Workbench bench(document);
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.findLast8BIM(50, 300);
    EXPECT_EQ(bench.engine.last8BIMOffset, 0);
    bench.engine.findLast8BIM(120, 300);
    EXPECT_EQ(bench.engine.last8BIMOffset, 132) << "the first block is probed before any flag";
}

TEST(ResourceScan, APauseHoldsTheWalkBetweenTwoBlocks)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putBlock(document, 132, 20);
    putCode(document, 164, 0);
    Workbench bench(document);
    bench.prepare();
    bench.engine.setPauseRepair(true);
    const auto walk =
        std::async(std::launch::async, [&bench] { bench.engine.findLast8BIM(50, 300); });
    EXPECT_EQ(walk.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    bench.engine.setPauseRepair(false);
    walk.wait();
    EXPECT_EQ(bench.engine.last8BIMOffset, 132);
}

TEST(ResourceScan, AnAbortedWalkFindsNothing)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    putCode(document, 132, 0);
    Workbench bench(document);
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    bench.engine.last8BIMOffset = 5;
    bench.engine.findLast8BIM(50, 300);
    EXPECT_EQ(bench.engine.last8BIMOffset, 0);
}

TEST(ResourceScan, TheWalkLeavesTheSharedLengthFieldAlone)
{
    Bytes document = noCodes(400);
    putBlock(document, 100, 20);
    Workbench bench(document);
    bench.prepare();
    bench.engine.temporary = {1, 2, 3, 4};
    bench.engine.findLast8BIM(50, 300);
    EXPECT_EQ(bench.engine.temporary[3], 4);
}

TEST(ResourceScan, AgreesWithThePlainWalkOnRandomBlocks)
{
    Random random(23);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 3000; ++round) {
        Bytes document = random.chance(50) ? noCodes(60 + random.below(4000))
                                           : Bytes(60 + random.below(4000), 2);
        const auto size = static_cast<std::int64_t>(document.size());
        for (std::uint64_t i = random.below(25); i > 0; --i) {
            putBlock(document, random.below(document.size() - 12),
                     random.chance(70) ? random.between(-200, 400) : random.between(-size, size));
        }
        if (random.chance(50)) {
            putCode(document, random.below(document.size() - 2), random.chance(50) ? 0 : 1);
        }
        document.resize(document.size() - random.below(12));
        const std::int64_t start = random.between(0, size);
        const std::int64_t length = random.between(-3000, size + 2000);
        EXPECT_EQ(lastBlock(document, start, length), plainLastBlock(document, start, length))
            << "round " << round;
    }
}

} // namespace talvek::test
