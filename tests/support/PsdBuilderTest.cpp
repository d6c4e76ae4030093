#include "tests/support/PsdBuilder.h"

#include "tests/support/PackBits.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::test {

namespace {

Bytes slice(const Document& document, std::int64_t offset, std::int64_t count)
{
    return {document.bytes.begin() + offset, document.bytes.begin() + offset + count};
}

std::uint32_t numberAt(const Document& document, std::int64_t offset)
{
    std::uint32_t number = 0;
    for (const std::uint8_t byte : slice(document, offset, 4)) {
        number = number << 8U | byte;
    }
    return number;
}

Bytes unpacked(const Bytes& packed)
{
    Bytes plain;
    for (std::size_t i = 0; i < packed.size();) {
        const unsigned control = packed[i++];
        if (control < 128) {
            plain.insert(plain.end(), packed.begin() + static_cast<std::ptrdiff_t>(i),
                         packed.begin() + static_cast<std::ptrdiff_t>(i + control + 1));
            i += control + 1;
        } else if (control > 128) {
            plain.insert(plain.end(), 257 - control, packed[i++]);
        }
    }
    return plain;
}

} // namespace

TEST(PsdBuilder, SectionsStandWhereTheDocumentSaysTheyDo)
{
    const Document document = PsdBuilder{}
                                  .colourModeData({1, 2, 3})
                                  .thumbnail(bytesOf("JPEG"))
                                  .layer("sky")
                                  .transparent()
                                  .taggedBlock("luni", {1, 2, 3})
                                  .filterMask()
                                  .build();
    EXPECT_EQ(document.colourModeData.start, 26);
    EXPECT_EQ(document.imageResources.start, 33);
    EXPECT_EQ(slice(document, document.thumbnails[0].start, 6), bytesOf("8BIM\x04\x0C"));
    EXPECT_EQ(numberAt(document, document.thumbnails[0].lengthField), 32U);
    EXPECT_EQ(document.layerAndMask.start, 37 + document.imageResources.length);
    const Document::Record& sky = document.records.at(0);
    EXPECT_EQ(slice(document, sky.signature, 8), bytesOf("8BIMnorm"));
    EXPECT_EQ(sky.extraLength + 4 + numberAt(document, sky.extraLength), sky.end);
    EXPECT_EQ(sky.end, document.channelImageData);
    EXPECT_EQ(sky.channels.at(0).data, document.channelImageData);
    EXPECT_EQ(sky.channels.at(1).data, sky.channels[0].data + sky.channels[0].length);
    EXPECT_EQ(slice(document, document.globalBlocks.at(0).start, 8), bytesOf("8BIMFMsk"));
    EXPECT_EQ(document.composite, document.layerAndMask.data + document.layerAndMask.length);
}

TEST(PsdBuilder, ResourcesAreFilledToTheByte)
{
    for (const std::size_t wanted : {32U + 12U, 45U, 46U, 4096U, 4097U, 4102U}) {
        const Document document = PsdBuilder{}.thumbnail({}).fillResourcesTo(wanted).build();
        EXPECT_EQ(document.imageResources.length, static_cast<std::int64_t>(wanted));
    }
}

TEST(PsdBuilder, EveryModeAndDepthAndPackingIsBuilt)
{
    for (const int depth : {1, 8, 16, 32}) {
        for (const Packing packing :
             {Packing::raw, Packing::packBits, Packing::zip, Packing::zipPrediction}) {
            const Document document = PsdBuilder{}
                                          .mode(Mode::cmyk)
                                          .depth(depth)
                                          .size(9, 5)
                                          .layer("ink")
                                          .packing(packing)
                                          .composite(packing)
                                          .build();
            const auto code = static_cast<std::uint8_t>(packing);
            EXPECT_EQ(slice(document, document.composite, 2), (Bytes{0, code}));
            EXPECT_EQ(slice(document, document.channelImageData, 2), (Bytes{0, code}));
            EXPECT_EQ(document.records[0].channels.size(), 4U);
        }
    }
}

TEST(PsdBuilder, AGroupIsTwoLayersWithDividers)
{
    const Document document = PsdBuilder{}.beginGroup().layer("sky").endGroup("sketches").build();
    ASSERT_EQ(document.records.size(), 3U);
    EXPECT_EQ(document.records[2].name, "sketches");
    EXPECT_EQ(slice(document, document.records[2].signature, 8), bytesOf("8BIMpass"));
}

TEST(PsdBuilder, NoSizeIsMadeForBoundsTurnedAround)
{
    const Document document = PsdBuilder{}.layer("inside out").bounds(5, 9, 1, 2).build();
    EXPECT_EQ(numberAt(document, document.records[0].start + 12), 2U);
    EXPECT_EQ(document.records[0].channels[0].length, 2);
}

TEST(PackBits, WhatIsPackedUnpacksToItself)
{
    Random random(7);
    for (std::size_t count = 0; count < 300; ++count) {
        const Bytes plain = randomPixels(count, random);
        EXPECT_EQ(unpacked(packBits(plain)), plain);
        EXPECT_EQ(unpacked(packBitsAtRandom(plain, random)), plain);
    }
    EXPECT_EQ(packBits(Bytes{1, 2, 2, 2, 3}), (Bytes{0, 1, 254, 2, 0, 3}));
    EXPECT_EQ(packBits(Bytes(129, 4)), (Bytes{129, 4, 0, 4}));
}

TEST(Document, DamageIsDoneWhereItIsAskedFor)
{
    Document document;
    document.bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    document.flipByte(0).lieLength(1, -2).deleteBytes(6, 9).insertBytes(1, {8, 9});
    EXPECT_EQ(document.bytes, (Bytes{0xFF, 8, 9, 0xFF, 0xFF, 0xFF, 0xFE, 5}));
    document.zeroFill(6, 5).cutAt(7).overwrite(-1, {1, 2}).flipByte(7).deleteBytes(7, 1);
    EXPECT_EQ(document.bytes, (Bytes{2, 8, 9, 0xFF, 0xFF, 0xFF, 0}));
}

TEST(TemporaryFolder, IsGoneWithAllItHolds)
{
    std::string path;
    {
        const TemporaryFolder folder;
        path = folder.path();
        EXPECT_EQ(readFile(folder.write("a", {1, 2, 3})), (Bytes{1, 2, 3}));
        EXPECT_EQ(filesIn(path).size(), 1U);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace talvek::test
