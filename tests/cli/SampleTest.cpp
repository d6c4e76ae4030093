#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

const std::string kSample = TALVEK_SOURCE_FOLDER "/samples/winter-poster.psd";

/// What the repair finds in the sample: the poster, the thumbnail, the sky's colours, and two
/// documents for each of the ten other records.
constexpr std::size_t kFilesOfSample = 23;

Ending makeSample(const Scratch& scratch, const std::vector<std::string>& arguments)
{
    auto setting = repairSetting(scratch.path(), arguments);
    setting.program = TALVEK_SAMPLE_PROGRAM;
    return run(setting);
}

TEST(Sample, IsWhatItsGeneratorMakes)
{
    const Scratch scratch;
    ASSERT_EQ(makeSample(scratch, {"made.psd"}).status, 0);
    EXPECT_TRUE(contentsOf(scratch.at("made.psd")) == contentsOf(kSample));
}

TEST(Sample, IsSalvagedAsIfItWereUndamaged)
{
    const Scratch scratch;
    ASSERT_EQ(makeSample(scratch, {"--undamaged", "winter-poster.psd"}).status, 0);
    ASSERT_FALSE(contentsOf(scratch.at("winter-poster.psd")) == contentsOf(kSample));
    ASSERT_EQ(repair(scratch.path(), {kSample, "-o", "damaged"}).status, 0);
    ASSERT_EQ(repair(scratch.path(), {"winter-poster.psd", "-o", "whole"}).status, 0);
    ASSERT_EQ(scratch.names("damaged").size(), kFilesOfSample);
    ASSERT_EQ(scratch.names("whole"), scratch.names("damaged"));
    for (const std::string& name : scratch.names("whole")) {
        EXPECT_TRUE(contentsOf(scratch.at("whole/" + name)) ==
                    contentsOf(scratch.at("damaged/" + name)))
            << name;
    }
}

TEST(Sample, ThumbnailIsAJpeg)
{
    const Scratch scratch;
    ASSERT_EQ(repair(scratch.path(), {kSample, "-o", "out"}).status, 0);
    const std::string jpeg = contentsOf(scratch.at("out/winter-poster.psd_thumbnail.jpg"));
    EXPECT_EQ(jpeg.substr(0, 4), "\xFF\xD8\xFF\xE0");
    EXPECT_EQ(jpeg.substr(jpeg.size() - 2), "\xFF\xD9");
}

TEST(Sample, GeneratorRefusesWrongUsage)
{
    const Scratch scratch;
    EXPECT_EQ(makeSample(scratch, {}).status, 2);
    EXPECT_EQ(makeSample(scratch, {"a", "b"}).status, 2);
    EXPECT_EQ(makeSample(scratch, {"no/such/folder"}).status, 1);
}

} // namespace
} // namespace talvek::test
