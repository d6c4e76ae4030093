#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"

#include <gtest/gtest.h>

namespace talvek::test {

namespace {

/// What `layerImages` appends.
Bytes appended(const Bytes& document, std::int64_t offset, std::int64_t length)
{
    Workbench bench(document);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.layerImages(output, offset, length);
    output.close();
    return bench.file("out.psd");
}

} // namespace

TEST(LayerImages, EveryLengthAroundABlockIsCopiedWhole)
{
    const Bytes document = patternOf(6000);
    for (const std::int64_t length : {0, 1, 1023, 1024, 1025, 2047, 2048, 2049, 5000}) {
        EXPECT_EQ(appended(document, 77, length), slice(document, 77, 77 + length)) << length;
    }
}

TEST(LayerImages, ALengthBelowZeroCopiesToTheEnd)
{
    const Bytes document = patternOf(150'000);
    EXPECT_EQ(appended(document, 77, -1), slice(document, 77));
    EXPECT_EQ(appended(document, 77, -5000), slice(document, 77));
}

TEST(LayerImages, ReadsBehindTheEndAndBeforeTheStartBringNothing)
{
    const Bytes document = patternOf(3000);
    EXPECT_EQ(appended(document, 2000, 5000), slice(document, 2000));
    EXPECT_EQ(appended(document, 9000, 5000), Bytes{});
    EXPECT_EQ(appended(document, 9000, -1), Bytes{});
    EXPECT_EQ(appended(document, -500, 400), Bytes{});
    EXPECT_EQ(appended(document, -1024, 2048), slice(document, 0, 1024));
    EXPECT_EQ(appended(document, -1, -1), Bytes{});
}

TEST(LayerImages, ARefusedBlockIsSkippedAndTheRestIsTriedInOnePiece)
{
    FaultySystem system;
    system.freeAtFirst = 1024 + 600;
    const Bytes document = patternOf(6000);
    Workbench bench(document, system);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.layerImages(output, 0, 1024 + 1024 + 500);
    output.close();
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.file("out.psd"),
              joined({slice(document, 0, 1024), slice(document, 2048, 2548)}));
}

TEST(LayerImages, ThePieceIsWrittenWholeOrNotAtAll)
{
    FaultySystem system;
    system.freeAtFirst = 1024 + 600;
    const Bytes document = patternOf(6000);
    Workbench bench(document, system);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.layerImages(output, 0, 5000);
    output.close();
    EXPECT_EQ(bench.heard.aborts(), 2U) << "the block, and then what is left";
    EXPECT_EQ(bench.file("out.psd").size(), 1024U);
}

TEST(LayerImages, AnEmptyPieceWantsRoomTooAndAFullVolumeHasNone)
{
    FaultySystem system;
    system.freeAtFirst = 0;
    Workbench bench(patternOf(10), system);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.layerImages(output, 0, 0);
    EXPECT_EQ(bench.heard.aborts(), 1U);
}

TEST(LayerImages, AfterAnAbortTheWholeLengthIsTriedInOnePiece)
{
    FaultySystem system;
    system.freeAtFirst = 1 << 20;
    const Bytes document = patternOf(6000);
    Workbench bench(document, system);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.recoverFileLocationField.clear();
    bench.engine.layerImages(output, 0, 5000);
    output.close();
    EXPECT_EQ(system.allFreeQueries(), 1U);
    EXPECT_EQ(bench.file("out.psd"), slice(document, 0, 5000));
}

} // namespace talvek::test
