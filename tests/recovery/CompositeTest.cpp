#include "recovery/BlindComposite.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

TEST(Composite, PackBitsRowsReachTheEndOfTheFile)
{
    const Document document = PsdBuilder{}.size(40, 30).build();
    Source source(document.bytes);
    const auto found = compositeAt(source.bytes(), document.composite, 2);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->shape, (PlaneShape{90, 40}));
}

TEST(Composite, IsFoundBlindBehindBytesOfAnyKind)
{
    const Document document = threeLayers().build();
    Source source(document.bytes);
    const RunControl control;
    const auto found = findBlindComposite(source.bytes(), document.channelImageData, 2, control);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->offset, document.composite);
}

TEST(Composite, ARawOneIsThereButNotProved)
{
    const Found found(PsdBuilder{}.size(40, 30).composite(Packing::raw).build());
    EXPECT_EQ(found.document().composite.state, State::Unproved);
    EXPECT_EQ(found.document().composite.rowsRecovered, 90);
}

TEST(Composite, ARawOneStandsAtTheEndOfTheFileWhateverTheSectionsLengthIs)
{
    for (const std::int64_t length : {0, 4, 0x7FFFFFFF}) {
        Document document = PsdBuilder{}
                                .size(40, 30)
                                .composite(Packing::raw)
                                .globalBlock("LMsk", Bytes(14))
                                .build();
        const std::int64_t picture = document.composite;
        document.lieLength(document.layerAndMask.lengthField, length);
        const Found found(document);
        EXPECT_EQ(found.document().composite.bytes.offset, picture) << length;
        EXPECT_EQ(found.document().composite.state, State::Unproved) << length;
        EXPECT_EQ(found.document().blocks.size(), 1) << length;
    }
}

TEST(Composite, ARawOneStandsThereWhenAByteOfTheResourcesIsMissing)
{
    Document document = PsdBuilder{}
                            .size(40, 30)
                            .composite(Packing::raw)
                            .resource(0x03F3, Bytes(40))
                            .resource(0x0425, Bytes(16))
                            .build();
    const std::int64_t picture = document.composite - 1;
    document.deleteBytes(document.imageResources.data + 20, 1);
    const Found found(document);
    EXPECT_EQ(found.document().composite.bytes.offset, picture);
    EXPECT_EQ(found.document().composite.rowsRecovered, 90);
}

TEST(Composite, ItsTransparencyIsKnownWithoutTheCount)
{
    PsdBuilder builder = threeLayers();
    builder.channelCount(4).mergedAlpha().resource(0x041D, Bytes(4));
    const Document document = builder.build();
    Document counted = document;
    Document wiped = document;
    Document headless = document;
    counted.overwrite(document.layerCount, {0, 0});
    wiped.zeroFill(document.layerCount, document.records.back().end - document.layerCount);
    headless.overwrite(document.layerCount, {0, 0}).zeroFill(0, 26);
    for (const Document& damaged : {document, counted, wiped, headless}) {
        EXPECT_TRUE(Found(damaged).document().mergedAlpha);
    }
}

TEST(Composite, AnotherAlphaChannelIsNoTransparency)
{
    PsdBuilder builder = threeLayers();
    builder.channelCount(4).resource(0x041D, Bytes{0, 0, 0, 7});
    Document document = builder.build();
    document.overwrite(document.layerCount, {0, 0});
    EXPECT_FALSE(Found(document).document().mergedAlpha);
}

TEST(Resources, TheLastOneIsKeptInFrontOfABlockOfLayers)
{
    PsdBuilder builder;
    builder.size(40, 30).depth(16).layersInBlock().resource(0x0FA1, Bytes(28));
    builder.layer("deep");
    const Found found(builder.build());
    EXPECT_TRUE(found.document().resourcesAreWhole);
    ASSERT_NE(found.document().resource(0x0FA1), nullptr);
    EXPECT_EQ(found.document().resource(0x0FA1)->data.length, 28);
}

