#include "recovery/output/RecoveryOutput.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

class RecoveryOutputTest : public testing::Test
{
protected:
    RecoveryOutputTest() { std::filesystem::create_directory(m_out); }

    OutputResult write(const RecoveredDocument& document, OutputOptions options = {})
    {
        RecoveryOutput output(FileManager::defaultManager(), m_control, std::move(options));
        return output.write(document, m_out, [this](const std::string&, double share) {
            EXPECT_GE(share, m_share);
            m_share = share;
        });
    }
    [[nodiscard]] std::string page() const { return textOf(m_out + "/report.html"); }

    TemporaryFolder m_folder;
    std::string m_out = m_folder.file("out");
    DocumentBuilder m_builder{m_folder};
    RunControl m_control;
    double m_share = 0;
};

TEST_F(RecoveryOutputTest, EverythingIsWritten)
{
    m_builder.layer("Sky", {0, 0, 1, 1}).channel(0, {1}).channel(1, {2}).channel(2, {3});
    m_builder.size(1, 1).composite({{1}, {2}, {3}}).embedded("a.txt", "hello");
    m_builder.document().profile = m_builder.store("profile");
    m_builder.document().xmp = m_builder.store("<x/>");
    m_builder.document().thumbnail = Thumbnail{1, 1, m_builder.store("jpeg")};
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    for (const char* name :
         {"Layers/001 Sky.png", "Composite.png", "Embedded/a.txt", "report.html"}) {
        EXPECT_TRUE(std::filesystem::exists(m_out + "/" + name)) << name;
    }
    EXPECT_EQ(textOf(m_out + "/Profile.icc"), "profile");
    EXPECT_EQ(textOf(m_out + "/Metadata.xmp"), "<x/>");
    EXPECT_EQ(textOf(m_out + "/Thumbnail.jpg"), "jpeg");
    EXPECT_EQ(m_share, 1);
}

TEST_F(RecoveryOutputTest, TheReportNamesWhatStandsBesideIt)
{
    m_builder.layer("Gone", {0, 0, 1, 1});
    m_builder.layer("Sky", {5, 7, 6, 8}).channel(0, {1}).channel(1, {2}).channel(2, {3});
    m_builder.mask(-2, {0, 0, 1, 1}, {9});
    m_builder.size(1, 1).composite({{1}, {2}, {3}}).embedded("a.txt", "hello");
    m_builder.document().xmp = m_builder.store("<x/>");
    OutputOptions options;
    options.fromReference = {"The header."};
    EXPECT_EQ(write(m_builder.build(), options), OutputResult::Written);
    const auto report = nlohmann::json::parse(textOf(m_out + "/report.json"));
    EXPECT_FALSE(report["layers"][0].contains("png"));
    const auto& sky = report["layers"][1];
    EXPECT_EQ(sky["png"], "Layers/001 Sky.png");
    EXPECT_EQ(sky["mask_png"], "Layers/001 Sky mask.png");
    EXPECT_EQ(sky["top"], 5);
    EXPECT_EQ(sky["left"], 7);
    EXPECT_EQ(report["composite_png"], "Composite.png");
    EXPECT_EQ(report["embedded"][0]["path"], "Embedded/a.txt");
    EXPECT_EQ(report["files"][0], "Metadata.xmp");
    EXPECT_EQ(report["fromReference"][0], "The header.");
    for (const std::string name : {sky["png"], sky["mask_png"], report["composite_png"]}) {
        EXPECT_TRUE(std::filesystem::exists(m_out + "/" + name)) << name;
    }
}

TEST_F(RecoveryOutputTest, TheReportNamesNoPictureThatWasNotAskedFor)
{
    m_builder.layer("Sky", {0, 0, 1, 1}).channel(0, {1}).channel(1, {2}).channel(2, {3});
    OutputOptions options;
    options.pictures = false;
    EXPECT_EQ(write(m_builder.build(), options), OutputResult::Written);
    const auto report = nlohmann::json::parse(textOf(m_out + "/report.json"));
    EXPECT_FALSE(report["layers"][0].contains("png"));
}

TEST_F(RecoveryOutputTest, TheReportJoinsTheLostRowsOfALayersChannels)
{
    const Bytes rows(10, 1);
    m_builder.layer("Sky", {0, 0, 10, 1});
    m_builder.channel(0, rows).loseRows(2, 4);
    m_builder.channel(1, rows).loseRows(3, 6);
    m_builder.channel(2, rows);
    m_builder.mask(-2, {0, 0, 10, 1}, rows).loseRows(8, 9);
    m_builder.document().layers[0].state = State::Partial;
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    const auto report = nlohmann::json::parse(textOf(m_out + "/report.json"));
    EXPECT_EQ(report["layers"][0]["lostRows"], nlohmann::json::parse("[[2,6]]"));
}

TEST_F(RecoveryOutputTest, NothingLeftIsSaidOnThePage)
{
    m_builder.document().nothingLeft = true;
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    EXPECT_NE(page().find("nothing is left in this file"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_out + "/Layers"));
}

