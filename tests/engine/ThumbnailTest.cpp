#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace talvek::test {

namespace {

constexpr std::string_view kThumbnail("8BIM\x04\x0C", 6);

/// A file of `size` bytes that holds the signature at `offset`.
Bytes withSignatureAt(std::size_t offset, std::size_t size)
{
    Bytes bytes(size);
    put(bytes, offset, kThumbnail);
    return bytes;
}

std::int64_t search(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Scanner scanner(document);
    return scanner.engine.search_8BIM040C(start, length);
}

/// What `thumbnailImage` makes of a range of `document`.
Bytes copied(const Bytes& document, std::int64_t offset, std::int64_t length)
{
    Workbench bench(document);
    bench.prepare();
    bench.engine.thumbnailImage(offset, length);
    return bench.file("a.psd_thumbnail.jpg");
}

} // namespace

TEST(Thumbnail, TheJpegIsCopiedFromBehindTheThumbnailHeader)
{
    const Bytes jpeg = patternOf(1777);
    Workbench bench(PsdBuilder{}.thumbnail(jpeg).build().bytes);
    bench.run();
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), jpeg);
}

TEST(Thumbnail, ASectionOfFourKibibytesIsOneReadThatHonoursTheStopFlag)
{
    Workbench bench(withSignatureAt(3000, 9000));
    bench.prepare();
    bench.engine.setStopflag(true);
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 4096), 0);
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 1), 0);
}

TEST(Thumbnail, ASectionOneByteLongerIsScannedInTwoChunksAndHonoursNoFlag)
{
    Workbench bench(withSignatureAt(30 + 4096 + 4000, 9000));
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 4097), 8126);
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 4096 * 2 + 1), 8126);
}

TEST(Thumbnail, ASectionOfFourKibibytesHonoursThePauseFlag)
{
    Workbench bench(withSignatureAt(100, 9000));
    bench.prepare();
    bench.engine.setPauseRepair(true);
    const auto scan =
        std::async(std::launch::async, [&bench] { return bench.engine.search_8BIM040C(30, 4096); });
    EXPECT_EQ(scan.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    bench.engine.setPauseRepair(false);
    EXPECT_EQ(scan.wait_for(std::chrono::seconds(3)), std::future_status::ready);
}

TEST(Thumbnail, ASectionOfOneReadIsReadToItsFourThousandHundredAndSecondByte)
{
    EXPECT_EQ(search(withSignatureAt(30 + 4096, 9000), 30, 1), 30 + 4096);
    EXPECT_EQ(search(withSignatureAt(30 + 4097, 9000), 30, 4096), 0);
}

TEST(Thumbnail, ASignatureThatBeginsAtAChunksLastByteIsFound)
{
    EXPECT_EQ(search(withSignatureAt(30 + 4095, 9000), 30, 4097), 30 + 4095);
    EXPECT_EQ(search(withSignatureAt(30 + 4095, 9000), 30, 4096), 30 + 4095);
}

TEST(Thumbnail, EverySignatureAcrossAChunkBorderIsFoundWhereItStands)
{
    for (std::size_t offset = 30 + 4090; offset < 30 + 4100; ++offset) {
        EXPECT_EQ(search(withSignatureAt(offset, 9000), 30, 8192),
                  static_cast<std::int64_t>(offset));
    }
}

TEST(Thumbnail, AMatchJustBehindTheSectionIsAccepted)
{
    EXPECT_EQ(search(withSignatureAt(500, 9000), 30, 100), 500);
    EXPECT_EQ(search(withSignatureAt(30 + 2 * 4096, 9000), 30, 4097), 30 + 2 * 4096);
    EXPECT_EQ(search(withSignatureAt(31 + 2 * 4096, 9000), 30, 4097), 0);
}

TEST(Thumbnail, TheFirstOfTwoIsTaken)
{
    Bytes document = withSignatureAt(700, 2000);
    put(document, 600, kThumbnail);
    EXPECT_EQ(search(document, 30, 1900), 600);
}

TEST(Thumbnail, TheOlderResourceIsNotFound)
{
    const Document document = PsdBuilder{}.oldThumbnail(patternOf(100)).build();
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.engine.layerAndMaskOffset, document.imageResources.start);
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), Bytes{});
}

