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

} // namespace talvek::test
