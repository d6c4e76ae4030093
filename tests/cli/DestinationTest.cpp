#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace talvek::test {
namespace {

/// Repairs "a.psd" into the folder; it must fail with status 3 and these words.
void expectNotWritten(const Scratch& scratch, const std::vector<std::string>& options,
                      const std::string& words)
{
    scratch.write("a.psd", smallDocument());
    const auto before = scratch.names();
    std::vector<std::string> arguments = {"a.psd"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ending ending = repair(scratch.path(), arguments);
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.output, "");
    EXPECT_NE(ending.error.find(words), std::string::npos) << ending.error;
    EXPECT_EQ(scratch.names(), before);
}

TEST(Destination, FolderThatExistsIsLeftAsItIs)
{
    const Scratch scratch;
    scratch.makeFolder("Repaired PSD Files");
    scratch.write("Repaired PSD Files/mine", "precious");
    expectNotWritten(scratch, {},
                     "Cannot create 'Repaired PSD Files': the folder exists. Choose another with "
                     "--output, or replace it with --force.");
    EXPECT_EQ(scratch.names("Repaired PSD Files"), std::vector<std::string>{"mine"});
}

TEST(Destination, FileThatExistsIsLeftAsItIs)
{
    const Scratch scratch;
    scratch.write("out", "precious");
    expectNotWritten(scratch, {"-o", "out"}, "something else of that name exists");
    EXPECT_EQ(contentsOf(scratch.at("out")), "precious");
}

TEST(Destination, LinkThatLeadsNowhereCountsAsThere)
{
    const Scratch scratch;
    std::filesystem::create_symlink("nowhere", scratch.at("out"));
    expectNotWritten(scratch, {"-o", "out"}, "something else of that name exists");
}

TEST(Destination, ParentThatDoesNotExist)
{
    expectNotWritten(Scratch(), {"-o", "no/out"}, "the folder 'no' does not exist");
}

TEST(Destination, ParentThatIsAFile)
{
    const Scratch scratch;
    scratch.write("file", "");
    expectNotWritten(scratch, {"-o", "file/out"}, "'file' is not a folder");
}

TEST(Destination, ParentThatIsNotWritable)
{
    if (::getuid() != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    ::chmod(scratch.makeFolder("locked").c_str(), 0555);
    std::filesystem::copy(TALVEK_REPAIR_PROGRAM, scratch.at("program"));
    auto setting = repairSetting(scratch.path(), {"a.psd", "-o", "locked/out"});
    setting.program = scratch.at("program");
    setting.asNobody = true;
    const Ending ending = run(setting);
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.error.find("you have no permission to write in 'locked'"), std::string::npos);
    EXPECT_TRUE(scratch.names("locked").empty());
}

TEST(Destination, FullVolumeIsAnswered)
{
    // More than any volume has: the room that is left comes to nothing.
    expectNotWritten(Scratch(), {"--keep-free", "1000000000G"},
                     "there is not enough room on its volume");
    expectNotWritten(Scratch(), {"--keep-free", "1000000000G"}, "with --keep-free");
}

TEST(Destination, VolumeThatFillsUpKeepsNothing)
{
    const Scratch scratch;
    const std::string volume = scratch.makeFolder("volume");
    if (!mountVolume(volume, "64k")) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    scratch.write("a.psd", flatDocument(std::string(200000, 'c')));
    for (const char* keptFree : {"--keep-free=0", "--keep-free=1K"}) {
        const Ending ending = repair(scratch.path(), {"a.psd", "-o", "volume/out", keptFree});
        EXPECT_EQ(ending.status, 3);
        EXPECT_NE(ending.error.find("there is not enough room on its volume"), std::string::npos);
        EXPECT_TRUE(scratch.names("volume").empty());
    }
    EXPECT_TRUE(unmountVolume(volume));
}

TEST(Destination, ZeroKeepsNothingFree)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "--keep-free=0"}).status, 0);
}

TEST(Destination, FolderIsAsOpenAsTheUserLetsNewFoldersBe)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting =
        repairSetting(scratch.path(), {"-c", std::string("umask 027; exec '") +
                                                 TALVEK_REPAIR_PROGRAM + "' a.psd -o out"});
    setting.program = "/bin/sh";
    ASSERT_EQ(run(setting).status, 0);
    struct stat status = {};
    ASSERT_EQ(::stat(scratch.at("out").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0750U);
}

TEST(Destination, SlashesAtTheEndDoNotMatter)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "-o", "out//"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.output.find("  out/a.psd_repaired.psd\n"), std::string::npos);
}

TEST(Destination, NameAsLongAsTheVolumeTakes)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const std::string name(255, 'n');
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "-o", name}).status, 0);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", name}));
}

} // namespace
} // namespace talvek::test
