#include "recovery/HeaderCheck.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::ColorMode;
using recovery::State;

/// The fields that `threeLayers` has, whatever the damaged header says.
void expectFactsOfThreeLayers(const Document& damaged, std::int64_t field)
{
    const Found found(damaged);
    const recovery::DocumentFacts& facts = found.document().facts;
    EXPECT_EQ(facts.width, 40) << field;
    EXPECT_EQ(facts.height, 30) << field;
    EXPECT_EQ(facts.channels, 3) << field;
    EXPECT_EQ(facts.depth, 8) << field;
    EXPECT_EQ(facts.mode, ColorMode::Rgb) << field;
    EXPECT_EQ(found.layer(1).state, State::Whole) << field;
    EXPECT_EQ(found.document().composite.state, State::Whole) << field;
}

TEST(HeaderCheck, TheLayersPlanesProveTheDepth)
{
    for (const int depth : {1, 16, 32}) {
        Document document = threeLayers().build();
        expectFactsOfThreeLayers(document.overwrite(22, {0, static_cast<std::uint8_t>(depth)}),
                                 depth);
    }
}

TEST(HeaderCheck, TheLayersChannelsProveTheMode)
{
    for (const int mode : {0, 1, 2, 4, 8}) {
        Document document = threeLayers().build();
        expectFactsOfThreeLayers(document.overwrite(24, {0, static_cast<std::uint8_t>(mode)}),
                                 mode);
    }
}

TEST(HeaderCheck, AModeHasAsManyChannelsAsColoursAtLeast)
{
    for (const int channels : {1, 2}) {
        Document document = threeLayers().build();
        expectFactsOfThreeLayers(document.overwrite(12, {0, static_cast<std::uint8_t>(channels)}),
                                 channels);
    }
}

TEST(HeaderCheck, AHeaderThatAgreesIsBelieved)
{
    const Found found(threeLayers().build());
    EXPECT_EQ(found.document().facts.origin, recovery::HeaderOrigin::Header);
    const Found alpha(threeLayers().channelCount(4).build());
    EXPECT_EQ(alpha.document().facts.origin, recovery::HeaderOrigin::Header);
    EXPECT_EQ(alpha.document().facts.channels, 4);
}

} // namespace talvek::test