TEST_F(RecoveryOutputTest, NamesCannotBecomeMarkup)
{
    m_builder.layer("<script>alert(1)</script>", {0, 0, 1, 1})
        .channel(0, {1})
        .channel(1, {2})
        .channel(2, {3});
    m_builder.layer("\"><em>", {});
    m_builder.document().layers[1].note = "<i>";
    m_builder.document().missing = {"<u>"};
    m_builder.embedded("<s>'.txt", "x");
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    for (const char* markup : {"<script", "<em>", "<i>", "<u>", "<s>"}) {
        EXPECT_EQ(page().find(markup), std::string::npos) << markup;
    }
    EXPECT_NE(page().find("&lt;script&gt;"), std::string::npos);
}

TEST_F(RecoveryOutputTest, ThePageNeedsNothingElse)
{
    m_builder.layer("a", {0, 0, 1, 1}).channel(0, {1}).channel(1, {2}).channel(2, {3});
    m_builder.size(1, 1).composite({{1}, {2}, {3}});
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    EXPECT_EQ(page().find("http"), std::string::npos);
    EXPECT_EQ(page().find("<script"), std::string::npos);
    EXPECT_NE(page().find("prefers-color-scheme:dark"), std::string::npos);
}

TEST_F(RecoveryOutputTest, ThousandsOfLayersMakeABoundedPage)
{
    for (int i = 0; i < 5000; ++i) {
        m_builder.layer(std::string(2000, 'n'), {});
    }
    EXPECT_EQ(write(m_builder.build()), OutputResult::Written);
    EXPECT_LT(page().size(), 4U << 20U);
    EXPECT_NE(page().find("report.json"), std::string::npos);
}

TEST_F(RecoveryOutputTest, AStoppedRunSaysSo)
{
    m_builder.layer("a", {0, 0, 1, 1}).channel(0, {1}).channel(1, {2}).channel(2, {3});
    m_control.setStop(true);
    EXPECT_EQ(write(m_builder.build()), OutputResult::Stopped);
    EXPECT_FALSE(std::filesystem::exists(m_out + "/report.html"));
}

TEST_F(RecoveryOutputTest, AFolderThatIsNotThereFails)
{
    m_out = m_folder.file("missing");
    m_builder.document().xmp = m_builder.store("x");
    EXPECT_EQ(write(m_builder.build()), OutputResult::Failed);
}

/// A document of which every field is chance.
RecoveredDocument documentByChance(DocumentBuilder& builder, Chance& chance)
{
    const auto number = [&](std::int32_t end) { return chance.below(end); };
    RecoveredDocument document = builder.build();
    constexpr std::uint16_t kDepths[] = {1, 8, 16, 32, 7};
    constexpr int kModes[] = {0, 1, 2, 3, 4, 7, 8, 9, 5};
    document.facts.mode = static_cast<ColorMode>(kModes[number(9)]);
    document.facts.depth = kDepths[number(5)];
    document.facts.width = number(60);
    document.facts.height = number(60);
    document.facts.channels = number(60);
    document.mergedAlpha = chance.oneIn(2);
    const auto range = [&] { return ByteRange{number(9000), number(9000), 0}; };
    document.profile = range();
    document.facts.colorData = range();
    document.composite.state = static_cast<State>(number(4));
    const auto channels = [&](Rectangle bounds) {
        std::vector<Channel> all;
        for (int id = -3; id < 5; ++id) {
            Channel channel{static_cast<std::int16_t>(id), bounds, {}};
            Plane& plane = channel.plane;
            plane.state = static_cast<State>(number(4));
            plane.compression = static_cast<Compression>(number(4));
            plane.depth = kDepths[number(5)];
            plane.rows = static_cast<std::int32_t>(bounds.rows()) + (chance.oneIn(9) ? 1 : 0);
            plane.columns = static_cast<std::int32_t>(bounds.columns());
            plane.rowsRecovered = number(40);
            plane.bytes = range();
            const std::int32_t first = number(20);
            plane.runs = {{first, number(20), number(9000), chance.oneIn(2) ? number(9000) : -1}};
            all.push_back(channel);
        }
        return all;
    };
    document.composite.channels = channels({0, 0, document.facts.height, document.facts.width});
    for (int i = 0; i < 6; ++i) {
        Layer layer;
        layer.bounds = {number(30) - 10, number(30) - 10, number(60), number(60)};
        layer.parent = number(9) - 1;
        layer.group = static_cast<Group>(number(4));
        layer.state = static_cast<State>(number(4));
        layer.channels = channels(layer.bounds);
        layer.blocks.push_back({0x54795368, range(), {}});
        document.layers.push_back(layer);
    }
    return document;
}

TEST_F(RecoveryOutputTest, AnyDocumentIsWritten)
{
    Chance chance(99);
    Bytes noise(10000);
    for (auto& byte : noise) {
        byte = chance.oneIn(4) ? chance.byte() : std::uint8_t{0};
    }
    m_builder.store(noise);
    for (int round = 0; round < 150; ++round) {
        const RecoveredDocument document = documentByChance(m_builder, chance);
        m_share = 0;
        ASSERT_EQ(write(document), OutputResult::Written) << "round " << round;
    }
}

} // namespace
} // namespace talvek::recovery::output
