#include "recovery/output/Picture.h"

#include "recovery/output/Preview.h"
#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

class PictureTest : public testing::Test
{
protected:
    /// All rows of a picture as RGBA.
    Bytes rowsOf(const RecoveredDocument& document, const PictureSource& picture)
    {
        SourceFiles files(FileManager::defaultManager(), document.sources);
        Colors colors(colorFacts(document, files));
        PictureReader reader(files, picture, colors.of(picture));
        Bytes all;
        Bytes row(reader.rowBytes());
        for (int y = 0; y < picture.rows; ++y) {
            reader.readRow(row);
            all.insert(all.end(), row.begin(), row.end());
        }
        return all;
    }
    Bytes layerRows(const RecoveredDocument& document)
    {
        return rowsOf(document, pictureOfLayer(document, document.layers.at(0)));
    }

    TemporaryFolder m_folder;
    DocumentBuilder m_builder{m_folder};
    Rectangle m_bounds{5, 6, 7, 8};
};

TEST_F(PictureTest, ColoursAndTransparencyComeTogether)
{
    const auto document = m_builder.layer("a", m_bounds)
                              .channel(-1, {0, 255, 128, 7})
                              .channel(0, {1, 2, 3, 4})
                              .channel(1, {11, 12, 13, 14})
                              .channel(2, {21, 22, 23, 24})
                              .build();
    EXPECT_EQ(layerRows(document),
              (Bytes{1, 11, 21, 0, 2, 12, 22, 255, 3, 13, 23, 128, 4, 14, 24, 7}));
}

TEST_F(PictureTest, ARowThatLostOneColourIsTransparent)
{
    const auto document = m_builder.layer("a", m_bounds)
                              .channel(0, {1, 2, 3, 4})
                              .channel(1, {11, 12, 13, 14})
                              .channel(2, {21, 22, 23, 24})
                              .loseRows(1, 2)
                              .build();
    EXPECT_EQ(layerRows(document),
              (Bytes{1, 11, 21, 255, 2, 12, 22, 255, 3, 13, 0, 0, 4, 14, 0, 0}));
}

TEST_F(PictureTest, ARowThatLostItsTransparencyAloneIsOpaque)
{
    const auto document = m_builder.layer("a", m_bounds)
                              .channel(0, {1, 2, 3, 4})
                              .channel(1, {1, 2, 3, 4})
                              .channel(2, {1, 2, 3, 4})
                              .channel(-1, {9, 9, 9, 9})
                              .loseRows(0, 1)
                              .build();
    const Bytes rows = layerRows(document);
    EXPECT_EQ(rows[3], 255);
    EXPECT_EQ(rows[11], 9);
}

TEST_F(PictureTest, ALayerThatLostAWholeColourIsShownInGray)
{
    const auto document = m_builder.layer("a", m_bounds)
                              .channel(0, {1, 2, 3, 4})
                              .loseRows(0, 2)
                              .channel(1, {11, 12, 13, 14})
                              .channel(2, {21, 22, 23, 24})
                              .build();
    const auto picture = pictureOfLayer(document, document.layers[0]);
    EXPECT_TRUE(picture.colorsLost);
    EXPECT_EQ(layerRows(document),
              (Bytes{11, 11, 11, 255, 12, 12, 12, 255, 13, 13, 13, 255, 14, 14, 14, 255}));
}

TEST_F(PictureTest, PlanesOfAnotherSizeThanTheLayerAreNotItsPicture)
{
    const auto document = m_builder.layer("a", m_bounds).mask(0, {0, 0, 3, 3}, Bytes(9)).build();
    EXPECT_TRUE(pictureOfLayer(document, document.layers[0]).isEmpty());
}

TEST_F(PictureTest, AMaskIsNotAppliedToTheLayer)
{
    const auto document = m_builder.mode(ColorMode::Grayscale, 1)
                              .layer("a", m_bounds)
                              .channel(0, {1, 2, 3, 4})
                              .channel(-2, {0, 0, 0, 0})
                              .build();
    EXPECT_EQ(layerRows(document)[3], 255);
}

TEST_F(PictureTest, WhiteIsTakenOffTheMergedPicture)
{
    m_builder.size(2, 1).mode(ColorMode::Rgb, 4);
    m_builder.document().mergedAlpha = true;
    const auto document =
        m_builder.composite({{178, 10}, {127, 10}, {255, 10}, {128, 255}}).build();
    const Bytes rows = rowsOf(document, pictureOfComposite(document));
    EXPECT_NEAR(rows[0], 101, 1);
    EXPECT_NEAR(rows[1], 0, 1);
    EXPECT_EQ(rows[2], 255);
    EXPECT_EQ(rows[3], 128);
    EXPECT_EQ(rows[4], 10);
}

TEST_F(PictureTest, APictureThatWasNotMixedWithWhiteStays)
{
    m_builder.size(2, 1).mode(ColorMode::Rgb, 4);
    m_builder.document().mergedAlpha = true;
    const auto document = m_builder.composite({{3, 10}, {4, 10}, {250, 10}, {128, 255}}).build();
    EXPECT_EQ(rowsOf(document, pictureOfComposite(document)),
              (Bytes{3, 4, 250, 128, 10, 10, 10, 255}));
}

TEST_F(PictureTest, AnExtraChannelIsNoTransparencyUnlessItIsSaidSo)
{
    m_builder.size(1, 1).mode(ColorMode::Rgb, 4);
    const auto document = m_builder.composite({{1}, {2}, {3}, {0}}).build();
    EXPECT_EQ(rowsOf(document, pictureOfComposite(document)), (Bytes{1, 2, 3, 255}));
}

TEST_F(PictureTest, HugeRectanglesWithNextToNothingInThemAreNotShown)
{
    PictureSource picture;
    Plane plane;
    plane.rows = 300000;
    plane.rowsRecovered = 3;
    picture.rows = 300000;
    picture.columns = 300000;
    picture.colors = {&plane};
    EXPECT_FALSE(picture.isWorthShowing());
    plane.rowsRecovered = 200000;
    EXPECT_TRUE(picture.isWorthShowing());
}

TEST_F(PictureTest, APreviewFitsItsSquareAndKeepsTheShape)
{
    const Bytes samples(400 * 100, 50);
    const auto document = m_builder.layer("a", {0, 0, 100, 400})
                              .channel(0, samples)
                              .channel(1, samples)
                              .channel(2, samples)
                              .build();
    SourceFiles files(FileManager::defaultManager(), document.sources);
    Colors colors(colorFacts(document, files));
    const auto picture = pictureOfLayer(document, document.layers[0]);
    const Preview preview = makePreview(files, picture, colors.of(picture), 120);
    EXPECT_EQ(preview.width, 120);
    EXPECT_EQ(preview.height, 30);
    if (!hasImageMagick()) {
        GTEST_SKIP() << "ImageMagick's convert is not installed: nothing reads the PNG back";
    }
    writeFile(m_folder.file("p.png"),
              {reinterpret_cast<const char*>(preview.png.data()), preview.png.size()});
    EXPECT_EQ(pixelsOf(m_folder.file("p.png"), "rgb", 8, m_folder), Bytes(120 * 30 * 3, 50));
}

} // namespace
} // namespace talvek::recovery::output
