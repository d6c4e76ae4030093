#include "recovery/HeaderFinder.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

void expectFacts(const DocumentFacts& facts, int width, int height, int channels, ColorMode mode)
{
    EXPECT_EQ(facts.width, width);
    EXPECT_EQ(facts.height, height);
    EXPECT_EQ(facts.channels, channels);
    EXPECT_EQ(facts.mode, mode);
}

TEST(Header, IsWorkedOutFromALayerThatCoversTheCanvasAndThePicture)
{
    Document document = threeLayers().build();
    document.zeroFill(0, 26);
    const Found found(document);
    expectFacts(found.document().facts, 40, 30, 3, ColorMode::Rgb);
    EXPECT_EQ(found.document().facts.origin, HeaderOrigin::Rebuilt);
    EXPECT_EQ(found.document().composite.state, State::Whole);
}

TEST(Header, TheSlicesTellTheCanvas)
{
    Bytes slices;
    appendU32(slices, 6);
    for (const std::uint32_t side : {0U, 0U, 30U, 40U}) {
        appendU32(slices, side);
    }
    PsdBuilder builder;
    builder.size(40, 30).mode(Mode::cmyk).resource(0x041A, slices);
    builder.layer("small").bounds(1, 1, 20, 20);
    Document document = builder.build();
    document.zeroFill(0, 26);
    expectFacts(Found(document).document().facts, 40, 30, 4, ColorMode::Cmyk);
}

TEST(Header, TheMetadataTellTheMode)
{
    PsdBuilder builder;
    builder.size(40, 30).mode(Mode::lab);
    builder.resource(0x0424, bytesOf("<x photoshop:ColorMode=\"9\"/>")).layer("full");
    Document document = builder.build();
    document.zeroFill(0, 26);
    expectFacts(Found(document).document().facts, 40, 30, 3, ColorMode::Lab);
}

TEST(Header, IsFoundBehindGarbage)
{
    Document document = threeLayers().build();
    document.insertBytes(0, Bytes(1234, 0x3C));
    const Found found(document);
    EXPECT_EQ(found.document().facts.header.offset, 1234);
    EXPECT_EQ(found.document().facts.origin, HeaderOrigin::Header);
    EXPECT_EQ(found.layer(2).state, State::Whole);
}

TEST(Header, FieldsThatNoDocumentCanHaveMakeNoHeader)
{
    Document document = threeLayers().build();
    for (const std::int64_t field : {5, 12, 14, 18, 23, 25}) {
        Document damaged = document;
        damaged.flipByte(field);
        Source source(damaged.bytes);
        EXPECT_FALSE(readHeader(source.bytes(), 0)) << field;
    }
}

TEST(Header, OneChangedByteOfWhatAllHoldAlikeLosesNone)
{
    for (const std::int64_t byte : {0, 3, 6, 11}) {
        Document document = threeLayers().build();
        const Found found(document.flipByte(byte));
        EXPECT_EQ(found.document().facts.origin, HeaderOrigin::Header) << byte;
        expectFacts(found.document().facts, 40, 30, 3, ColorMode::Rgb);
        EXPECT_EQ(found.layer(0).state, State::Unproved) << byte;
    }
}

TEST(Header, MoreOfThemMakeNone)
{
    Document document = threeLayers().build();
    document.flipByte(7).flipByte(9);
    Source source(document.bytes);
    EXPECT_FALSE(readHeader(source.bytes(), 0));
}

TEST(Header, ASizeThatOnlyThePicturesRowsTellProvesNoPicture)
{
    Document document = PsdBuilder{}.size(40, 30).build();
    const Found found(document.zeroFill(0, 26));
    EXPECT_TRUE(found.document().facts.sizeIsGuess);
    EXPECT_EQ(found.document().composite.state, State::Unproved);
    Document layered = threeLayers().build();
    const Found covered(layered.zeroFill(0, 26));
    EXPECT_FALSE(covered.document().facts.sizeIsGuess);
    EXPECT_EQ(covered.document().composite.state, State::Whole);
}

TEST(Header, OneRowIsNoPictureThatCorrectsASize)
{
    Document document = PsdBuilder{}.size(40, 30).composite(Packing::raw).build();
    // Code, count and row of a picture of one row that reaches the end of the file.
    document.overwrite(document.size() - 6, {0, 1, 0, 2, 0xD9, 7});
    const Found found(document);
    expectFacts(found.document().facts, 40, 30, 3, ColorMode::Rgb);
}

TEST(Header, APictureThatProvesItselfCorrectsAWrongSize)
{
    Document document = threeLayers().build();
    document.overwrite(14, {0, 0, 0, 31}); // the height
    const Found found(document);
    expectFacts(found.document().facts, 40, 30, 3, ColorMode::Rgb);
    EXPECT_EQ(found.document().composite.state, State::Whole);
}

TEST(Header, ARawPictureOfTheLayersSizeThatEndsWithTheFileCorrectsAWrongSize)
{
    PsdBuilder builder = threeLayers();
    Document document = builder.composite(Packing::raw).build();
    document.overwrite(14, {0, 0, 0, 1}); // the height
    const Found found(document);
    expectFacts(found.document().facts, 40, 30, 3, ColorMode::Rgb);
    EXPECT_EQ(found.document().composite.rowsRecovered, 90);
}

TEST(Header, AZeroedOrEmptyFileHasNothingLeft)
{
    EXPECT_TRUE(Found(Bytes(100000, 0)).document().nothingLeft);
    EXPECT_TRUE(Found(Bytes{}).document().nothingLeft);
}

} // namespace talvek::test
