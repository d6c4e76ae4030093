#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace talvek::test {

namespace {

Bytes with(std::string_view text, std::size_t offset, std::size_t size = 4096)
{
    Bytes bytes(size);
    put(bytes, offset, text);
    return bytes;
}

std::int64_t search(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Scanner scanner(document);
    return scanner.engine.search_8BIMFMsk(start, length);
}

/// As many reference-point blocks, 20 bytes apart, from offset 30 on.
Bytes withReferencePoints(std::size_t count)
{
    Bytes bytes(60 + count * 20);
    for (std::size_t i = 0; i < count; ++i) {
        put(bytes, 30 + i * 20, "8BIMfxrp");
    }
    return bytes;
}

} // namespace

TEST(FilterMaskScan, AFalseSignatureOneByteEarlierDoesNotHideTheTrueOne)
{
    EXPECT_EQ(search(with("88BIMFMsk", 99), 26, 1000), 100);
    EXPECT_EQ(search(with("8BIMFMs8BIMFMsk", 100), 26, 1000), 107);
    EXPECT_EQ(search(with("8BIMFMs8BIMFMsk", 100), 26, 4000), 107);
}

TEST(FilterMaskScan, AllEightBytesCountAndNothingBehindThem)
{
    for (const char* text : {"8BIMfMsk", "8BIMFMSK", "8bimFMsk", "8BIMFMsc", "8BIMLMsk"}) {
        EXPECT_EQ(search(with(text, 100), 26, 1000), 0) << text;
        EXPECT_EQ(search(with(text, 100), 26, 4000), 0) << text;
    }
    EXPECT_EQ(search(with("8BIMFMsk", 100, 108), 26, 82), 100);
    EXPECT_EQ(search(with("8BIMFMs", 100, 107), 26, 82), 0);
}

TEST(FilterMaskScan, TheStopFlagEndsASearchOfOneReadAndNoLargerOne)
{
    Workbench bench(with("8BIMFMsk", 100));
    bench.prepare();
    bench.engine.setStopflag(true);
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 1024), 0);
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 0), 0);
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 1025), 100);
}

TEST(FilterMaskScan, ThePauseFlagHoldsASearchOfOneReadAndNoLargerOne)
{
    Workbench bench(with("8BIMFMsk", 100));
    bench.prepare();
    bench.engine.setPauseRepair(true);
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 1025), 100);
    auto scan =
        std::async(std::launch::async, [&bench] { return bench.engine.search_8BIMFMsk(26, 1024); });
    EXPECT_EQ(scan.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    bench.engine.setPauseRepair(false);
    EXPECT_EQ(scan.get(), 100);
}

TEST(FilterMaskScan, AnAbortedSearchFindsNothing)
{
    Workbench bench(with("8BIMFMsk", 100));
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 1000), 0);
    EXPECT_EQ(bench.engine.search_8BIMFMsk(26, 4000), 0);
}

TEST(FilterMaskScan, ASearchOfOneReadReachesBehindItsLength)
{
    EXPECT_EQ(search(with("8BIMFMsk", 26 + 1024), 26, 1), 26 + 1024);
    EXPECT_EQ(search(with("8BIMFMsk", 26 + 1025), 26, 1024), 0);
    EXPECT_EQ(search(with("8BIMFMsk", 26 + 1025), 26, 1025), 26 + 1025);
}

TEST(FilterMaskScan, TheFirstOfTwoIsTaken)
{
    Bytes document = with("8BIMFMsk", 3000);
    put(document, 2000, "8BIMFMsk");
    EXPECT_EQ(search(document, 26, 4000), 2000);
}

TEST(FilterMaskScan, AgreesWithThePlainScanAtEveryPlaceAndLength)
{
    for (std::size_t offset = 1000; offset < 1100; ++offset) {
        const Bytes document = with("8BIMFMsk", offset, 2200);
        for (const std::int64_t length : {0, 1, 1024, 1025, 2048, -1, -1024, -2047}) {
            EXPECT_EQ(search(document, 26, length),
                      plainScan(document, 26, length, plainBlock("FMsk")));
        }
    }
}

TEST(ReferencePointScan, WithoutABlockTheCountIsZeroAndTheTableStays)
{
    Workbench bench(Bytes(3000));
    bench.prepare();
    bench.engine.offset8BIMfxrp = {7, 8, 9};
    bench.engine.last8BIMfxrpOffset = 10;
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMfxrp(26, 2974), 0);
    EXPECT_EQ(bench.engine.offset8BIMfxrp[0], 7);
    EXPECT_EQ(bench.engine.offset8BIMfxrp[2], 9);
    EXPECT_EQ(bench.engine.last8BIMfxrpOffset, 0);
}

TEST(ReferencePointScan, BlocksAreCollectedInFileOrder)
{
    Workbench bench(withReferencePoints(3));
    bench.prepare();
    EXPECT_EQ(bench.engine.search_8BIMfxrp(26, 80), 30);
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMfxrp(26, 80), 3);
    EXPECT_EQ(bench.engine.offset8BIMfxrp[2], 70);
    EXPECT_EQ(bench.engine.last8BIMfxrpOffset, 70);
}

TEST(ReferencePointScan, NeitherStopNorPauseIsLookedAt)
{
    Workbench bench(withReferencePoints(3));
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMfxrp(26, 80), 3);
}

TEST(ReferencePointScan, TheCountStopsAtFiveHundred)
{
    Workbench bench(withReferencePoints(501));
    bench.prepare();
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMfxrp(26, 10'000), 500);
    EXPECT_EQ(bench.engine.last8BIMfxrpOffset, 30 + 499 * 20);
    EXPECT_EQ(bench.engine.layer_counter, 0) << "what follows the table is untouched";
    EXPECT_EQ(bench.engine.noOfLayer, 0);
}

TEST(ReferencePointScan, AnAbortedCountFindsNothing)
{
    Workbench bench(withReferencePoints(3));
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    EXPECT_EQ(bench.engine.countAndFindOffsetOf8BIMfxrp(26, 80), 0);
    EXPECT_EQ(bench.engine.search_8BIMfxrp(26, 80), 0);
}

TEST(ReferencePointScan, NoStageOfARunCallsIt)
{
    Bytes data(16);
    Workbench bench(PsdBuilder{}.layer("sky").taggedBlock("fxrp", data).build().bytes);
    bench.run();
    EXPECT_EQ(bench.engine.offset8BIMfxrp[0], 0);
    EXPECT_EQ(bench.engine.last8BIMfxrpOffset, 0);
}

} // namespace talvek::test
