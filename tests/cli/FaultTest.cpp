#include "cli/Interruption.h"
#include "platform/FileHandle.h"
#include "tests/cli/Documents.h"
#include "tests/cli/FaultyRun.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

namespace talvek::test {
namespace {

/// A repair of the small document "a.psd" into "out", within the test's own process.
class Faults : public ::testing::Test
{
protected:
    Faults() { scratch.write("a.psd", smallDocument()); }

    ExitStatus repairWith(SystemCalls& calls, bool force = false)
    {
        Options options;
        options.documents = {scratch.at("a.psd")};
        options.output = scratch.at("out");
        options.force = force;
        const FaultyRun run = runWith(calls, options);
        said = run.said;
        printed = run.printed;
        return run.status;
    }

    Scratch scratch;
    std::string said;
    std::string printed;
};

const std::vector<std::string> kDocumentAlone = {"a.psd"};

TEST_F(Faults, SignalAtAnyCallEndsTheRunAndLeavesNothing)
{
    bool happened = true;
    for (int call = 1; happened; ++call) {
        const Interruption interruption;
        CallsWithFault calls(call);
        calls.fault = [] { ::raise(SIGINT); };
        const ExitStatus status = repairWith(calls);
        happened = calls.hasHappened();
        if (happened) {
            ASSERT_EQ(status, ExitStatus::interrupted) << "signal at call " << call;
            ASSERT_EQ(scratch.names(), kDocumentAlone) << "signal at call " << call;
            ASSERT_EQ(printed.find("complete"), std::string::npos) << "signal at call " << call;
        } else {
            ASSERT_EQ(status, ExitStatus::salvaged);
            ASSERT_GT(call, 10);
        }
    }
}

TEST_F(Faults, SignalLeavesNothingToReadAndNoRoomToWrite)
{
    const Interruption interruption;
    InterruptibleCalls calls(SystemCalls::real());
    const Descriptor document(calls, calls.openForReading(scratch.at("a.psd")));
    EXPECT_GT(calls.sizeOf(document.number()), 0);
    EXPECT_GT(calls.freeBytes(scratch.path()).value_or(0), 0U);
    ::raise(SIGINT);
    EXPECT_EQ(calls.sizeOf(document.number()), 0);
    EXPECT_EQ(calls.freeBytes(scratch.path()), 0U);
}

TEST_F(Faults, SecondSignalDoesTheSame)
{
    const Interruption interruption;
    CallsWithFault calls(3);
    calls.fault = [] {
        ::raise(SIGINT);
        ::raise(SIGTERM);
    };
    EXPECT_EQ(repairWith(calls), ExitStatus::interrupted);
    EXPECT_EQ(scratch.names(), kDocumentAlone);
}

TEST_F(Faults, SignalLeavesTheFolderThatWasToBeReplaced)
{
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    const Interruption interruption;
    CallsWithFault calls(5);
    calls.fault = [] { ::raise(SIGTERM); };
    EXPECT_EQ(repairWith(calls, true), ExitStatus::interrupted);
    EXPECT_EQ(contentsOf(scratch.at("out/mine")), "precious");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
}

TEST_F(Faults, WriteThatFailsEndsTheRunWithItsReason)
{
    const std::pair<int, const char*> errors[] = {{ENOSPC, "there is not enough room"},
                                                  {EIO, "Input/output error"}};
    for (const auto& [error, words] : errors) {
        bool happened = true;
        for (int call = 1; happened; ++call) {
            CallsWithFault calls(call);
            calls.writeError = error;
            const ExitStatus status = repairWith(calls);
            happened = calls.hasHappened();
            if (status == ExitStatus::salvaged) {
                std::filesystem::remove_all(scratch.at("out"));
                continue;
            }
            ASSERT_EQ(status, ExitStatus::cannotWrite) << "fault at call " << call;
            ASSERT_NE(said.find(words), std::string::npos) << said;
            ASSERT_EQ(scratch.names(), kDocumentAlone) << "fault at call " << call;
        }
    }
}

TEST_F(Faults, DocumentThatGrowsIsWarnedOf)
{
    CallsWithFault calls(3);
    calls.fault = [this] { scratch.write("a.psd", smallDocument() + "more"); };
    EXPECT_EQ(repairWith(calls), ExitStatus::salvaged);
    EXPECT_NE(said.find("a.psd' grew from"), std::string::npos) << said;
}

TEST_F(Faults, DocumentThatShrinksIsWarnedOf)
{
    CallsWithFault calls(3);
    calls.fault = [this] { std::filesystem::resize_file(scratch.at("a.psd"), 300); };
    const ExitStatus status = repairWith(calls);
    EXPECT_TRUE(status == ExitStatus::salvaged || status == ExitStatus::cannotRepair);
    EXPECT_NE(said.find("a.psd' shrank from"), std::string::npos) << said;
}

TEST_F(Faults, NameThatIsTakenMeanwhileIsLeftAsItIs)
{
    CallsWithFault calls(4);
    calls.fault = [this] {
        scratch.makeFolder("out");
        scratch.write("out/theirs", "precious");
    };
    EXPECT_EQ(repairWith(calls), ExitStatus::cannotWrite);
    EXPECT_NE(said.find("something of that name has appeared meanwhile"), std::string::npos);
    EXPECT_EQ(contentsOf(scratch.at("out/theirs")), "precious");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
}

TEST_F(Faults, FolderThatIsExchangedMeanwhileIsNotReplaced)
{
    scratch.makeFolder("out");
    CallsWithFault calls(4);
    calls.fault = [this] {
        std::filesystem::rename(scratch.at("out"), scratch.at("was-out"));
        scratch.makeFolder("out");
        scratch.write("out/theirs", "precious");
    };
    EXPECT_EQ(repairWith(calls, true), ExitStatus::cannotWrite);
    EXPECT_EQ(contentsOf(scratch.at("out/theirs")), "precious");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out", "was-out"}));
}

TEST_F(Faults, FolderThatVanishesMeanwhileIsCreated)
{
    scratch.makeFolder("out");
    CallsWithFault calls(4);
    calls.fault = [this] { std::filesystem::remove(scratch.at("out")); };
    EXPECT_EQ(repairWith(calls, true), ExitStatus::salvaged);
    EXPECT_EQ(scratch.names("out").size(), std::size_t{kFilesOfSmallDocument});
}

TEST_F(Faults, SignalAfterTheFolderStandsChangesNothing)
{
    for (const bool force : {false, true}) {
        const Interruption interruption;
        CallsWithFault calls;
        calls.afterRename = [this](const std::string& to) {
            if (to == scratch.at("out")) {
                ::raise(SIGINT);
            }
        };
        EXPECT_EQ(repairWith(calls, force), ExitStatus::salvaged);
        EXPECT_TRUE(Interruption::isRequested());
        EXPECT_NE(printed.find("\"complete\""), std::string::npos);
        EXPECT_EQ(scratch.names("out").size(), std::size_t{kFilesOfSmallDocument});
        EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
    }
}

TEST_F(Faults, VolumeThatCannotExchangeNamesStillReplaces)
{
    scratch.makeFolder("out");
    scratch.write("out/old", "");
    CallsWithFault calls;
    calls.exchanges = false;
    EXPECT_EQ(repairWith(calls, true), ExitStatus::salvaged);
    EXPECT_FALSE(scratch.has("out/old"));
    EXPECT_EQ(scratch.names("out").size(), std::size_t{kFilesOfSmallDocument});
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
}

TEST_F(Faults, FolderThatWasMovedAsideComesBackIfTheNewOneDoesNot)
{
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    CallsWithFault calls;
    calls.exchanges = false;
    calls.afterRename = [](const std::string& to) {
        // The old folder is out of the way; now the new one goes missing.
        if (to.size() > 9 && to.substr(to.size() - 9) == "/replaced") {
            std::filesystem::remove_all(to.substr(0, to.size() - 9) + "/files");
        }
    };
    EXPECT_EQ(repairWith(calls, true), ExitStatus::cannotWrite);
    EXPECT_EQ(contentsOf(scratch.at("out/mine")), "precious");
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
}

} // namespace
} // namespace talvek::test
