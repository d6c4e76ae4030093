#include "recovery/output/Reference.h"

#include "recovery/RegionMap.h"
#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

class ReferenceTest : public testing::Test
{
protected:
    /// A layer of 4 x 3 in gray, of samples that count up.
    static void addLayer(DocumentBuilder& builder, const std::string& name, std::uint32_t id,
                         std::uint8_t first)
    {
        Bytes samples(12);
        for (std::uint8_t i = 0; i < 12; ++i) {
            samples[i] = static_cast<std::uint8_t>(first + i);
        }
        builder.layer(name, {0, 0, 3, 4}).channel(0, samples);
        builder.document().layers.back().id = id;
    }
    std::vector<std::string> run()
    {
        m_document = m_ours.build();
        noteMissing(m_document);
        Reference reference(FileManager::defaultManager(), m_document, m_theirs.build(), m_control);
        return reference.run();
    }
    Bytes rowsOf(const Plane& plane)
    {
        SourceFiles files(FileManager::defaultManager(), m_document.sources);
        const auto reader = openPlane(files, plane);
        Bytes row(static_cast<std::size_t>(plane.rowBytes()));
        Bytes all;
        for (int i = 0; i < plane.rows; ++i) {
            reader->readRow(row);
            all.insert(all.end(), row.begin(), row.end());
        }
        return all;
    }
    [[nodiscard]] bool isSaid(const std::string& sentence) const
    {
        const auto& missing = m_document.missing;
        return std::find(missing.begin(), missing.end(), sentence) != missing.end();
    }
    /// The header is lost, and the canvas was worked out.
    void loseHeader() { m_ours.document().facts.origin = HeaderOrigin::Rebuilt; }
    const Layer& layer(std::size_t index) { return m_document.layers.at(index); }

    TemporaryFolder m_ourFolder;
    TemporaryFolder m_theirFolder;
    DocumentBuilder m_ours = DocumentBuilder(m_ourFolder).mode(ColorMode::Grayscale, 1);
    DocumentBuilder m_theirs = DocumentBuilder(m_theirFolder).mode(ColorMode::Grayscale, 1);
    RecoveredDocument m_document;
    RunControl m_control;
};

TEST_F(ReferenceTest, LostRowsComeFromACopyWhoseOtherRowsAgree)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.loseRows(1, 2);
    m_ours.document().layers[0].state = State::Partial;
    addLayer(m_theirs, "a", 3, 10);
    EXPECT_EQ(run().size(), 1U);
    EXPECT_EQ(layer(0).state, State::Whole);
    EXPECT_EQ(rowsOf(layer(0).channels[0].plane)[5], 15);
    EXPECT_NE(layer(0).note, "");
}

TEST_F(ReferenceTest, ALayerThatHasChangedSinceIsLeftAlone)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.loseRows(1, 2);
    m_ours.document().layers[0].state = State::Partial;
    addLayer(m_theirs, "a", 3, 11);
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(layer(0).state, State::Partial);
    EXPECT_EQ(rowsOf(layer(0).channels[0].plane)[5], 0);
}

TEST_F(ReferenceTest, PixelsThatNothingCanCheckAreUnproved)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.loseRows(0, 3);
    m_ours.document().layers[0].state = State::Lost;
    addLayer(m_theirs, "a", 3, 10);
    EXPECT_EQ(run().size(), 1U);
    EXPECT_EQ(layer(0).state, State::Unproved);
}

TEST_F(ReferenceTest, AWholeLayerIsNeverTouched)
{
    addLayer(m_ours, "a", 3, 10);
    addLayer(m_theirs, "a", 3, 90);
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(rowsOf(layer(0).channels[0].plane)[0], 10);
}

TEST_F(ReferenceTest, TheSameIdAloneIsNoMatch)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.loseRows(0, 3);
    m_ours.document().layers[0].state = State::Lost;
    addLayer(m_theirs, "b", 3, 10);
    m_theirs.document().layers[0].bounds = {1, 1, 4, 5};
    EXPECT_TRUE(run().empty());
}

TEST_F(ReferenceTest, AnotherDocumentGivesNothing)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.document().statedLayers = 3;
    addLayer(m_theirs, "b", 4, 10);
    m_theirs.size(5, 3);
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(m_document.layers.size(), 1U);
}

