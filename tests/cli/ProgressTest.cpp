#include "cli/Console.h"
#include "cli/ProgressMeter.h"
#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>

namespace talvek::test {
namespace {

using std::chrono::seconds;

TEST(ProgressLine, ShowsPercentageBytesAndTimeLeftAndGoesInTheEnd)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting = repairSetting(scratch.path(), {"a.psd"});
    setting.terminal = true;
    const Ending ending = run(setting);
    EXPECT_EQ(ending.status, 0);
    const std::string line = "  0 %  0 bytes written  -:-- left  a.psd";
    const std::string cleared = "\r" + std::string(line.size(), ' ') + "\r";
    EXPECT_EQ(ending.error.rfind("\r" + line, 0), 0U) << ending.error;
    EXPECT_NE(ending.error.find(cleared + "Salvaged 4 files"), std::string::npos) << ending.error;
}

TEST(ProgressLine, MovesDuringALongScan)
{
    const Scratch scratch;
    // So large that a fast machine, too, needs longer for one percent than from one look to the
    // next.
    scratch.writeSparse("huge.psd", emptyDocument(), 64LL << 30U);
    auto setting = repairSetting(scratch.path(), {"huge.psd"});
    setting.terminal = true;
    Process process(setting);
    EXPECT_TRUE(process.waitForError("  1 %  0 bytes written"));
    process.send(SIGINT);
    EXPECT_EQ(process.wait().status, 130);
}

TEST(ProgressLine, IsCutToTheTerminal)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting = repairSetting(scratch.path(), {"a.psd", "-o", "o"});
    setting.terminal = true;
    setting.columns = 20;
    EXPECT_EQ(run(setting).error.rfind("\r  0 %  0 bytes writ\r", 0), 0U);
}

TEST(ProgressLine, IsForTerminalsAlone)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    EXPECT_EQ(repair(scratch.path(), {"a.psd"}).error.find('\r'), std::string::npos);
}

TEST(ProgressLine, IsNotForTheQuiet)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    auto setting = repairSetting(scratch.path(), {"a.psd", "-q"});
    setting.terminal = true;
    EXPECT_EQ(run(setting).error, "");
}

TEST(ProgressLine, MakesNamesSafe)
{
    const Scratch scratch;
    scratch.write("a\x1B[2J.psd", smallDocument());
    auto setting = repairSetting(scratch.path(), {"a\x1B[2J.psd", "-o", "o"});
    setting.terminal = true;
    EXPECT_EQ(run(setting).error.find('\x1B'), std::string::npos);
}

TEST(ProgressLine, CountsSeveralDocuments)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.write("b.psd", smallDocument());
    auto setting = repairSetting(scratch.path(), {"a.psd", "b.psd"});
    setting.terminal = true;
    EXPECT_NE(run(setting).error.find("(2 of 2) b.psd"), std::string::npos);
}

class Meter : public ::testing::Test
{
protected:
    Console console{true};
    ProgressMeter meter{SystemCalls::real(), console, "a.psd", 1000, "a.psd"};
};

TEST_F(Meter, NeverGoesBack)
{
    meter.reported(0);
    meter.reported(0.1);
    meter.reported(60);
    EXPECT_DOUBLE_EQ(meter.fraction(), 0.8);
    meter.reported(20);
    EXPECT_DOUBLE_EQ(meter.fraction(), 0.8);
}

TEST_F(Meter, StaysWithinItsBounds)
{
    for (const double wild : {0.0, 0.0, -1e300, std::nan(""), 1e300}) {
        meter.reported(wild);
        EXPECT_GE(meter.fraction(), 0.0);
        EXPECT_LE(meter.fraction(), 1.0);
    }
    EXPECT_DOUBLE_EQ(meter.fraction(), 1.0);
    EXPECT_EQ(meter.text(seconds(90)), " 99 %  0 bytes written  0:00 left  a.psd");
}

TEST_F(Meter, ForecastsFromWhatIsDone)
{
    meter.reported(0);
    meter.reported(0);
    meter.reported(50);
    EXPECT_EQ(meter.text(seconds(90)), " 75 %  0 bytes written  0:30 left  a.psd");
    EXPECT_EQ(meter.text(seconds(30000)), " 75 %  0 bytes written  2:46:40 left  a.psd");
}

TEST_F(Meter, ForecastsNothingAtTheStart)
{
    EXPECT_EQ(meter.text(seconds(90)), "  0 %  0 bytes written  -:-- left  a.psd");
}

} // namespace
} // namespace talvek::test
