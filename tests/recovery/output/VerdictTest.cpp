#include "recovery/output/Verdict.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

RecoveredDocument withLayers(std::initializer_list<State> states, State composite = State::Whole)
{
    RecoveredDocument document;
    document.size = 1000;
    for (const State state : states) {
        Layer layer;
        layer.state = state;
        document.layers.push_back(layer);
    }
    document.composite.state = composite;
    return document;
}

TEST(Verdict, AnEmptyDocumentHasNothingLeft)
{
    RecoveredDocument document;
    document.nothingLeft = true;
    EXPECT_EQ(verdict(document), "It is empty: nothing is left in this file.");
    document.size = 7;
    EXPECT_EQ(verdict(document), "Every byte of it is the same: nothing is left in this file.");
    EXPECT_EQ(outcome(document), Outcome::Nothing);
}

TEST(Verdict, NothingFoundIsSaidSo)
{
    const auto document = withLayers({}, State::Lost);
    EXPECT_EQ(verdict(document), "Neither layers nor a picture could be found in this file.");
    EXPECT_EQ(outcome(document), Outcome::Nothing);
}

TEST(Verdict, AllWhole)
{
    const auto document = withLayers({State::Whole, State::Whole});
    EXPECT_EQ(verdict(document), "All 2 layers are back, and the merged picture is whole.");
    EXPECT_EQ(outcome(document), Outcome::Complete);
}

TEST(Verdict, UnprovedIsNotCalledWhole)
{
    const auto document = withLayers({State::Whole, State::Unproved}, State::Unproved);
    EXPECT_EQ(verdict(document), "All 2 layers are back, though nothing in the file can prove the "
                                 "pixels of 1 of them, and the merged picture is there.");
    EXPECT_EQ(outcome(document), Outcome::Complete);
}

TEST(Verdict, LossesAreCounted)
{
    const auto document = withLayers({State::Whole, State::Partial, State::Lost}, State::Lost);
    EXPECT_EQ(verdict(document),
              "1 of 3 layers is back complete, 1 in part, and of 1 only name and "
              "place are left; the merged picture is lost.");
    EXPECT_EQ(outcome(document), Outcome::Damaged);
}

TEST(Verdict, LayersWithoutARecordLackNameAndPlace)
{
    auto document = withLayers({State::Whole, State::Partial, State::Partial});
    document.layers[2].hasRecord = false;
    EXPECT_EQ(verdict(document), "1 of 3 layers is back complete, 1 in part, 1 without name and "
                                 "place, and the merged picture is whole.");
    EXPECT_EQ(outcome(document), Outcome::Damaged);
    document.layers.erase(document.layers.begin(), document.layers.begin() + 2);
    EXPECT_EQ(verdict(document), "The one layer that was found is back without name and place, "
                                 "and the merged picture is whole.");
}

TEST(Verdict, LayersWithoutATraceAreMissed)
{
    auto document = withLayers({State::Whole});
    document.statedLayers = 3;
    EXPECT_EQ(verdict(document), "The one layer is back; up to 2 more layers or groups are gone "
                                 "without a trace, and the merged picture is whole.");
    EXPECT_EQ(outcome(document), Outcome::Damaged);
    document.statedLayers = 2;
    EXPECT_EQ(verdict(document), "The one layer is back; 1 more layer or group is gone without a "
                                 "trace, and the merged picture is whole.");
}

TEST(Verdict, GroupBracketsAreNoLayers)
{
    auto document = withLayers({State::Whole, State::Whole, State::Whole});
    document.layers[0].group = Group::End;
    document.layers[2].group = Group::Open;
    document.statedLayers = 3;
    EXPECT_EQ(verdict(document), "The one layer is back, and the merged picture is whole.");
}

TEST(Verdict, ADamagedEmbeddedFileIsDamage)
{
    auto document = withLayers({State::Whole, State::Whole});
    document.embedded.resize(3);
    document.embedded[1].state = State::Unproved;
    EXPECT_EQ(outcome(document), Outcome::Complete);
    document.embedded[2].state = State::Partial;
    EXPECT_EQ(outcome(document), Outcome::Damaged);
    EXPECT_EQ(verdict(document), "All 2 layers are back, and the merged picture is whole; 1 "
                                 "embedded file is damaged.");
}

TEST(Verdict, AFlatDocumentIsAPicture)
{
    EXPECT_EQ(verdict(withLayers({})), "The picture is back whole; the document has no layers.");
}

TEST(Verdict, LayersThatMayBeLostAreNotDenied)
{
    auto document = withLayers({});
    document.layersMayBeLost = true;
    EXPECT_EQ(verdict(document), "The picture is back whole; no layers were found.");
    EXPECT_EQ(outcome(document), Outcome::Damaged);
}

TEST(Verdict, AFlattenedPictureIsNotTheStoredOne)
{
    auto document = withLayers({State::Whole});
    document.composite.flattened = true;
    EXPECT_EQ(verdict(document), "The one layer is back; the merged picture was lost and has been "
                                 "made anew from the layers.");
    EXPECT_EQ(outcome(document), Outcome::Damaged);
}

} // namespace
} // namespace talvek::recovery::output
