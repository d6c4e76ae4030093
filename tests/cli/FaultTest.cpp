#include "cli/Console.h"
#include "cli/ForwardingCalls.h"
#include "cli/Interruption.h"
#include "cli/RepairCommand.h"
#include "tests/cli/Documents.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

namespace talvek::test {
namespace {

/// Does something of a test's choice at the n-th call that reads, writes or asks.
class CallsWithFault : public ForwardingCalls
{
public:
    explicit CallsWithFault(int fatalCall = -1) : ForwardingCalls(real()), m_fatalCall(fatalCall) {}

    std::function<void()> fault = [] {};
    std::function<void(const std::string& to)> afterRename = [](const std::string&) {};
    bool exchanges = true; ///< the volume can exchange two names
    int writeError = 0;    ///< from the fatal write on, writes fail with this error

    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        count();
        return ForwardingCalls::readAt(descriptor, into, offset);
    }
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override
    {
        count();
        if (writeError != 0 && hasHappened()) {
            errno = writeError;
            return -1;
        }
        return ForwardingCalls::write(descriptor, bytes);
    }
    int rename(const std::string& from, const std::string& to) override
    {
        const int result = ForwardingCalls::rename(from, to);
        afterRename(to);
        return result;
    }
    int exchange(const std::string& one, const std::string& other) override
    {
        if (!exchanges) {
            errno = ENOTSUP;
            return -1;
        }
        const int result = ForwardingCalls::exchange(one, other);
        afterRename(other);
        return result;
    }
    std::optional<std::uint64_t> freeBytes(const std::string& path) override
    {
        count();
        return ForwardingCalls::freeBytes(path);
    }

    [[nodiscard]] bool hasHappened() const { return m_calls >= m_fatalCall; }

private:
    void count()
    {
        if (++m_calls == m_fatalCall) {
            fault();
        }
    }

    int m_fatalCall;
    int m_calls = 0;
};

struct CloseFile
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string textOf(std::FILE* file)
{
    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    return text;
}

/// A repair of the small document "a.psd" into "out", within the test's own process.
class Faults : public ::testing::Test
{
protected:
    Faults() { scratch.write("a.psd", smallDocument()); }

    ExitStatus repairWith(SystemCalls& calls, bool force = false)
    {
        const File output(std::tmpfile());
        const File errors(std::tmpfile());
        Options options;
        options.documents = {scratch.at("a.psd")};
        options.output = scratch.at("out");
        options.force = force;
        options.json = true;
        options.keepFreeBytes = 0;
        Console console(false, errors.get());
        OutputStream stream(output.get());
        const ExitStatus status = RepairCommand(options, console, stream, calls).run();
        said = textOf(errors.get());
        printed = textOf(output.get());
        return status;
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
