#include "recovery/output/PictureFiles.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

class PictureFilesTest : public testing::Test
{
protected:
    PictureResult write(const RecoveredDocument& document)
    {
        return writePictures(FileManager::defaultManager(), document, planPictures(document),
                             m_folder.path(), m_control, [this](double share) { m_share = share; });
    }
    DocumentBuilder& colouredLayer(const std::string& name, Rectangle bounds, std::uint8_t value)
    {
        const Bytes samples(static_cast<std::size_t>(bounds.rows() * bounds.columns()), value);
        return m_builder.layer(name, bounds)
            .channel(0, samples)
            .channel(1, samples)
            .channel(2, samples);
    }

    TemporaryFolder m_folder;
    DocumentBuilder m_builder{m_folder};
    RunControl m_control;
    double m_share = 0;
};

TEST_F(PictureFilesTest, NamesAreNumberedFromTheLowestAndMadeSafe)
{
    colouredLayer("Sky", {0, 0, 2, 2}, 1);
    m_builder.layer("Folder", {});
    colouredLayer("a/b", {0, 0, 2, 2}, 2).channel(-2, Bytes(4, 9));
    colouredLayer("", {0, 0, 2, 2}, 3);
    colouredLayer(".hidden", {0, 0, 2, 2}, 3);
    const auto plan = planPictures(m_builder.build());
    ASSERT_EQ(plan.size(), 5U);
    EXPECT_EQ(plan[0].path, "Layers/001 Sky.png");
    EXPECT_EQ(plan[1].path, "Layers/002 a_b.png");
    EXPECT_EQ(plan[2].path, "Layers/002 a_b mask.png");
    EXPECT_EQ(plan[3].path, "Layers/003.png");
    EXPECT_EQ(plan[4].path, "Layers/004 .hidden.png");
    EXPECT_EQ(plan[1].layer, 2);
}

TEST_F(PictureFilesTest, ALostLayerHasNoPicture)
{
    colouredLayer("a", {0, 0, 1, 1}, 1).loseRows(0, 1);
    m_builder.document().layers[0].channels.resize(1);
    m_builder.document().layers[0].channels[0].plane.rowsRecovered = 0;
    EXPECT_TRUE(planPictures(m_builder.build()).empty());
}

TEST_F(PictureFilesTest, PicturesAreReadBackByAnotherProgram)
{
    if (!hasImageMagick()) {
        GTEST_SKIP() << "ImageMagick's convert is not installed: nothing reads the PNG back";
    }
    colouredLayer("a", {-1, -2, 1, 1}, 70).channel(-1, {1, 2, 3, 4, 5, 6});
    m_builder.mask(-2, {3, 4, 4, 6}, {200, 100}).size(1, 2).composite({{1, 2}, {3, 4}, {5, 6}});
    ASSERT_EQ(write(m_builder.build()), PictureResult::Written);
    const auto layer = pixelsOf(m_folder.file("Layers/001 a.png"), "rgba", 8, m_folder);
    ASSERT_EQ(layer.size(), 24U);
    EXPECT_EQ(layer[0], 70);
    EXPECT_EQ(layer[23], 6);
    EXPECT_EQ(pixelsOf(m_folder.file("Layers/001 a mask.png"), "gray", 8, m_folder),
              (Bytes{200, 100}));
    EXPECT_EQ(pixelsOf(m_folder.file("Composite.png"), "rgb", 8, m_folder),
              (Bytes{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(m_share, 1);
}

TEST_F(PictureFilesTest, LostRowsOfAMaskAreTransparent)
{
    if (!hasImageMagick()) {
        GTEST_SKIP() << "ImageMagick's convert is not installed: nothing reads the PNG back";
    }
    m_builder.layer("a", {}).mask(-2, {0, 0, 3, 1}, {10, 20, 30}).loseRows(1, 2);
    ASSERT_EQ(write(m_builder.build()), PictureResult::Written);
    EXPECT_EQ(pixelsOf(m_folder.file("Layers/001 a mask.png"), "rgba", 8, m_folder),
              (Bytes{10, 10, 10, 255, 0, 0, 0, 0, 30, 30, 30, 255}));
}

TEST_F(PictureFilesTest, AStoppedRunLeavesNoPart)
{
    for (int i = 0; i < 20; ++i) {
        colouredLayer("x", {0, 0, 50, 50}, 3);
    }
    m_control.setStop(true);
    EXPECT_EQ(write(m_builder.build()), PictureResult::Stopped);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.file("Layers")));
}

TEST_F(PictureFilesTest, AFileThatCannotBeWrittenFailsTheRun)
{
    colouredLayer("x", {0, 0, 5, 5}, 3);
    std::filesystem::create_directories(m_folder.file("Layers/001 x.png"));
    EXPECT_EQ(write(m_builder.build()), PictureResult::Failed);
}

TEST_F(PictureFilesTest, ManyLayersComeOutEachWithItsOwnPixels)
{
    for (int i = 0; i < 200; ++i) {
        colouredLayer("x", {0, 0, 7, 5}, static_cast<std::uint8_t>(i));
    }
    ASSERT_EQ(write(m_builder.build()), PictureResult::Written);
    const auto first = contentsOf(m_folder.file("Layers/001 x.png"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.file("Layers")), {}), 200);
    EXPECT_NE(first, contentsOf(m_folder.file("Layers/200 x.png")));
}

} // namespace
} // namespace talvek::recovery::output
