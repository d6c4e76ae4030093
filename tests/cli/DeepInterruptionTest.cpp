#include "cli/Interruption.h"
#include "tests/cli/DeepDocuments.h"
#include "tests/cli/Documents.h"
#include "tests/cli/FaultyRun.h"
#include "tests/cli/Process.h"
#include "tests/support/Thoroughness.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

namespace talvek::test {
namespace {

/// Looking for signatures in as many bytes takes far longer than sending a signal.
constexpr long long kHugeBytes = 16LL << 30U;

using Names = std::vector<std::string>;

class DeepInterrupting : public ::testing::TestWithParam<int>
{
protected:
    DeepInterrupting() { scratch.writeScattered("huge.psd", emptyDocument(), kHugeBytes); }

    Scratch scratch;
};

TEST_P(DeepInterrupting, EndsTheRunAndLeavesNothing)
{
    Process process(repairSetting(scratch.path(), {"--deep", "huge.psd", "--json"}));
    ASSERT_TRUE(process.waitForOutputLines(1));
    process.send(GetParam());
    const Ending ending = process.wait();
    EXPECT_EQ(ending.status, 130);
    EXPECT_EQ(ending.error, "talvek-psd-repair: Interrupted: nothing of 'huge.psd' was kept.\n");
    EXPECT_EQ(ending.output.find("complete"), std::string::npos);
    EXPECT_EQ(scratch.names(), Names{"huge.psd"});
}

TEST_P(DeepInterrupting, LeavesTheOldFolder)
{
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    Process process(
        repairSetting(scratch.path(), {"--deep", "huge.psd", "--json", "--force", "-o", "out"}));
    ASSERT_TRUE(process.waitForOutputLines(1));
    process.send(GetParam());
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(scratch.names("out"), Names{"mine"});
    EXPECT_EQ(scratch.names(), (Names{"huge.psd", "out"}));
}

INSTANTIATE_TEST_SUITE_P(BySignal, DeepInterrupting, ::testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& instance) {
                             return "Signal" + std::to_string(instance.param);
                         });

TEST(DeepInterruptingSeveral, KeepsWhatWasWholeAndStartsNoMore)
{
    const Scratch scratch;
    write(scratch, "a.psd", layeredDocument());
    write(scratch, "c.psd", layeredDocument());
    scratch.writeScattered("huge.psd", emptyDocument(), kHugeBytes);
    Process process(
        repairSetting(scratch.path(), {"--deep", "a.psd", "huge.psd", "c.psd", "-o", "out"}));
    ASSERT_TRUE(process.waitForError("Recovered 8 files"));
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
    EXPECT_EQ(scratch.names("out"), Names{"a.psd"});
}

TEST(DeepInterruptingSeveral, TheProgressLineSaysWhatIsBeingDone)
{
    const Scratch scratch;
    scratch.writeScattered("huge.psd", emptyDocument(), kHugeBytes);
    auto setting = repairSetting(scratch.path(), {"--deep", "huge.psd"});
    setting.terminal = true;
    Process process(setting);
    EXPECT_TRUE(process.waitForError("huge.psd: Looking for signatures"));
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
}

/// A deep recovery of "a.psd" into "out", within the test's own process.
class DeepFaults : public ::testing::Test
{
protected:
    DeepFaults() { write(scratch, "a.psd", layeredDocument()); }

    FaultyRun recoverWith(SystemCalls& calls, bool force = false) const
    {
        Options options;
        options.deep = true;
        options.documents = {scratch.at("a.psd")};
        options.output = scratch.at("out");
        options.force = force;
        return runWith(calls, options);
    }

    Scratch scratch;
};

const Names kDocumentAlone = {"a.psd"};

TEST_F(DeepFaults, ASignalAtAnyCallEndsTheRunAndLeavesNothing)
{
    bool happened = true;
    for (int call = 1; happened; call += static_cast<int>(stepOfSweeps())) {
        const Interruption interruption;
        CallsWithFault calls(call);
        calls.fault = [] { ::raise(SIGINT); };
        const FaultyRun run = recoverWith(calls);
        happened = calls.hasHappened();
        if (happened) {
            ASSERT_EQ(run.status, ExitStatus::interrupted) << "signal at call " << call;
            ASSERT_EQ(scratch.names(), kDocumentAlone) << "signal at call " << call;
            ASSERT_EQ(completionIn(run.printed), "") << "signal at call " << call;
        } else {
            ASSERT_EQ(run.status, ExitStatus::salvaged);
            ASSERT_GT(call, 20);
        }
    }
}

TEST_F(DeepFaults, AWriteThatFailsEndsTheRunWithItsReason)
{
    const std::pair<int, const char*> errors[] = {{ENOSPC, "there is not enough room"},
                                                  {EIO, "Input/output error"}};
    for (const auto& [error, words] : errors) {
        bool happened = true;
        for (int call = 1; happened; call += static_cast<int>(stepOfSweeps())) {
            CallsWithFault calls(call);
            calls.writeError = error;
            const FaultyRun run = recoverWith(calls);
            happened = calls.hasHappened();
            if (run.status == ExitStatus::salvaged) {
                std::filesystem::remove_all(scratch.at("out"));
                continue;
            }
            ASSERT_EQ(run.status, ExitStatus::cannotWrite) << "fault at call " << call;
            ASSERT_NE(run.said.find(words), std::string::npos) << run.said;
            ASSERT_EQ(scratch.names(), kDocumentAlone) << "fault at call " << call;
        }
    }
}

TEST_F(DeepFaults, ADocumentThatGrowsIsWarnedOf)
{
    CallsWithFault calls(1);
    calls.fault = [this] { scratch.writeSparse("a.psd", "8BPS", 1 << 20U); };
    const FaultyRun run = recoverWith(calls);
    EXPECT_NE(run.said.find("a.psd' grew from"), std::string::npos) << run.said;
    EXPECT_NE(run.said.find("recover a copy that no program writes to"), std::string::npos);
}

TEST_F(DeepFaults, ANameThatIsTakenMeanwhileIsLeftAsItIs)
{
    CallsWithFault calls(4);
    calls.fault = [this] {
        scratch.makeFolder("out");
        scratch.write("out/theirs", "precious");
    };
    EXPECT_EQ(recoverWith(calls).status, ExitStatus::cannotWrite);
    EXPECT_EQ(scratch.names("out"), Names{"theirs"});
    EXPECT_EQ(scratch.names(), (Names{"a.psd", "out"}));
}

TEST_F(DeepFaults, ASignalAfterTheFolderStandsChangesNothing)
{
    const Interruption interruption;
    CallsWithFault calls;
    calls.afterRename = [this](const std::string& to) {
        if (to == scratch.at("out")) {
            ::raise(SIGINT);
        }
    };
    const FaultyRun run = recoverWith(calls);
    EXPECT_EQ(run.status, ExitStatus::salvaged);
    EXPECT_NE(completionIn(run.printed), "");
    EXPECT_TRUE(scratch.has("out/a_layers.psd"));
}

} // namespace
} // namespace talvek::test
