#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace talvek::test {
namespace {

TEST(CommandLine, SalvagesIntoTheUsualFolder)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd"});
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"Repaired PSD Files", "a.psd"}));
    EXPECT_EQ(scratch.names("Repaired PSD Files"),
              (std::vector<std::string>{"a.psd_repaired.psd", "a.psd_thumbnail.jpg",
                                        "layer0_image.psd", "mask0_image.psd"}));
}

TEST(CommandLine, ListsWhatItSalvaged)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "-o", "out"});
    EXPECT_EQ(ending.output, "No.  Name               Size  Path\n"
                             "  1  a.psd_repaired   <1 KiB  out/a.psd_repaired.psd\n"
                             "  2  a.psd_thumbnail  <1 KiB  out/a.psd_thumbnail.jpg\n"
                             "  3  mask0_image      <1 KiB  out/mask0_image.psd\n"
                             "  4  layer0_image     <1 KiB  out/layer0_image.psd\n");
    EXPECT_EQ(ending.error, "Salvaged 4 files (300 bytes) from 'a.psd' into 'out'.\n");
}

TEST(CommandLine, LeavesTheDocumentAsItIs)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    EXPECT_EQ(repair(scratch.path(), {"a.psd"}).status, 0);
    EXPECT_EQ(contentsOf(scratch.at("a.psd")), smallDocument());
}

TEST(CommandLine, FollowsALinkToADocument)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    ASSERT_EQ(::symlink("a.psd", scratch.at("b.psd").c_str()), 0);
    EXPECT_EQ(repair(scratch.path(), {"b.psd", "-o", "out"}).status, 0);
    EXPECT_TRUE(scratch.has("out/b.psd_repaired.psd"));
}

TEST(CommandLine, TakesANameThatIsNoUtf8)
{
    const Scratch scratch;
    scratch.write("\xFF\xFE.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"\xFF\xFE.psd", "-o", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.output.find("out/\\xFF\\xFE.psd_repaired.psd"), std::string::npos);
    EXPECT_TRUE(scratch.has("out/\xFF\xFE.psd_repaired.psd"));
}

TEST(CommandLine, CheckAcceptsAndWritesNothing)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"--check", "a.psd"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "'a.psd': the header is acceptable.\n");
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.psd"});
}

TEST(CommandLine, CheckOfSeveralSaysWhichIsBad)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.write("b.psd", "");
    const Ending ending = repair(scratch.path(), {"--check", "b.psd", "a.psd"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.error.find("'b.psd': the file is empty"), std::string::npos);
    EXPECT_NE(ending.error.find("'a.psd': the header is acceptable"), std::string::npos);
}

TEST(CommandLine, QuietSaysNothingOfSuccess)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"-q", "a.psd"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output + ending.error, "");
    EXPECT_TRUE(scratch.has("Repaired PSD Files/a.psd_repaired.psd"));
}

TEST(CommandLine, QuietStillSaysWhatFailed)
{
    const Scratch scratch;
    EXPECT_NE(repair(scratch.path(), {"-q", "a.psd"}).error.find("no such file"),
              std::string::npos);
}

TEST(CommandLine, VerboseEchoesTheLog)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"-v", "a.psd"});
    const std::string line = "log: fileSize=" + std::to_string(smallDocument().size()) + "\n";
    EXPECT_NE(ending.error.find(line), std::string::npos) << ending.error;
}

TEST(CommandLine, WithoutVerboseTheLogIsNotEchoed)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    EXPECT_EQ(repair(scratch.path(), {"a.psd"}).error.find("log: "), std::string::npos);
}

TEST(CommandLine, HelpNamesEveryOption)
{
    const Ending ending = repair(Scratch().path(), {"--help"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    for (const char* option :
         {"-o, --output DIR", "--deep", "--reference FILE", "--force", "--json", "--check",
          "--keep-free SIZE", "-q, --quiet", "-v, --verbose", "--version", "-h, --help"}) {
        EXPECT_NE(ending.output.find(option), std::string::npos) << option;
    }
    EXPECT_EQ(repair(Scratch().path(), {"-h"}).output, ending.output);
}

TEST(CommandLine, Version)
{
    const Ending ending = repair(Scratch().path(), {"--version"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, std::string("talvek-psd-repair ") + TALVEK_VERSION + "\n");
}

TEST(CommandLine, WrongUsageIsStatus2)
{
    const std::vector<std::vector<std::string>> wrong = {
        {}, {"--bogus", "a.psd"}, {"-o"}, {"a.psd", "--keep-free", "12Q"}, {"--output=", "a.psd"}};
    for (const auto& arguments : wrong) {
        const Scratch scratch;
        const Ending ending = repair(scratch.path(), arguments);
        EXPECT_EQ(ending.status, 2);
        EXPECT_NE(ending.error.find("Try 'talvek-psd-repair --help'."), std::string::npos);
        EXPECT_TRUE(scratch.names().empty());
    }
}

TEST(CommandLine, ReaderThatGoesAwayDoesNotEndTheRepair)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting = repairSetting(scratch.path(),
                                 {"-c", std::string("'") + TALVEK_REPAIR_PROGRAM +
                                            "' --json a.psd -o out | true; exit ${PIPESTATUS[0]}"});
    setting.program = "/bin/bash";
    EXPECT_EQ(run(setting).status, 0);
    EXPECT_TRUE(scratch.has("out/a.psd_repaired.psd"));
}

TEST(CommandLine, ListingThatCannotBeWrittenIsStatus3)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting = repairSetting(
        scratch.path(), {"-c", std::string("'") + TALVEK_REPAIR_PROGRAM + "' a.psd >/dev/full"});
    setting.program = "/bin/sh";
    if (::access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "the system has no /dev/full";
    }
    const Ending ending = run(setting);
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.error.find("Cannot write standard output"), std::string::npos);
    EXPECT_TRUE(scratch.has("Repaired PSD Files/a.psd_repaired.psd"));
}

} // namespace
} // namespace talvek::test
