#include "recovery/DeepRecovery.h"
#include "tests/recovery/Damaged.h"
#include "tests/recovery/Large.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::test {

using recovery::State;

Document largeLayers()
{
    return asLarge(threeLayers().build());
}

TEST(LargeDocument, HasThePixelsOfTheSmallOne)
{
    const Found small(threeLayers().build());
    const Found large(largeLayers());
    EXPECT_EQ(large.document().facts.version, 2);
    expectSamePixels(large, small);
    for (const recovery::Layer& layer : large.document().layers) {
        EXPECT_EQ(layer.state, State::Whole) << layer.name;
    }
    EXPECT_EQ(large.document().composite.state, State::Whole);
}

TEST(LargeDocument, IsKnownForOneWithoutItsHeader)
{
    Document document = largeLayers();
    const Found undamaged(document);
    document.zeroFill(0, 26);
    const Found found(document);
    EXPECT_EQ(found.document().facts.version, 2);
    EXPECT_EQ(found.document().facts.width, 40);
    EXPECT_EQ(found.document().facts.height, 30);
    expectSamePixels(found, undamaged);
}

TEST(LargeDocument, NeedsNoLengthOfASection)
{
    Document document = largeLayers();
    const Found undamaged(document);
    document.lieLength(document.layerAndMask.lengthField, -1);
    document.lieLength(document.layerAndMask.lengthField + 8, -1);
    document.overwrite(document.layerCount, {0, 0});
    expectSamePixels(Found(document), undamaged);
}

TEST(LargeDocument, LosesOnlyTheRowsOfAHole)
{
    Document document = largeLayers();
    const Found undamaged(document);
    const auto& channel = document.records[1].channels[1];
    document.zeroFill(channel.data + channel.length / 2, 40);
    const Found found(document);
    const recovery::Plane& plane = found.plane(1, 1);
    EXPECT_EQ(plane.state, State::Partial);
    EXPECT_GT(plane.rowsRecovered, plane.rows / 2);
    const Bytes rows = found.pixels(1, 1);
    const Bytes right = undamaged.pixels(1, 1);
    for (const recovery::RowRun& run : plane.runs) {
        const auto width = static_cast<std::ptrdiff_t>(plane.rowBytes());
        const auto from = run.firstRow * width;
        EXPECT_TRUE(std::equal(rows.begin() + from, rows.begin() + from + run.rowCount * width,
                               right.begin() + from));
    }
}

TEST(LargeDocument, GivesPlanesWithoutTheirRecords)
{
    Document document = largeLayers();
    const Found undamaged(document);
    document.zeroFill(document.layerCount, document.records.back().end - document.layerCount);
    const Found found(document);
    EXPECT_EQ(found.document().planesWithoutRecord, 13);
}

TEST(LargeDocument, IsWrittenAsOne)
{
    Document document = largeLayers();
    const Found undamaged(document);
    document.zeroFill(0, 26);
    const Source source(document.bytes);
    const std::string folder = source.folder().pathOf("out");
    recovery::DeepRecovery recovery;
    ASSERT_TRUE(recovery.recoverFileAtPath_andSaveAtPath(source.path(), folder));
    const std::string stem = std::filesystem::path(source.path()).stem().string();
    const Bytes written = readFile(folder + "/" + stem + "_layers.psb");
    ASSERT_GT(written.size(), 26U);
    EXPECT_EQ(written[5], 2);
    expectSamePixels(Found(written), undamaged);
}

} // namespace talvek::test
