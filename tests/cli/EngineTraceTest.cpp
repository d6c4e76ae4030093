#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace talvek::test {
namespace {

class EngineTrace : public ::testing::Test
{
protected:
    EngineTrace() { scratch.write("a.psd", smallDocument()); }

    Ending trace(const std::vector<std::string>& arguments) const
    {
        auto setting = repairSetting(scratch.path(), arguments);
        setting.program = TALVEK_TRACE_PROGRAM;
        return run(setting);
    }

    Scratch scratch;
};

long abortsIn(const std::string& output)
{
    std::istringstream stream(output);
    long count = 0;
    for (std::string line; std::getline(stream, line);) {
        count += line == "{\"unrepair\":\"\"}" ? 1 : 0;
    }
    return count;
}

TEST_F(EngineTrace, WorksStraightInTheFolder)
{
    const Ending ending = trace({"a.psd", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
    EXPECT_EQ(scratch.names("out").size(), std::size_t{kFilesOfSmallDocument});
}

TEST_F(EngineTrace, PrintsEveryNotificationAsALine)
{
    std::istringstream lines(trace({"a.psd", "out"}).output);
    std::string line;
    std::string last;
    while (std::getline(lines, line)) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
        last = line;
    }
    const auto completion = nlohmann::json::parse(last);
    EXPECT_EQ(completion["complete"], "Repair Completed");
    EXPECT_EQ(completion["Files"][0]["filePath"], "out/a.psd_repaired.psd");
}

TEST_F(EngineTrace, PrintsDoublesInFull)
{
    const std::string size = std::to_string(smallDocument().size());
    const Ending ending = trace({"a.psd", "out"});
    // The thumbnail resource opens at byte 34.
    const double progress = 34.0 / static_cast<double>(smallDocument().size()) * 100.0;
    const auto second = nlohmann::json::parse(ending.output.substr(0, ending.output.find('\n')));
    EXPECT_EQ(second["progress"].get<double>(), progress);
}

TEST_F(EngineTrace, StopSuppressesTheCompletion)
{
    const Ending ending = trace({"--stop", "a.psd", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output.find("complete"), std::string::npos);
    EXPECT_NE(ending.output.find("progress"), std::string::npos);
}

TEST_F(EngineTrace, VolumeWithoutRoomAborts)
{
    const Ending ending = trace({"--free-bytes", "0", "a.psd", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_GT(abortsIn(ending.output), 0);
    EXPECT_NE(ending.output.find("complete"), std::string::npos);
}

TEST_F(EngineTrace, VolumeWithRoomDoesNot)
{
    const std::string plain = trace({"a.psd", "out"}).output;
    EXPECT_EQ(trace({"--free-bytes", "1000000", "a.psd", "out"}).output, plain);
}

TEST_F(EngineTrace, RoomIsUsedUpByWhatIsWritten)
{
    // The thumbnail's 12 bytes are too few for a test. Each document of the layer begins with 26,
    // then 4 and 18 bytes, tested as one.
    const Ending ending = trace({"--free-bytes", "61", "a.psd", "out"});
    EXPECT_GT(abortsIn(ending.output), 0);
    EXPECT_TRUE(scratch.has("out/layer0_image.psd"));
    EXPECT_FALSE(scratch.has("out/mask0_image.psd"));
    EXPECT_FALSE(scratch.has("out/a.psd_repaired.psd"));
}

TEST_F(EngineTrace, WrongArgumentsAreStatus2)
{
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"a.psd"},
                                                         {"a.psd", "out", "more"},
                                                         {"--free-bytes", "a.psd", "out"},
                                                         {"--free-bytes", "-1", "a.psd", "out"},
                                                         {"a.psd", "out", "--free-bytes"},
                                                         {"--bogus", "a.psd", "out"}};
    for (const auto& arguments : wrong) {
        EXPECT_EQ(trace(arguments).status, 2);
        EXPECT_FALSE(scratch.has("out"));
    }
}

TEST_F(EngineTrace, NoDocumentIsNoWrongArgument)
{
    const Ending ending = trace({"nowhere.psd", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "");
    EXPECT_TRUE(scratch.names("out").empty());
}

} // namespace
} // namespace talvek::test