TEST(Thumbnail, AThumbnailBehindTheOlderOneIsTaken)
{
    const Bytes jpeg = patternOf(60);
    Workbench bench(PsdBuilder{}.oldThumbnail(Bytes(90, 1)).thumbnail(jpeg).build().bytes);
    bench.run();
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), jpeg);
}

TEST(Thumbnail, LengthsBelowZeroGiveOneReadOrNone)
{
    const Bytes document = withSignatureAt(100, 9000);
    EXPECT_EQ(search(document, 30, 0), 100);
    EXPECT_EQ(search(document, 30, -1), 100);
    EXPECT_EQ(search(document, 30, -4095), 100);
    EXPECT_EQ(search(document, 30, -4096), 0);
    EXPECT_EQ(search(document, 30, -4097), 100);
    EXPECT_EQ(search(document, 30, -8191), 100);
    EXPECT_EQ(search(document, 30, -8192), 0);
}

TEST(Thumbnail, NearAShortReadAMatchMayEndInBytesOfTheReadBefore)
{
    // The second read ends behind "8BI"; what follows in the buffer is of the first.
    Bytes document(30 + 4096 + 1003);
    put(document, 30 + 1003, std::string_view("M\x04\x0C", 3));
    put(document, 30 + 4096 + 1000, "8BI");
    EXPECT_EQ(search(document, 30, 4097), 30 + 4096 + 1000);
    EXPECT_EQ(search(document, 30 + 4096, 4096), 0) << "nothing was read before";
}

TEST(Thumbnail, NoMatchBeginsInTheBytesOfTheReadBefore)
{
    Bytes document(30 + 4096 + 1000);
    put(document, 30 + 4096 + 500, "8BIM");
    put(document, 30 + 3000, std::string_view("8BIM\x04\x0D", 6));
    EXPECT_EQ(search(document, 30, 4097), 0);
}

TEST(Thumbnail, AnAbortedRunFindsNothing)
{
    Workbench bench(withSignatureAt(100, 9000));
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 4096), 0);
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 8192), 0);
}

TEST(Thumbnail, TwoKibibytesAreTwoBlocksAndAnEmptyRead)
{
    FaultySystem system;
    system.freeAtFirst = 2049; // more than each block when its turn comes
    Workbench bench(patternOf(4000), system);
    bench.prepare();
    bench.engine.thumbnailImage(100, 2048);
    EXPECT_EQ(system.allFreeQueries(), 2U);
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"), slice(patternOf(4000), 100, 2148));
}

TEST(Thumbnail, TheLastPieceIsWrittenWithoutATestForRoom)
{
    FaultySystem system;
    system.freeAtFirst = 0;
    Workbench bench(patternOf(4000), system);
    bench.prepare();
    bench.engine.thumbnailImage(0, 1023);
    EXPECT_EQ(system.allFreeQueries(), 0U);
    EXPECT_EQ(bench.heard.aborts(), 0U);
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg").size(), 1023U);
}

TEST(Thumbnail, ARefusedBlockIsSkippedAndAllThatIsLeftFollows)
{
    FaultySystem system;
    system.freeAtFirst = 1500;
    Workbench bench(patternOf(6000), system);
    bench.prepare();
    bench.engine.thumbnailImage(100, 5000);
    const Bytes document = patternOf(6000);
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"),
              joined({slice(document, 100, 1124), slice(document, 2148, 5100)}));
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.engine.mutableStringArray.size(), 1U);
}

TEST(Thumbnail, RoomMustBeMoreThanTheBlock)
{
    for (const std::uint64_t free : {1024U, 1025U}) {
        FaultySystem system;
        system.freeAtFirst = free;
        Workbench bench(patternOf(4000), system);
        bench.prepare();
        bench.engine.thumbnailImage(0, 1024);
        EXPECT_EQ(bench.heard.aborts(), free > 1024 ? 0U : 1U);
    }
}

