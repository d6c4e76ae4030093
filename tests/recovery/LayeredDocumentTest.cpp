#include "recovery/DeepRecovery.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

/// The layered document that is written for these bytes.
Bytes layeredDocumentOf(const Bytes& bytes)
{
    const Source source(bytes);
    const std::string folder = source.folder().pathOf("out");
    DeepRecovery recovery;
    EXPECT_TRUE(recovery.recoverFileAtPath_andSaveAtPath(source.path(), folder));
    return readFile(folder + "/damaged_layers.psd");
}

TEST(LayeredDocument, OfAnUndamagedDocumentHoldsTheSamePixelsAndPlaces)
{
    const Document document = threeLayers().resource(0x03ED, Bytes(16, 1)).build();
    const Found original(document);
    const Found written(layeredDocumentOf(document.bytes));
    expectSamePixels(written, original);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(written.layer(i).bounds, original.layer(i).bounds);
        EXPECT_EQ(written.layer(i).state, State::Whole);
    }
    EXPECT_EQ(written.document().composite.state, State::Whole);
    EXPECT_EQ(written.document().resolution.length, 16);
}

TEST(LayeredDocument, IsWholeEvenWhereTheSourceIsPartial)
{
    Document document = threeLayers().build();
    const auto& channel = document.records[1].channels[2];
    document.zeroFill(channel.data + channel.length / 2, channel.length / 4);
    const Found damaged(document);
    const Found written(layeredDocumentOf(document.bytes));
    EXPECT_EQ(damaged.layer(1).state, State::Partial);
    EXPECT_EQ(written.layer(1).state, State::Whole);
    EXPECT_EQ(written.pixels(1, 2), damaged.pixels(1, 2));
}

TEST(LayeredDocument, LayersOf16And32BitsStandInTheirOwnBlock)
{
    for (const int depth : {16, 32}) {
        PsdBuilder builder;
        builder.size(20, 20).depth(depth).layersInBlock().layer("deep");
        const Document document = builder.build();
        const Bytes written = layeredDocumentOf(document.bytes);
        const auto key = bytesOf(depth == 16 ? "8BIMLr16" : "8BIMLr32");
        EXPECT_NE(std::search(written.begin(), written.end(), key.begin(), key.end()),
                  written.end());
        expectSamePixels(Found(written), Found(document));
    }
}

PsdBuilder deepDocument()
{
    PsdBuilder builder;
    builder.size(20, 20).depth(16).layersInBlock().layer("deep");
    return builder;
}

TEST(LayeredDocument, TheLastResourceInFrontOfLayersInABlockIsCarriedOver)
{
    const Bytes metadata(28, 7);
    const Document document = deepDocument().resource(0x0422, metadata).build();
    const Found written(layeredDocumentOf(document.bytes));
    ASSERT_EQ(written.document().resources.size(), 1U);
    EXPECT_EQ(written.document().resources[0].id, 0x0422);
    EXPECT_EQ(written.document().resources[0].data.length, 28);
}

TEST(LayeredDocument, TheMarkOfTheMergedTransparencyStandsInFrontOfTheLayers)
{
    const Document document = deepDocument().globalBlock("Mt16", {}).build();
    const Bytes written = layeredDocumentOf(document.bytes);
    const auto placeOf = [&written](const char* key) {
        const Bytes bytes = bytesOf(key);
        return std::search(written.begin(), written.end(), bytes.begin(), bytes.end());
    };
    EXPECT_LT(placeOf("8BIMMt16"), placeOf("8BIMLr16"));
    expectSamePixels(Found(written), Found(document));
}

TEST(LayeredDocument, PlanesWithoutRecordsStandInAGroupOfTheirOwn)
{
    Document document = threeLayers().build();
    document.zeroFill(document.layerCount, document.records.back().end - document.layerCount);
    const Found written(layeredDocumentOf(document.bytes));
    EXPECT_EQ(written.names(),
              "</Layer group>,Recovered 1,Recovered 2,Recovered 3,Found without a record");
    EXPECT_EQ(written.layer(1).parent, 4);
    EXPECT_EQ(written.layer(3).channels.size(), 5U);
}

TEST(LayeredDocument, AFlattenedPictureIsWhiteWhereNothingIs)
{
    PsdBuilder builder;
    builder.size(20, 20).layer("corner").bounds(0, 0, 10, 10);
    Document document = builder.build();
    const Found original(document);
    document.cutAt(document.composite);
    const Found written(layeredDocumentOf(document.bytes));
    const Bytes red = written.pixels(written.document().composite.channels.at(0).plane);
    const Bytes layer = original.pixels(0, 0);
    EXPECT_EQ(red.at(0), layer.at(0));
    EXPECT_EQ(red.at(9 * 20 + 9), layer.at(99));
    EXPECT_EQ(red.at(15 * 20 + 15), 255);
}

TEST(LayeredDocument, AFlattenedPicturesLayersBlendWithWhatIsBelowThem)
{
    PsdBuilder builder;
    builder.size(20, 20).layer("paper").bounds(0, 0, 20, 10).layer("shade").blend("mul ");
    Document document = builder.build();
    const Found original(document);
    document.cutAt(document.composite);
    const Found written(layeredDocumentOf(document.bytes));
    const Bytes red = written.pixels(written.document().composite.channels.at(0).plane);
    const double paper = original.pixels(0, 0).at(5);
    const double shade = original.pixels(1, 0).at(5);
    EXPECT_NEAR(red.at(5), paper * shade / 255, 1);
    // Where there is no paper, nothing is below.
    EXPECT_EQ(red.at(15), original.pixels(1, 0).at(15));
}

TEST(LayeredDocument, AMaskThatCanHaveNoSuchRectangleIsLostAndWrittenWithoutOne)
{
    Document document = threeLayers().build();
    const auto& record = document.records[2];
    document.flipByte(record.extraLength + 4 + 4 + 12); // the mask's right side
    const Found found(document);
    EXPECT_EQ(found.layer(2).state, recovery::State::Partial);
    EXPECT_EQ(found.layer(1).state, recovery::State::Unproved);
    ASSERT_EQ(found.layer(2).channels.back().id, -2);
    EXPECT_EQ(found.layer(2).channels.back().plane.state, recovery::State::Lost);
    EXPECT_FALSE(found.layer(2).note.empty());
    const Found written(layeredDocumentOf(document.bytes));
    ASSERT_TRUE(written.layer(2).mask);
    EXPECT_TRUE(written.layer(2).mask->bounds.isEmpty());
    EXPECT_EQ(written.pixels(2, 1), found.pixels(2, 1));
}

TEST(LayeredDocument, AnEmptyMasksRectangleIsCarriedOverAsItIs)
{
    Document document = threeLayers().build();
    const std::int64_t mask = document.records[2].extraLength + 8;
    const Bytes odd = {0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
    document.overwrite(mask, odd);
    document.lieLength(document.records[2].channels.back().entry + 2, 2); // the code alone
    const Bytes written = layeredDocumentOf(document.bytes);
    const Found found(written);
    ASSERT_TRUE(found.layer(2).mask);
    EXPECT_EQ(found.layer(2).mask->bounds.bottom, -1);
}

} // namespace talvek::test
