#include "recovery/output/ByteMap.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

void expectWhole(const std::vector<Region>& regions, std::int64_t size)
{
    std::int64_t at = 0;
    for (const Region& region : regions) {
        ASSERT_EQ(region.bytes.offset, at);
        ASSERT_GT(region.bytes.length, 0);
        at = region.bytes.end();
    }
    EXPECT_EQ(at, size);
}

TEST(ByteMap, PartsAndWhatNothingClaimsFillTheDocument)
{
    RecoveredDocument document;
    document.size = 10000;
    document.facts.header = {0, 26, 0};
    document.composite.bytes = {5000, 9000, 0};
    document.composite.state = State::Partial;
    const auto regions = bytesByMeaning(document);
    expectWhole(regions, 10000);
    ASSERT_EQ(regions.size(), 3U);
    EXPECT_EQ(regions[1].meaning, Meaning::Unknown);
    EXPECT_EQ(bytesOfEachMeaning(document)[5], 5000);
}

TEST(ByteMap, AnEmptyDocumentHasNoMap)
{
    EXPECT_EQ(drawByteMap({}), "");
}

TEST(ByteMap, DamageIsDrawnOverTheMeaning)
{
    RecoveredDocument document;
    document.size = 100000;
    document.composite.bytes = {50000, 50000, 0};
    document.composite.state = State::Partial;
    const std::string map = drawByteMap(document);
    EXPECT_NE(map.find("class=\"m7\""), std::string::npos);
    EXPECT_NE(map.find("class=\"m5\""), std::string::npos);
    EXPECT_NE(map.find("class=\"bad\""), std::string::npos);
}

TEST(ByteMap, AnyRegionsGiveAMapOfBoundedSize)
{
    Chance chance(3);
    for (int round = 0; round < 200; ++round) {
        RecoveredDocument document;
        document.size = std::int64_t{chance.below(2000)} << (chance.oneIn(2) ? 0U : 30U);
        for (int i = chance.below(3000); i > 0; --i) {
            const ByteRange bytes{chance.below(100000), chance.below(5000), chance.below(2)};
            document.regions.push_back({bytes, static_cast<Meaning>(chance.below(8)),
                                        static_cast<State>(chance.below(4))});
        }
        expectWhole(bytesByMeaning(document), document.size);
        EXPECT_LT(drawByteMap(document).size(), 200000U);
    }
}

} // namespace
} // namespace talvek::recovery::output
