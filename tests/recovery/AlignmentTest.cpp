#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::State;

TEST(Alignment, AnUndamagedDocumentIsWhole)
{
    const Found found(threeLayers().build());
    ASSERT_EQ(found.document().layers.size(), 3U);
    for (const recovery::Layer& layer : found.document().layers) {
        EXPECT_EQ(layer.state, State::Whole) << layer.name;
    }
    EXPECT_EQ(found.document().composite.state, State::Whole);
}

TEST(Alignment, NoLengthOfASectionIsNeeded)
{
    Document document = threeLayers().build();
    const Found undamaged(document);
    document.lieLength(document.imageResources.lengthField, -1);
    document.lieLength(document.layerAndMask.lengthField, 0);
    document.lieLength(document.layerAndMask.lengthField + 4, 0);
    document.overwrite(document.layerCount, {0, 0});
    const Found damaged(document);
    expectSamePixels(damaged, undamaged);
    EXPECT_EQ(damaged.layer(2).state, State::Whole);
}

TEST(Alignment, BytesMissingInOnePlaneMoveNoOther)
{
    Document document = threeLayers().build();
    const Found undamaged(document);
    document.deleteBytes(document.records[1].channels[1].data + 70, 3);
    const Found damaged(document);
    EXPECT_EQ(damaged.layer(0).state, State::Whole);
    EXPECT_EQ(damaged.layer(1).state, State::Partial);
    EXPECT_EQ(damaged.layer(2).state, State::Whole);
    EXPECT_EQ(damaged.pixels(2, 3), undamaged.pixels(2, 3));
    // The row that lacks them, and at most its neighbours, which may have given it theirs.
    EXPECT_LT(damaged.plane(1, 1).rowsRecovered, damaged.plane(1, 1).rows);
    EXPECT_GE(damaged.plane(1, 1).rowsRecovered, damaged.plane(1, 1).rows - 3);
}

TEST(Alignment, BytesAddedBetweenLayersMoveNoPixels)
{
    Document document = threeLayers().build();
    const Found undamaged(document);
    document.insertBytes(document.records[2].channels[0].data, Bytes(777, 0xA5));
    const Found damaged(document);
    expectSamePixels(damaged, undamaged);
    EXPECT_EQ(damaged.layer(2).state, State::Whole);
}

TEST(Alignment, APlaneThatNothingFollowsAsItShouldIsNotProved)
{
    Document document = threeLayers().build();
    const auto& channels = document.records[2].channels;
    // From its end on everything is from elsewhere, as after a part of the file was moved: its last
    // byte may be, too.
    const std::int64_t from = channels.back().data + channels.back().length;
    document.overwrite(from, Bytes(static_cast<std::size_t>(document.size() - from), 0xA5));
    const Found found(document);
    EXPECT_EQ(found.plane(2, channels.size() - 1).state, State::Unproved);
    EXPECT_EQ(found.plane(2, channels.size() - 2).state, State::Whole);
    EXPECT_EQ(found.layer(1).state, State::Whole);
}

TEST(Alignment, ALostRecordCostsItsOwnLayerOnly)
{
    Document document = threeLayers().build();
    const Found undamaged(document);
    const auto& lost = document.records[1];
    document.zeroFill(lost.start, lost.end - lost.start);
    const Found damaged(document);
    ASSERT_GE(damaged.document().layers.size(), 2U);
    EXPECT_EQ(damaged.pixels(0, 1), undamaged.pixels(0, 1));
    EXPECT_EQ(damaged.layer(1).name, "sand");
    EXPECT_EQ(damaged.pixels(1, 1), undamaged.pixels(2, 1));
    EXPECT_EQ(damaged.document().planesWithoutRecord, 4);
}

TEST(Alignment, RawPlanesAreNeverCalledWhole)
{
    PsdBuilder builder;
    builder.size(20, 20).layer("raw").packing(Packing::raw);
    const Found found(builder.build());
    EXPECT_EQ(found.layer(0).state, State::Unproved);
    EXPECT_EQ(found.plane(0, 0).rowsRecovered, 20);
}

TEST(Alignment, ZipPlanesProveThemselvesAtEveryDepth)
{
    for (const Packing packing : {Packing::zip, Packing::zipPrediction}) {
        for (const int depth : {8, 16, 32}) {
            PsdBuilder builder;
            builder.size(20, 20).depth(depth).layer("zip").packing(packing);
            if (depth > 8) {
                builder.layersInBlock();
            }
            const Found found(builder.build());
            EXPECT_EQ(found.layer(0).state, State::Whole) << depth;
        }
    }
}

TEST(Alignment, ADamagedByteInAZipPlaneIsNoticed)
{
    PsdBuilder builder;
    builder.size(20, 20).layer("zip").packing(Packing::zip);
    Document document = builder.build();
    const auto& channel = document.records[0].channels[0];
    document.flipByte(channel.data + channel.length - 2); // the checksum
    EXPECT_EQ(Found(document).layer(0).state, State::Partial);
}

TEST(Alignment, ARecordWithoutPlanesIsKeptAndLost)
{
    Document document = threeLayers().build();
    document.cutAt(document.channelImageData);
    const Found found(document);
    EXPECT_EQ(found.names(), "sky,sea,sand");
    EXPECT_EQ(found.layer(0).state, State::Lost);
    EXPECT_EQ(found.document().recordsWithoutPlanes, 3);
}

} // namespace talvek::test