TEST(Thumbnail, ALengthBelowItsHeaderCopiesEverythingToTheEnd)
{
    Document document = PsdBuilder{}.thumbnail(patternOf(100)).build();
    document.lieLength(document.thumbnails[0].lengthField, 27);
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.file("a.psd_thumbnail.jpg"),
              slice(document.bytes, document.thumbnails[0].start + 40));
    EXPECT_EQ(bench.listing()[1].fileName, "a.psd_thumbnail");
}

TEST(Thumbnail, ALengthOfItsHeaderAloneCopiesNothing)
{
    EXPECT_EQ(copied(patternOf(500), 100, 0), Bytes{});
}

TEST(Thumbnail, ANegativeLengthCopiesEverythingToTheEnd)
{
    const Bytes document = patternOf(200'000);
    for (const std::int64_t length : {-1LL, -1023LL, -1024LL, -5000LL, -2147483676LL}) {
        EXPECT_EQ(copied(document, 100, length), slice(document, 100)) << length;
    }
}

TEST(Thumbnail, ALengthBehindTheEndCopiesWhatIsThere)
{
    const Bytes document = patternOf(5000);
    EXPECT_EQ(copied(document, 4000, 2147483619), slice(document, 4000));
    EXPECT_EQ(copied(document, 9000, 3000), Bytes{});
}

TEST(Thumbnail, ARowOfBlocksThatReadNothingIsOneTest)
{
    FaultySystem system;
    system.freeAtFirst = 1 << 20;
    Workbench bench(patternOf(3000), system);
    bench.prepare();
    bench.engine.thumbnailImage(0, 2147483619);
    EXPECT_EQ(system.allFreeQueries(), 4U);
    EXPECT_LT(system.reads, 20U);
}

TEST(Thumbnail, OnAFullVolumeABlockThatReadsNothingAbortsOnce)
{
    FaultySystem system;
    system.freeAtFirst = 0;
    Workbench bench(patternOf(300), system);
    bench.prepare();
    bench.engine.thumbnailImage(1000, 10'000);
    EXPECT_EQ(bench.heard.aborts(), 1U);
}

TEST(Thumbnail, WithoutOneNothingIsWrittenOrLogged)
{
    const LogLines log;
    Workbench bench(PsdBuilder{}.build().bytes);
    bench.prepare();
    bench.engine.thumbnail_Image();
    EXPECT_EQ(bench.names(), "");
    EXPECT_TRUE(log.lines.empty());
    EXPECT_TRUE(bench.engine.mutableStringArray.empty());
}

TEST(Thumbnail, ProgressIsTheResourceAndThenTheLayerAndMaskSection)
{
    const Document document = PsdBuilder{}.fillResourcesTo(60).thumbnail(patternOf(9)).build();
    Workbench bench(document.bytes);
    bench.prepare();
    bench.engine.thumbnail_Image();
    const std::vector<double> expected = {
        percentageOf(document.thumbnails[0].start, document.size()),
        percentageOf(document.layerAndMask.start, document.size())};
    EXPECT_EQ(bench.heard.progress(), expected);
}

TEST(Thumbnail, ASearchFarBehindTheEndCostsNothing)
{
    FaultySystem system;
    Workbench bench(patternOf(3000), system);
    bench.prepare();
    system.reads = 0;
    EXPECT_EQ(bench.engine.search_8BIM040C(30, 2147483647), 0);
    EXPECT_LT(system.reads, 20U);
}

TEST(Thumbnail, ASearchFromBeforeTheStartReachesTheFile)
{
    EXPECT_EQ(search(withSignatureAt(40, 500), -8192, 12'288), 40);
    EXPECT_EQ(search(withSignatureAt(40, 500), -8192, 8'192), 0);
    EXPECT_EQ(search(withSignatureAt(40, 500), -8191, 12'288), 40);
}

} // namespace talvek::test
