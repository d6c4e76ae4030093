#include "platform/PathString.h"

#include <gtest/gtest.h>

namespace talvek::test {

TEST(PathString, TheLastComponentIsWhatStandsBehindTheLastSlash)
{
    EXPECT_EQ(lastPathComponent("/a/b.psd"), "b.psd");
    EXPECT_EQ(lastPathComponent("b.psd"), "b.psd");
    EXPECT_EQ(lastPathComponent("/a/b/"), "b");
    EXPECT_EQ(lastPathComponent("/a/b///"), "b");
    EXPECT_EQ(lastPathComponent("/"), "/");
    EXPECT_EQ(lastPathComponent(""), "");
}

TEST(PathString, ThePathLessItsLastComponent)
{
    EXPECT_EQ(deletingLastPathComponent("/a/b.psd"), "/a");
    EXPECT_EQ(deletingLastPathComponent("/a"), "/");
    EXPECT_EQ(deletingLastPathComponent("a"), "");
    EXPECT_EQ(deletingLastPathComponent("/a//b/"), "/a");
    EXPECT_EQ(deletingLastPathComponent("/"), "/");
}

TEST(PathString, TheLastExtensionAloneIsTakenOff)
{
    EXPECT_EQ(deletingPathExtension("a.psd_repaired.psd"), "a.psd_repaired");
    EXPECT_EQ(deletingPathExtension("layer0_image .psd"), "layer0_image ");
    EXPECT_EQ(deletingPathExtension("none"), "none");
    EXPECT_EQ(deletingPathExtension(".hidden"), ".hidden");
    EXPECT_EQ(deletingPathExtension("/a.b/none"), "/a.b/none");
}

TEST(PathString, JoiningPutsOneSlashBetween)
{
    EXPECT_EQ(appendingPathComponent("/a", "b"), "/a/b");
    EXPECT_EQ(appendingPathComponent("/a/", "/b"), "/a/b");
    EXPECT_EQ(appendingPathComponent("/", "b"), "/b");
    EXPECT_EQ(appendingPathComponent("", "b"), "b");
}

TEST(PathString, ANameIsCutToBytesBetweenCharacters)
{
    EXPECT_EQ(cutToBytes("poster", 6), "poster");
    EXPECT_EQ(cutToBytes("poster", 4), "post");
    EXPECT_EQ(cutToBytes("b\u00FCro", 2), "b");
    EXPECT_EQ(cutToBytes("b\u00FCro", 3), "b\u00FC");
    for (const std::size_t most : {3U, 4U, 5U}) {
        EXPECT_EQ(cutToBytes("ab\U0001F3A8", most), "ab");
    }
    EXPECT_EQ(cutToBytes("ab\U0001F3A8", 6), "ab\U0001F3A8");
    EXPECT_EQ(cutToBytes(std::string(9, '\x80'), 5), std::string(5, '\x80'));
    EXPECT_EQ(cutToBytes("poster", 0), "");
}

} // namespace talvek::test