TEST(Resources, ADamagedOneIsMissed)
{
    PsdBuilder builder = threeLayers();
    builder.resource(0x03F3, Bytes(40)).resource(0x0425, Bytes(16));
    Document document = builder.build();
    EXPECT_TRUE(Found(document).document().missing.empty());
    document.deleteBytes(document.imageResources.data + 20, 1);
    const Found found(document);
    EXPECT_FALSE(found.document().resourcesAreWhole);
    EXPECT_EQ(found.document().missing.size(), 1U);
    EXPECT_NE(found.document().resource(0x0425), nullptr);
}

TEST(Composite, ACutOneKeepsTheRowsBeforeTheCut)
{
    Document document = PsdBuilder{}.size(40, 30).build();
    document.cutAt(document.size() - 60);
    const Found found(document);
    EXPECT_EQ(found.document().composite.state, State::Partial);
    EXPECT_GE(found.document().composite.rowsRecovered, 87);
    EXPECT_LT(found.document().composite.rowsRecovered, 90);
}

TEST(Composite, LayersRowsAreNotTakenForThoseOfALostOne)
{
    for (const Packing packing : {Packing::packBits, Packing::raw}) {
        PsdBuilder builder;
        builder.size(40, 30);
        for (const char* name : {"sky", "sea", "sand"}) {
            builder.layer(name).packing(packing);
        }
        const Document document = builder.build();
        for (const auto& record : document.records) {
            Document cut = document;
            const auto& channel = record.channels[1];
            const Found found(cut.cutAt(channel.data + channel.length / 2));
            EXPECT_EQ(found.document().composite.state, State::Lost) << record.name;
            EXPECT_EQ(found.document().composite.bytes.length, 0) << record.name;
        }
    }
}

TEST(Composite, PlanesInBlocksAreNotTakenForALostOne)
{
    const Document other = threeLayers().build();
    const Bytes planes(other.bytes.begin() + other.channelImageData,
                       other.bytes.begin() + other.composite);
    const Document document = threeLayers().globalBlock("FXid", planes).build();
    const auto& block = document.globalBlocks.at(0);
    for (const std::int64_t end : {document.composite, block.data + block.length / 2}) {
        Document cut = document;
        const Found found(cut.cutAt(end));
        EXPECT_EQ(found.names(), "sky,sea,sand");
        EXPECT_EQ(found.document().composite.state, State::Lost);
        EXPECT_TRUE(found.document().composite.flattened);
    }
}

TEST(Composite, WithoutASizeNoneIsFound)
{
    Document document;
    document.bytes = Bytes(200, 0x21);
    append(document.bytes, Bytes{0, 1, 0, 2, 0, 7}); // a picture of one row and one column
    const Found found(document);
    EXPECT_EQ(found.document().facts.origin, HeaderOrigin::Unknown);
    EXPECT_EQ(found.document().composite.state, State::Lost);
    EXPECT_EQ(found.document().composite.bytes.length, 0);
}

TEST(Composite, ALostOneIsFlattenedAnewAndSaysSo)
{
    Document document = threeLayers().build();
    document.cutAt(document.composite);
    const Found found(document);
    EXPECT_EQ(found.document().composite.state, State::Lost);
    EXPECT_TRUE(found.document().composite.flattened);
}

TEST(Composite, WhatALostOneMadeAnewLacksIsTold)
{
    const auto told = [](PsdBuilder builder) {
        Document document = builder.build();
        document.cutAt(document.composite);
        return Found(document).document().missing.back();
    };
    const std::string plain = "The merged picture is lost; it was made anew from the layers";
    PsdBuilder multiplied = threeLayers();
    PsdBuilder luminous = threeLayers();
    PsdBuilder shadowed = threeLayers();
    multiplied.layer("shade").blend("mul ");
    luminous.layer("light").blend("lum ");
    shadowed.layer("shadow").taggedBlock("lfx2", Bytes(8));
    EXPECT_EQ(told(multiplied), plain + ".");
    for (const PsdBuilder& builder : {luminous, shadowed}) {
        EXPECT_EQ(told(builder),
                  plain + ", without effects, adjustments, vector masks and some blend modes.");
    }
}

} // namespace talvek::test
