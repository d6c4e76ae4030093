#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>

namespace talvek::test {
namespace {

/// Scanning as many bytes takes far longer than sending a signal.
constexpr long long kHugeBytes = 64LL << 30U;

/// Notifications before the first scan of the whole document.
constexpr int kLinesBeforeScan = 2;

class Interrupting : public ::testing::TestWithParam<int>
{
protected:
    Interrupting() { scratch.writeSparse("huge.psd", emptyDocument(), kHugeBytes); }

    Scratch scratch;
};

TEST_P(Interrupting, EndsAtOnceAndLeavesNothing)
{
    Process process(repairSetting(scratch.path(), {"huge.psd", "--json"}));
    ASSERT_TRUE(process.waitForOutputLines(kLinesBeforeScan));
    const auto sent = std::chrono::steady_clock::now();
    process.send(GetParam());
    const Ending ending = process.wait();
    EXPECT_EQ(ending.status, 130);
    EXPECT_EQ(ending.error, "talvek-psd-repair: Interrupted: nothing of 'huge.psd' was kept.\n");
    EXPECT_EQ(ending.output.find("complete"), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - sent, std::chrono::seconds(10));
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"huge.psd"});
}

TEST_P(Interrupting, LeavesTheOldFolder)
{
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    Process process(repairSetting(scratch.path(), {"huge.psd", "--json", "--force", "-o", "out"}));
    ASSERT_TRUE(process.waitForOutputLines(kLinesBeforeScan));
    process.send(GetParam());
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(contentsOf(scratch.at("out/mine")), "precious");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"huge.psd", "out"}));
}

INSTANTIATE_TEST_SUITE_P(BySignal, Interrupting, ::testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& instance) {
                             return "Signal" + std::to_string(instance.param);
                         });

TEST(InterruptingSeveral, KeepsWhatWasWholeAndStartsNoMore)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.write("c.psd", smallDocument());
    scratch.writeSparse("huge.psd", emptyDocument(), kHugeBytes);
    Process process(
        repairSetting(scratch.path(), {"a.psd", "huge.psd", "c.psd", "-v", "-o", "out"}));
    ASSERT_TRUE(process.waitForError("Salvaged 4 files"));
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(scratch.names("out"), std::vector<std::string>{"a.psd"});
}

TEST(InterruptingSeveral, FolderThatStaysEmptyIsRemoved)
{
    const Scratch scratch;
    scratch.write("c.psd", smallDocument());
    scratch.writeSparse("huge.psd", emptyDocument(), kHugeBytes);
    Process process(repairSetting(scratch.path(), {"huge.psd", "c.psd", "--json", "-o", "out"}));
    ASSERT_TRUE(process.waitForOutputLines(kLinesBeforeScan));
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"c.psd", "huge.psd"}));
}

TEST(Killing, LeavesNoDestinationAndIsClearedByTheNextRun)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.writeSparse("huge.psd", emptyDocument(), kHugeBytes);
    Process process(repairSetting(scratch.path(), {"huge.psd", "--json", "-o", "out"}));
    ASSERT_TRUE(process.waitForOutputLines(kLinesBeforeScan));
    process.send(SIGKILL);
    EXPECT_EQ(process.wait().signal, SIGKILL);
    EXPECT_FALSE(scratch.has("out"));
    EXPECT_EQ(scratch.names().size(), 3U); // the work folder is still there
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "huge.psd", "out"}));
}

TEST(Killing, WorkFolderOfALivingRunIsLeftAlone)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.writeSparse("huge.psd", emptyDocument(), kHugeBytes);
    Process process(repairSetting(scratch.path(), {"huge.psd", "--json", "-o", "out"}));
    ASSERT_TRUE(process.waitForOutputLines(kLinesBeforeScan));
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names().size(), 4U); // with the work folder of the first
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(scratch.names().size(), 3U);
}

} // namespace
} // namespace talvek::test
