#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <future>

namespace talvek::test {

namespace {

constexpr std::array<const char*, 26> kOpaqueModes = {
    "mul ", "lum ", "pLit", "over", "scrn", "hMix", "lddg", "sLit", "vLit",
    "idiv", "colr", "hue ", "lgCl", "pass", "sat ", "diss", "diff", "div ",
    "hLit", "lite", "smud", "fdiv", "fsub", "dkCl", "lbrn", "lLit"};

/// A file of 4096 bytes with "8BIM", `key` and an opacity at 100.
Bytes withRecord(const std::string& key, std::uint8_t opacity, std::size_t offset = 100,
                 std::size_t size = 4096)
{
    Bytes bytes(size);
    put(bytes, offset, "8BIM" + key);
    bytes[offset + 8] = opacity;
    return bytes;
}

/// A record every 50 bytes, from offset 30 on.
Bytes withRecords(std::size_t count)
{
    Bytes bytes(30 + count * 50 + 50);
    for (std::size_t i = 0; i < count; ++i) {
        put(bytes, 30 + i * 50, "8BIMnorm");
    }
    return bytes;
}

std::int64_t search(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Scanner scanner(document);
    return scanner.engine.search_8BIMnorm(start, length);
}

std::int16_t count(const Bytes& document)
{
    Scanner scanner(document);
    return scanner.engine.countAndFindOffsetOf8BIMnorm(
        26, static_cast<std::int64_t>(document.size()) - 26);
}

} // namespace

TEST(LayerRecordScan, NormalLayersAreFoundAtAnyOpacity)
{
    for (const int opacity : {0, 1, 128, 254, 255}) {
        EXPECT_EQ(search(withRecord("norm", static_cast<std::uint8_t>(opacity)), 26, 1000), 100);
    }
}

TEST(LayerRecordScan, EveryOtherModeIsFoundOnlyWhenOpaque)
{
    for (const char* mode : kOpaqueModes) {
        EXPECT_EQ(search(withRecord(mode, 255), 26, 1000), 100) << mode;
        EXPECT_EQ(search(withRecord(mode, 128), 26, 1000), 0) << mode;
        EXPECT_EQ(search(withRecord(mode, 0), 26, 1000), 0) << mode;
    }
}

TEST(LayerRecordScan, DarkenLayersAreNeverFound)
{
    for (int opacity = 0; opacity < 256; ++opacity) {
        EXPECT_EQ(search(withRecord("dark", static_cast<std::uint8_t>(opacity)), 26, 1000), 0);
    }
}

TEST(LayerRecordScan, KeysAreComparedWithCaseAndBlanks)
{
    for (const char* key : {"Norm", "NORM", "mul", "mulX", "MUL ", "plit", "hue", "nor "}) {
        Bytes document = withRecord(key, 255);
        document[108] = 255;
        EXPECT_EQ(search(document, 26, 1000), 0) << key;
    }
}

TEST(LayerRecordScan, ASignatureAcrossTwoChunksIsReportedOnceWhereItStands)
{
    const Bytes document = withRecord("norm", 255, 26 + 1020);
    Workbench bench(document);
    bench.prepare();
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 4070), 1);
    EXPECT_EQ(bench.engine.offset8BIMnorm[0], 26 + 1020);
}

TEST(LayerRecordScan, EveryPlaceAroundAChunkBorderIsFound)
{
    for (const char* mode : {"norm", "lLit"}) {
        for (std::size_t offset = 26 + 1010; offset < 26 + 1040; ++offset) {
            EXPECT_EQ(search(withRecord(mode, 255, offset), 26, 4070),
                      static_cast<std::int64_t>(offset));
        }
    }
}

TEST(LayerRecordScan, LengthsZeroAndOneScanOneReadOf1032Bytes)
{
    for (const std::int64_t length : {0, 1, 1024, -1, -1023, -1025, -2047}) {
        EXPECT_EQ(search(withRecord("norm", 0, 26 + 1024), 26, length), 26 + 1024) << length;
        EXPECT_EQ(search(withRecord("norm", 0, 26 + 1025), 26, length), 0) << length;
    }
}

TEST(LayerRecordScan, LengthsOfWholeNegativeChunksScanNothing)
{
    for (const std::int64_t length : {-1024, -2048, -2049, -3072, -100'000}) {
        EXPECT_EQ(search(withRecord("norm", 0, 30), 26, length), 0) << length;
    }
}

TEST(LayerRecordScan, SeveralChunksReachEightBytesBehindTheirLast)
{
    EXPECT_EQ(search(withRecord("norm", 0, 26 + 2048), 26, 1025), 26 + 2048);
    EXPECT_EQ(search(withRecord("norm", 0, 26 + 2049), 26, 1025), 0);
    EXPECT_EQ(search(withRecord("lLit", 255, 26 + 2048), 26, 1025), 0) << "its opacity is outside";
    EXPECT_EQ(search(withRecord("lLit", 255, 26 + 2047), 26, 1025), 26 + 2047);
}

TEST(LayerRecordScan, APatternNeedsItsOwnBytesWithinTheFile)
{
    const Bytes normal = withRecord("norm", 0, 100, 109);
    EXPECT_EQ(search(slice(normal, 0, 108), 26, 82), 100) << "the opacity is not tested";
    EXPECT_EQ(search(slice(normal, 0, 107), 26, 81), 0);
    const Bytes other = withRecord("pass", 255, 100, 109);
    EXPECT_EQ(search(other, 26, 83), 100);
    EXPECT_EQ(search(slice(other, 0, 108), 26, 82), 0);
}

TEST(LayerRecordScan, TwoSignaturesInARowAreFoundOnceAtTheFourthByte)
{
    Bytes document(64);
    put(document, 26, "8BIM8BIMnorm");
    Workbench bench(document);
    bench.prepare();
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 38), 1);
    EXPECT_EQ(bench.engine.offset8BIMnorm[0], 26 + 4);
}