TEST_F(ReferenceTest, ACopyFromBeforeTheCanvasWasCutGivesLayers)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.document().statedLayers = 2;
    addLayer(m_theirs, "a", 3, 10);
    addLayer(m_theirs, "b", 4, 10);
    m_theirs.size(5, 3);
    EXPECT_EQ(run().size(), 1U);
    EXPECT_EQ(m_document.layers.size(), 2U);
}

TEST_F(ReferenceTest, PixelsWithoutARecordGetTheirNameAndPlace)
{
    addLayer(m_ours, "Recovered 1", 0, 10);
    m_ours.document().layers[0].id.reset();
    m_ours.document().layers[0].hasRecord = false;
    addLayer(m_theirs, "other", 4, 50);
    addLayer(m_theirs, "sky", 3, 10);
    m_theirs.document().layers[1].bounds = {7, 8, 10, 12};
    m_theirs.document().layers[1].opacity = 99;
    run();
    ASSERT_EQ(m_document.layers.size(), 2U);
    EXPECT_EQ(layer(0).name, "other");
    EXPECT_EQ(layer(0).state, State::Unproved);
    EXPECT_EQ(layer(1).name, "sky");
    EXPECT_EQ(layer(1).bounds.left, 8);
    EXPECT_EQ(layer(1).opacity, 99);
    EXPECT_EQ(layer(1).channels[0].plane.bytes.source, 0);
}

TEST_F(ReferenceTest, StatedLayersThatAreGoneAreTakenInTheirOrderWithTheirGroup)
{
    const auto bracket = [](DocumentBuilder& builder, Group kind, std::uint32_t id) {
        builder.layer("g", {});
        builder.document().layers.back().group = kind;
        builder.document().layers.back().id = id;
    };
    addLayer(m_ours, "top", 9, 30);
    m_ours.document().statedLayers = 4;
    bracket(m_theirs, Group::End, 1);
    addLayer(m_theirs, "inside", 2, 20);
    bracket(m_theirs, Group::Open, 3);
    addLayer(m_theirs, "top", 9, 30);
    EXPECT_EQ(run().size(), 1U);
    ASSERT_EQ(m_document.layers.size(), 4U);
    EXPECT_EQ(layer(1).name, "inside");
    EXPECT_EQ(layer(1).parent, 2);
    EXPECT_EQ(layer(3).name, "top");
    EXPECT_EQ(layer(1).channels[0].plane.bytes.source, 1);
}

TEST_F(ReferenceTest, LayersThatTheDocumentNeverMissedAreNotAdded)
{
    addLayer(m_ours, "a", 3, 10);
    m_ours.document().statedLayers = 1;
    addLayer(m_theirs, "a", 3, 10);
    addLayer(m_theirs, "deleted since", 4, 70);
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(m_document.layers.size(), 1U);
}

TEST_F(ReferenceTest, ALostHeaderIsTaken)
{
    m_ours.document().facts = {};
    m_ours.document().facts.origin = HeaderOrigin::Rebuilt;
    EXPECT_EQ(run().size(), 1U);
    EXPECT_EQ(m_document.facts.width, 4);
    EXPECT_EQ(m_document.facts.mode, ColorMode::Grayscale);
    EXPECT_EQ(m_document.facts.origin, HeaderOrigin::Reference);
}

TEST_F(ReferenceTest, PartsThatAreLostAreTakenAndNamed)
{
    m_theirs.document().profile = m_theirs.store("profile");
    m_theirs.document().xmp = m_theirs.store("xmp");
    m_ours.document().xmp = m_ours.store("ours");
    const auto taken = run();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0], "The colour profile from \"source.bin\"");
    EXPECT_EQ(m_document.profile.source, 1);
    EXPECT_EQ(m_document.xmp.source, 0);
}

TEST_F(ReferenceTest, WithoutAHeaderNothingIsTakenFromACopyThatSharesNothing)
{
    loseHeader();
    addLayer(m_ours, "a", 3, 10);
    addLayer(m_theirs, "b", 4, 90);
    m_theirs.document().profile = m_theirs.store("profile");
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(m_document.profile.length, 0);
    EXPECT_EQ(m_document.facts.origin, HeaderOrigin::Rebuilt);
    EXPECT_TRUE(isSaid("Nothing was taken from \"source.bin\": nothing shows that it is a copy of "
                       "this document."));
}

