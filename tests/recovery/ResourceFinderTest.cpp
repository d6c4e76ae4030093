#include "recovery/ResourceFinder.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

TEST(ResourceFinder, MoreResourcesThanADocumentHasAreLeftAlone)
{
    PsdBuilder builder = threeLayers();
    for (std::size_t i = 0; i < recovery::ResourceFinder::kMost + 10; ++i) {
        builder.resource(0x0FA0, {});
    }
    const Found found(builder.build());
    EXPECT_EQ(found.document().resources.size(), recovery::ResourceFinder::kMost);
    EXPECT_EQ(found.names(), "sky,sea,sand");
    ASSERT_FALSE(found.document().missing.empty());
    EXPECT_EQ(found.document().missing[0].find("More image resources"), 0U);
}

} // namespace talvek::test
