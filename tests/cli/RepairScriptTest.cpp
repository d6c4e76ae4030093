#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::test {
namespace {

constexpr std::size_t kFilesOfSample = 23;

/// `./repair` builds what is out of date. These tests belong to the build that it looks at, so
/// there is nothing to build.
class RepairScript : public ::testing::Test
{
protected:
    static Ending runScript(const std::string& folder, const std::vector<std::string>& arguments)
    {
        auto setting = repairSetting(folder, arguments);
        setting.program = TALVEK_SOURCE_FOLDER "/repair";
        return run(setting);
    }

    Scratch scratch;
};

TEST_F(RepairScript, SalvagesTheSampleWhereTheUserStands)
{
    for (int time = 0; time < 2; ++time) {
        const Ending ending = runScript(scratch.path(), {});
        EXPECT_EQ(ending.status, 0) << ending.error;
        EXPECT_EQ(scratch.names("Repaired PSD Files (sample)").size(), kFilesOfSample);
    }
}

TEST_F(RepairScript, TakesADocumentAndOptions)
{
    const std::string folder = scratch.makeFolder("a folder");
    std::filesystem::copy(std::string(TALVEK_SOURCE_FOLDER "/samples/winter-poster.psd"),
                          folder + "/my poster.psd");
    EXPECT_EQ(runScript(folder, {"my poster.psd", "-q", "--output", "my files"}).status, 0);
    EXPECT_TRUE(scratch.has("a folder/my files/my poster.psd_repaired.psd"));
}

TEST_F(RepairScript, RecoversTheSampleDeeply)
{
    const Ending ending =
        runScript(scratch.path(), {"--deep", TALVEK_SOURCE_FOLDER "/samples/winter-poster.psd",
                                   "--output", "Winter poster"});
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_NE(ending.output.find("All 9 layers are back"), std::string::npos) << ending.output;
    EXPECT_TRUE(scratch.has("Winter poster/winter-poster_layers.psd"));
    EXPECT_TRUE(scratch.has("Winter poster/report.html"));
}

TEST_F(RepairScript, PassesTheStatusOn)
{
    EXPECT_EQ(runScript(scratch.path(), {"nowhere.psd"}).status, 1);
    EXPECT_EQ(runScript(scratch.path(), {"--bogus"}).status, 2);
}

} // namespace
} // namespace talvek::test