TEST_F(ReferenceTest, WithoutAHeaderAnotherCanvasIsAnotherDocuments)
{
    loseHeader();
    m_ours.composite({{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}});
    m_theirs.size(5, 3).document().xmp = m_theirs.store("xmp");
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(m_document.xmp.length, 0);
}

TEST_F(ReferenceTest, ALayerOfTheSameNameAndSizeShowsTheSameDocument)
{
    loseHeader();
    addLayer(m_ours, "a", 3, 10);
    addLayer(m_theirs, "a", 3, 90);
    m_theirs.size(5, 3).document().xmp = m_theirs.store("xmp");
    EXPECT_EQ(run().size(), 1U);
    EXPECT_EQ(m_document.xmp.source, 1);
}

TEST_F(ReferenceTest, RowsOfThePictureShowTheSameDocument)
{
    const Bytes picture{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    loseHeader();
    addLayer(m_ours, "a", 3, 10);
    m_ours.composite({picture});
    addLayer(m_theirs, "b", 4, 90);
    m_theirs.composite({picture}).document().xmp = m_theirs.store("xmp");
    EXPECT_EQ(run().size(), 2U);
    EXPECT_EQ(m_document.facts.origin, HeaderOrigin::Reference);
    EXPECT_EQ(m_document.xmp.source, 1);
}

TEST_F(ReferenceTest, WhatIsMissingIsSaidOfTheResult)
{
    loseHeader();
    addLayer(m_ours, "a", 3, 10);
    m_ours.loseRows(0, 3);
    m_ours.document().layers[0].state = State::Lost;
    m_ours.document().missing = {"Something else."};
    addLayer(m_theirs, "a", 3, 10);
    EXPECT_EQ(run().size(), 2U);
    EXPECT_EQ(m_document.recordsWithoutPlanes, 0);
    EXPECT_EQ(m_document.missing,
              (std::vector<std::string>{"Something else.", "The merged picture is lost."}));
}

TEST_F(ReferenceTest, AGroupThatGaveAllItsPixelsGoes)
{
    const auto bracket = [this](Group kind) {
        m_ours.layer("Found without a record", {});
        m_ours.document().layers.back().group = kind;
        m_ours.document().layers.back().hasRecord = false;
    };
    bracket(Group::End);
    addLayer(m_ours, "Recovered 1", 0, 10);
    m_ours.channel(1, Bytes(12)).loseRows(0, 3); // A colour that was filled in.
    m_ours.document().layers.back().id.reset();
    m_ours.document().layers.back().hasRecord = false;
    bracket(Group::Open);
    m_ours.document().planesWithoutRecord = 1;
    addLayer(m_theirs, "sky", 3, 10);
    run();
    ASSERT_EQ(m_document.layers.size(), 1U);
    EXPECT_EQ(layer(0).name, "sky");
    EXPECT_EQ(m_document.planesWithoutRecord, 0);
    EXPECT_FALSE(isSaid("1 plane was found without a record."));
}

TEST_F(ReferenceTest, WhatTheDocumentNeverHadIsNotTaken)
{
    m_theirs.document().profile = m_theirs.store("profile");
    m_ours.document().resourcesAreWhole = true;
    EXPECT_TRUE(run().empty());
    EXPECT_EQ(m_document.profile.length, 0);
}

TEST_F(ReferenceTest, AnOldPictureDoesNotStandForNewLayers)
{
    addLayer(m_ours, "a", 3, 10);
    m_theirs.composite({Bytes(12, 5)});
    m_theirs.document().composite.rowsRecovered = 3;
    run();
    EXPECT_EQ(m_document.composite.state, State::Lost);
}

TEST_F(ReferenceTest, RowsOfOneValueProveNothing)
{
    m_ours.layer("a", {0, 0, 3, 4}).channel(0, Bytes(12, 7)).loseRows(1, 2);
    m_ours.document().layers[0].state = State::Partial;
    m_theirs.layer("a", {0, 0, 3, 4}).channel(0, Bytes(12, 7));
    run();
    EXPECT_EQ(layer(0).state, State::Unproved);
}

} // namespace
} // namespace talvek::recovery::output
