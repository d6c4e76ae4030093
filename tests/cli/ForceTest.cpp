#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace talvek::test {
namespace {

/// A folder with a document beside a folder "old" that holds a file of the user's.
class Force : public ::testing::Test
{
protected:
    Force()
    {
        scratch.write("a.psd", smallDocument());
        scratch.makeFolder("old/inner");
        scratch.write("old/inner/mine", "precious");
    }

    /// Must be refused with status 3 and these words, with nothing changed.
    void expectRefusal(const Process::Setting& setting, const std::string& words) const
    {
        const auto before = scratch.names();
        const Ending ending = run(setting);
        EXPECT_EQ(ending.status, 3);
        EXPECT_NE(ending.error.find(words), std::string::npos) << ending.error;
        EXPECT_EQ(contentsOf(scratch.at("old/inner/mine")), "precious");
        EXPECT_EQ(scratch.names(), before);
    }
    void expectRefusal(const std::vector<std::string>& arguments, const std::string& words) const
    {
        expectRefusal(repairSetting(scratch.path(), arguments), words);
    }

    Scratch scratch;
};

TEST_F(Force, ReplacesTheFolder)
{
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "--force", "-o", "old"}).status, 0);
    EXPECT_FALSE(scratch.has("old/inner"));
    EXPECT_TRUE(scratch.has("old/a.psd_repaired.psd"));
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "old"}));
}

TEST_F(Force, CreatesWhereNothingStands)
{
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "--force", "-o", "new"}).status, 0);
    EXPECT_TRUE(scratch.has("new/a.psd_repaired.psd"));
}

TEST_F(Force, LeavesTheOldFolderWhenNothingIsFound)
{
    scratch.write("empty.psd", emptyDocument());
    EXPECT_EQ(repair(scratch.path(), {"empty.psd", "--force", "-o", "old"}).status, 1);
    EXPECT_EQ(contentsOf(scratch.at("old/inner/mine")), "precious");
}

TEST_F(Force, LeavesTheOldFolderWhenThereIsNoRoom)
{
    expectRefusal({"a.psd", "--force", "-o", "old", "--keep-free", "1000000000G"}, "room");
}

TEST_F(Force, NeverAFile)
{
    scratch.write("file", "precious");
    expectRefusal({"a.psd", "--force", "-o", "file"}, "not a folder itself, but a file or a link");
    EXPECT_EQ(contentsOf(scratch.at("file")), "precious");
}

TEST_F(Force, NeverALink)
{
    std::filesystem::create_symlink("old", scratch.at("link"));
    expectRefusal({"a.psd", "--force", "-o", "link"}, "not a folder itself, but a file or a link");
    expectRefusal({"a.psd", "--force", "-o", "link/"}, "not a folder itself, but a file or a link");
}

TEST_F(Force, NeverTheRootFolder)
{
    expectRefusal({"a.psd", "--force", "-o", "/"}, "Cannot replace '/': it is the root folder.");
    expectRefusal({"a.psd", "--force", "-o", "/tmp/.."}, "it is the root folder.");
}

TEST_F(Force, NeverTheHomeFolder)
{
    auto setting = repairSetting(scratch.path(), {"a.psd", "--force", "-o", "old"});
    setting.environment["HOME"] = scratch.at("old");
    expectRefusal(setting, "it is your home folder.");
    setting.environment["HOME"] = scratch.at("old/inner");
    expectRefusal(setting, "your home folder lies inside it.");
}

TEST_F(Force, NeverTheCurrentFolder)
{
    auto setting = repairSetting(scratch.at("old"), {"../a.psd", "--force", "-o", "../old"});
    expectRefusal(setting, "it is the current folder.");
    setting.arguments.back() = ".";
    expectRefusal(setting, "it is the current folder.");
    setting.folder = scratch.at("old/inner");
    setting.arguments = {"../../a.psd", "--force", "-o", "../../old"};
    expectRefusal(setting, "the current folder lies inside it.");
}

TEST_F(Force, NeverAnAncestorOfADocument)
{
    std::filesystem::copy(scratch.at("a.psd"), scratch.at("old/inner/b.psd"));
    expectRefusal({"old/inner/b.psd", "--force", "-o", "old"},
                  "the document 'old/inner/b.psd' lies inside it.");
    std::filesystem::create_symlink("old/inner/b.psd", scratch.at("link.psd"));
    expectRefusal({"link.psd", "--force", "-o", "old"}, "the document 'link.psd' lies inside it.");
}

TEST_F(Force, NeverAMountPointOrAFolderThatHoldsOne)
{
    const std::string inner = scratch.at("old/inner");
    if (!mountVolume(inner, "1M")) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    scratch.write("old/inner/mine", "precious");
    expectRefusal({"a.psd", "--force", "-o", "old/inner"}, "it is a mount point, or holds one.");
    expectRefusal({"a.psd", "--force", "-o", "old"}, "it is a mount point, or holds one.");
    EXPECT_TRUE(unmountVolume(inner));
}

TEST_F(Force, DoesNotFollowLinksInTheOldFolder)
{
    scratch.makeFolder("elsewhere");
    scratch.write("elsewhere/mine", "precious");
    std::filesystem::create_directory_symlink(scratch.at("elsewhere"), scratch.at("old/link"));
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "--force", "-o", "old"}).status, 0);
    EXPECT_EQ(contentsOf(scratch.at("elsewhere/mine")), "precious");
}

} // namespace
} // namespace talvek::test