TEST(LayerRecordScan, RecordsEightBytesApartAreBothFound)
{
    Bytes document(64);
    put(document, 30, "8BIMnorm8BIMnorm");
    EXPECT_EQ(count(document), 2);
}

TEST(LayerRecordScan, WithTheAbortSwitchSetNothingIsFoundOrRead)
{
    FaultySystem system;
    Workbench bench(withRecord("norm", 255), system);
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    system.reads = 0;
    EXPECT_EQ(bench.engine.search_8BIMnorm(26, 4000), 0);
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 4000), 0);
    EXPECT_EQ(system.reads, 0U);
}

TEST(LayerRecordScan, TheSearchHonoursNeitherStopNorPause)
{
    Workbench bench(withRecord("norm", 255));
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    EXPECT_EQ(bench.engine.search_8BIMnorm(26, 1000), 100);
    EXPECT_EQ(bench.engine.search_8BIMnorm(26, 4000), 100);
}

TEST(LayerRecordScan, AStoppedCountTakesNoMatch)
{
    Workbench bench(withRecords(3));
    bench.prepare();
    bench.engine.setStopflag(true);
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 200), 0);
    EXPECT_EQ(bench.engine.last8BIMnormOffset, 0);
}

TEST(LayerRecordScan, APausedCountWaitsAndThenTakesAllMatches)
{
    Workbench bench(withRecords(3));
    bench.prepare();
    bench.engine.setPauseRepair(true);
    auto counting = std::async(std::launch::async, [&bench] {
        return bench.engine.countAndFindOffsetOf8BIMnorm(26, 200);
    });
    EXPECT_EQ(counting.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    bench.engine.setPauseRepair(false);
    EXPECT_EQ(counting.get(), 3);
}

TEST(LayerRecordScan, MatchesStandInFileOrderAndTheLastIsKept)
{
    Workbench bench(withRecords(4));
    bench.prepare();
    bench.engine.offset8BIMnorm[4] = 99;
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 250), 4);
    EXPECT_EQ(bench.engine.offset8BIMnorm[0], 30);
    EXPECT_EQ(bench.engine.offset8BIMnorm[3], 180);
    EXPECT_EQ(bench.engine.offset8BIMnorm[4], 99) << "higher slots are left alone";
    EXPECT_EQ(bench.engine.last8BIMnormOffset, 180);
}

TEST(LayerRecordScan, EachSearchHasTheWholeLengthAgain)
{
    // Within 1032 bytes of the match before, but far behind the stated length.
    Bytes document(4096);
    put(document, 900, "8BIMnorm");
    put(document, 1800, "8BIMnorm");
    put(document, 2700, "8BIMnorm");
    Workbench bench(document);
    bench.prepare();
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 1000), 3);
}

TEST(LayerRecordScan, NothingFoundLeavesTheTableAndClearsTheLastOffset)
{
    Workbench bench(Bytes(500));
    bench.prepare();
    bench.engine.offset8BIMnorm[0] = 5;
    bench.engine.last8BIMnormOffset = 6;
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMnorm(26, 474), 0);
    EXPECT_EQ(bench.engine.offset8BIMnorm[0], 5);
    EXPECT_EQ(bench.engine.last8BIMnormOffset, 0);
}

TEST(LayerRecordScan, TheCountStopsAtFiveHundred)
{
    EXPECT_EQ(count(withRecords(499)), 499);
    EXPECT_EQ(count(withRecords(500)), 500);
    EXPECT_EQ(count(withRecords(501)), 500);
    EXPECT_EQ(count(withRecords(2000)), 500);
}

TEST(LayerRecordScan, TheFiveHundredAndFirstMatchChangesNothing)
{
    Workbench bench(withRecords(501));
    bench.prepare();
    bench.engine.countAndFindOffsetOf8BIMnorm(26, 30'000);
    EXPECT_EQ(bench.engine.last8BIMnormOffset, 30 + 499 * 50);
    EXPECT_EQ(bench.engine.offset8BIMnorm[499], 30 + 499 * 50);
    EXPECT_EQ(bench.engine.offset8BIMfxrp[0], 0);
}

TEST(LayerRecordScan, AgreesWithThePlainScanOnDocumentsFullOfSignatures)
{
    Random random(22);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 2000; ++round) {
        Bytes document(100 + random.below(5000));
        for (int i = 0; i < 12; ++i) {
            const std::string key = random.chance(50)   ? "norm"
                                    : random.chance(50) ? "mul "
                                                        : "luni";
            const std::size_t offset = random.below(document.size() - 9);
            put(document, offset, "8BIM" + key);
            document[offset + 8] = random.chance(50) ? 255 : random.byte();
        }
        const std::int64_t start = random.between(-1500, 3000);
        const std::int64_t length = random.between(-3000, 6000);
        EXPECT_EQ(search(document, start, length),
                  plainScan(document, start, length, isPlainRecord))
            << start << " " << length;
    }
}

TEST(LayerRecordScan, ASearchFarBehindTheEndCostsNothing)
{
    FaultySystem system;
    Workbench bench(Bytes(100'000), system);
    bench.prepare();
    system.reads = 0;
    EXPECT_EQ(bench.engine.search_8BIMnorm(26, std::int64_t{1} << 50), 0);
    EXPECT_LT(system.reads, 10U);
}

} // namespace talvek::test
