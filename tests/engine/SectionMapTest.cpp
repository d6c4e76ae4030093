#include "tests/engine/Workbench.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <set>

namespace talvek::test {

namespace {

bool isValid(const Bytes& document)
{
    const Workbench bench(document);
    return bench.engine.isFileValidAtPath(bench.document);
}

/// A header with one byte changed.
bool isValidWith(std::size_t offset, std::uint8_t value)
{
    Bytes document = PsdBuilder{}.build().bytes;
    document[offset] = value;
    return isValid(document);
}

std::int64_t length(const Bytes& bytes)
{
    return Repair::sizeOfLength(bytes, static_cast<std::int32_t>(bytes.size()));
}

} // namespace

TEST(SectionMap, ALargeDocumentIsRejected)
{
    EXPECT_FALSE(isValid(PsdBuilder{}.version(2).build().bytes));
    EXPECT_FALSE(isValidWith(4, 1));
}

TEST(SectionMap, DepthsAreOneEightSixteenAndThirtyTwo)
{
    const std::set<int> accepted = {1, 8, 16, 32};
    for (int depth = 0; depth < 256; ++depth) {
        EXPECT_EQ(isValidWith(23, static_cast<std::uint8_t>(depth)), accepted.contains(depth))
            << depth;
    }
    EXPECT_FALSE(isValidWith(22, 1));
}

TEST(SectionMap, ColourModesAreThoseOfTheFormat)
{
    const std::set<int> accepted = {0, 1, 2, 3, 4, 7, 8, 9};
    for (int mode = 0; mode < 256; ++mode) {
        EXPECT_EQ(isValidWith(25, static_cast<std::uint8_t>(mode)), accepted.contains(mode))
            << mode;
    }
    EXPECT_FALSE(isValidWith(24, 1));
}

TEST(SectionMap, ABitmapOfDepthOneIsAccepted)
{
    EXPECT_TRUE(isValid(PsdBuilder{}.mode(Mode::bitmap).depth(1).build().bytes));
}

TEST(SectionMap, ANonZeroReservedByteIsRejectedWhereverItStands)
{
    for (std::size_t offset = 6; offset < 12; ++offset) {
        EXPECT_FALSE(isValidWith(offset, 1)) << offset;
    }
}

TEST(SectionMap, ChannelCountAndSizeAreNotLookedAt)
{
    for (const int fill : {0, 255}) {
        Bytes document = PsdBuilder{}.build().bytes;
        std::fill(document.begin() + 12, document.begin() + 22, static_cast<std::uint8_t>(fill));
        EXPECT_TRUE(isValid(document)) << fill;
    }
}

TEST(SectionMap, EveryByteOfTheSignatureCounts)
{
    for (std::size_t offset = 0; offset < 4; ++offset) {
        EXPECT_FALSE(isValidWith(offset, 'x')) << offset;
    }
}

TEST(SectionMap, FewerThanTwentySixBytesAreNeverValid)
{
    const Bytes document = PsdBuilder{}.mode(Mode::bitmap).build().bytes;
    for (std::int64_t size = 0; size < 26; ++size) {
        EXPECT_FALSE(isValid(slice(document, 0, size))) << size;
    }
    EXPECT_TRUE(isValid(slice(document, 0, 26)));
}

TEST(SectionMap, WhatCannotBeReadIsNotValid)
{
    const Engine engine;
    const TemporaryFolder place;
    EXPECT_FALSE(engine.isFileValidAtPath(place.pathOf("absent")));
    EXPECT_FALSE(engine.isFileValidAtPath(place.path()));
}

TEST(SectionMap, AskingWhetherAFileIsValidPostsAndLogsNothing)
{
    const Notifications heard;
    const LogLines log;
    EXPECT_TRUE(isValid(PsdBuilder{}.build().bytes));
    EXPECT_TRUE(heard.all.empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST(SectionMap, LengthsOfFourBytesAreSigned)
{
    EXPECT_EQ(length({0xFF, 0xFF, 0xFF, 0xFF}), -1);
    EXPECT_EQ(length({0x7F, 0xFF, 0xFF, 0xFF}), 2147483647);
    EXPECT_EQ(length({0x80, 0, 0, 0}), -2147483648);
    EXPECT_EQ(length({1, 2, 3, 4}), 0x01020304);
}

TEST(SectionMap, LengthsOfTwoBytesAreNot)
{
    EXPECT_EQ(length({0xFF, 0xFE}), 65534);
    EXPECT_EQ(length({0x80, 0}), 32768);
    EXPECT_EQ(length({}), 0);
}

TEST(SectionMap, BytesAboveTheFourthAreAddedBelow)
{
    EXPECT_EQ(length({1, 0, 0, 0, 0}), 1) << "a shift of 32 bits is one of none";
    EXPECT_EQ(length({2, 0, 0, 0, 0, 0, 0, 1}), 0x02000001);
}

TEST(SectionMap, AColourModeLengthOfZeroPutsTheResourcesAtThirty)
{
    Workbench bench(PsdBuilder{}.build().bytes);
    bench.run();
    EXPECT_EQ(bench.engine.headerOffset, 0);
    EXPECT_EQ(bench.engine.ColorModeOffset, 26);
    EXPECT_EQ(bench.engine.colorModeSize, 4);
    EXPECT_EQ(bench.engine.imageResourceOffset, 30);
}

TEST(SectionMap, TheColourModeSizeCountsItsLengthFieldAndTheResourcesSizeDoesNot)
{
    const Document document =
        PsdBuilder{}.colourModeData(Bytes(768, 5)).thumbnail(patternOf(50)).build();
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.engine.colorModeSize, 772);
    EXPECT_EQ(bench.engine.imageResourceOffset, document.imageResources.start);
    EXPECT_EQ(bench.engine.sizeOfImageResource, document.imageResources.length);
    EXPECT_EQ(bench.engine.layerAndMaskOffset, document.layerAndMask.start);
    EXPECT_EQ(bench.engine.mainImageOffset, document.composite);
}

TEST(SectionMap, WithoutAThumbnailTheResourcesAreNotSkipped)
{
    const Document document = PsdBuilder{}.fillResourcesTo(100).build();
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.engine.layerAndMaskOffset, document.imageResources.start);
    EXPECT_EQ(bench.engine.sizeOFLayerAndMask, 100);
    EXPECT_EQ(bench.engine.mainImageOffset, document.layerAndMask.start);
}

TEST(SectionMap, TheHeaderIsKeptAsItStands)
{
    const Document document = PsdBuilder{}.size(300, 70000).build();
    Workbench bench(document.bytes);
    bench.run();
    const auto& header = bench.engine.fileHeaderInformation;
    EXPECT_EQ(Bytes(header.begin(), header.end()), slice(document.bytes, 0, 26));
}

TEST(SectionMap, ALengthThatIsReadShortKeepsTheBytesOfTheOneBefore)
{
    Document document = PsdBuilder{}.colourModeData(Bytes(5, 9)).build();
    document.cutAt(37); // two bytes of the resources' length, 00 00, are left
    Workbench bench(document.bytes);
    bench.engine.temporary = {1, 2, 3, 4};
    bench.run();
    EXPECT_EQ(bench.engine.colorModeSize, 9);
    EXPECT_EQ(bench.engine.sizeOfImageResource, 5) << "00 00 of its own, 00 05 of the one before";
}

TEST(SectionMap, AColourModeLengthBelowZeroMovesTheResourcesBack)
{
    Document document = PsdBuilder{}.build();
    document.lieLength(26, -6);
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.engine.colorModeSize, -2);
    EXPECT_EQ(bench.engine.imageResourceOffset, 24);
    EXPECT_EQ(bench.engine.sizeOfImageResource, 0x0003FFFF) << "read across mode and length";
}

TEST(SectionMap, AShortFileWithoutTheSignatureStopsSilently)
{
    Workbench bench(bytesOf("8BP"));
    bench.run();
    EXPECT_TRUE(bench.heard.all.empty());
    EXPECT_EQ(bench.names(), "");
}

TEST(SectionMap, AShortFileWithTheSignatureRunsOnWithZerosForItsHeader)
{
    Workbench bench(bytesOf("8BPS"));
    bench.run();
    EXPECT_EQ(bench.heard.shapes().back(), 'c');
    EXPECT_EQ(bench.engine.fileHeaderInformation[25], 0);
    EXPECT_EQ(bench.engine.imageResourceOffset, 30);
}

TEST(SectionMap, ARunTestsNothingButTheSignature)
{
    Document document = PsdBuilder{}.thumbnail(patternOf(10)).composite(Packing::raw).build();
    document.overwrite(4, {9, 9, 9, 9, 9, 9, 9, 9}).overwrite(22, {9, 9});
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_EQ(bench.names(), "a.psd_repaired.psd,a.psd_thumbnail.jpg");
}

} // namespace talvek::test
