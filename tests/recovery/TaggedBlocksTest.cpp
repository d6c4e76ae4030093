#include "recovery/TaggedBlocks.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

TEST(TaggedBlock, ItsPaddingBelongsToItWhenItIsZero)
{
    Bytes bytes = bytesOf("8BIMluni");
    appendU32(bytes, 3);
    append(bytes, Bytes{'a', 'b', 'c', 0});
    append(bytes, "8BIM");
    Source source(bytes);
    const auto block = readTaggedBlock(source.bytes(), 0, source.bytes().size(), false, 2);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->key, recovery::key("luni"));
    EXPECT_EQ(block->data, (ByteRange{12, 3, 0}));
    EXPECT_EQ(block->whole, (ByteRange{0, 16, 0}));
}

TEST(TaggedBlock, OneThatReachesBehindItsLimitIsNone)
{
    Bytes bytes = bytesOf("8BIMluni");
    appendU32(bytes, 5);
    append(bytes, "abcd");
    Source source(bytes);
    EXPECT_FALSE(readTaggedBlock(source.bytes(), 0, 16, false, 2));
    EXPECT_FALSE(readTaggedBlock(source.bytes(), 1, 16, false, 2));
}

TEST(TaggedBlock, InALargeDocumentTheWidthOfTheLengthIsWhatLeadsToAnotherBlock)
{
    Bytes wide = bytesOf("8BIMabcd"); // not one of the keys that are known to be wide
    appendU32(wide, 0);
    appendU32(wide, 4);
    append(wide, "data8BIMluni....");
    Source source(wide);
    const auto block = readTaggedBlock(source.bytes(), 0, source.bytes().size(), true, 4);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->data, (ByteRange{16, 4, 0}));
}

} // namespace talvek::test
