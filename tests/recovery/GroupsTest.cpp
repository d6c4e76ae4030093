#include "recovery/LayerBuilder.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

Layer layerOf(Group group, const char* name)
{
    Layer layer;
    layer.group = group;
    layer.name = name;
    return layer;
}

TEST(Groups, EachLayerKnowsTheGroupAroundIt)
{
    PsdBuilder builder;
    builder.size(20, 20).beginGroup().layer("inside").endGroup("group").layer("outside");
    const Found found(builder.build());
    ASSERT_EQ(found.document().layers.size(), 4U);
    EXPECT_EQ(found.layer(1).parent, 2);
    EXPECT_EQ(found.layer(2).parent, -1);
    EXPECT_EQ(found.layer(3).parent, -1);
}

TEST(Groups, AMissingEndIsAddedBelow)
{
    std::vector<Layer> layers = {layerOf(Group::None, "inside"), layerOf(Group::Open, "group")};
    balanceGroups(layers);
    ASSERT_EQ(layers.size(), 3U);
    EXPECT_EQ(layers[0].group, Group::End);
    EXPECT_TRUE(layers[0].inferred);
    EXPECT_EQ(layers[1].parent, 2);
}

TEST(Groups, AMissingBeginningIsAddedAbove)
{
    std::vector<Layer> layers = {layerOf(Group::End, "</>"), layerOf(Group::None, "inside")};
    balanceGroups(layers);
    ASSERT_EQ(layers.size(), 3U);
    EXPECT_EQ(layers[2].group, Group::Open);
    EXPECT_EQ(layers[1].parent, 2);
}

TEST(Groups, BracketsThatWereAddedHaveAllColoursOfTheDocument)
{
    PsdBuilder builder;
    builder.size(20, 20).beginGroup().layer("inside").endGroup("group");
    Document document = builder.build();
    const auto& bracket = document.records[0];
    document.zeroFill(bracket.start, bracket.end - bracket.start);
    const Found found(document);
    ASSERT_TRUE(found.layer(0).inferred);
    EXPECT_EQ(found.layer(0).channels.size(), 3U);
}

} // namespace talvek::test
