#include "cli/Options.h"

#include "cli/ExitStatus.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

ParsedOptions parsed(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "talvek-psd-repair");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

Options options(const std::vector<const char*>& arguments)
{
    const ParsedOptions result = parsed(arguments);
    EXPECT_TRUE(result.options.has_value()) << result.standardError;
    return result.options.value_or(Options{});
}

TEST(Options, DefaultsAreTheUsualFolderAndNothingElse)
{
    const Options usual = options({"a.psd"});
    EXPECT_EQ(usual.documents, std::vector<std::string>{"a.psd"});
    EXPECT_EQ(usual.output, "Repaired PSD Files");
    EXPECT_FALSE(usual.force || usual.json || usual.check || usual.quiet || usual.verbose);
    EXPECT_FALSE(usual.keepFreeBytes.has_value());
}

TEST(Options, EachIsTaken)
{
    const Options all =
        options({"--force", "--json", "--check", "-q", "--keep-free", "3K", "-o", "out", "a.psd"});
    EXPECT_TRUE(all.force && all.json && all.check && all.quiet);
    EXPECT_EQ(all.keepFreeBytes, 3072U);
    EXPECT_EQ(all.output, "out");
    EXPECT_TRUE(options({"--verbose", "a.psd"}).verbose);
    EXPECT_TRUE(options({"-v", "a.psd"}).verbose);
    EXPECT_TRUE(options({"--quiet", "a.psd"}).quiet);
}

TEST(Options, MayStandBehindTheDocuments)
{
    const Options behind = options({"a.psd", "--output=out", "b.psd", "-q"});
    EXPECT_EQ(behind.documents, (std::vector<std::string>{"a.psd", "b.psd"}));
    EXPECT_EQ(behind.output, "out");
    EXPECT_TRUE(behind.quiet);
}

TEST(Options, ShortOnesMayBeJoined)
{
    EXPECT_EQ(options({"-qo", "out", "a.psd"}).output, "out");
    EXPECT_EQ(options({"-oout", "a.psd"}).output, "out");
}

TEST(Options, DocumentNamesAreTakenAsTheyAre)
{
    EXPECT_EQ(options({"[a,b]", "", "-", "--", "-q", "--", "--force"}).documents,
              (std::vector<std::string>{"[a,b]", "", "-", "-q", "--", "--force"}));
}

TEST(Options, QuietAndVerboseExcludeEachOther)
{
    EXPECT_EQ(parsed({"-q", "-v", "a.psd"}).status, ExitStatus::wrongUsage);
}

TEST(Options, ValueMayStandOnlyOnce)
{
    const ParsedOptions twice = parsed({"-o", "a", "-o", "b", "a.psd"});
    EXPECT_EQ(twice.status, ExitStatus::wrongUsage);
    EXPECT_NE(twice.standardError.find("--output takes one value"), std::string::npos);
}

TEST(SizeFromText, TakesBytesAndUnitsOf1024)
{
    EXPECT_EQ(sizeFromText("0"), 0U);
    EXPECT_EQ(sizeFromText("12"), 12U);
    EXPECT_EQ(sizeFromText("1K"), 1024U);
    EXPECT_EQ(sizeFromText("256m"), 256U << 20U);
    EXPECT_EQ(sizeFromText("2G"), 2ULL << 30U);
    EXPECT_EQ(sizeFromText("18446744073709551615"), 18446744073709551615ULL);
}

TEST(SizeFromText, TakesNothingElse)
{
    for (const char* text : {"", "K", "-1", "+1", "1.5G", "1 K", "1KB", "x", "0x10", "17179869184G",
                             "18446744073709551616"}) {
        EXPECT_FALSE(sizeFromText(text).has_value()) << text;
    }
}

TEST(ExitStatus, TheWorstWins)
{
    const std::vector<ExitStatus> ascending = {ExitStatus::salvaged, ExitStatus::damaged,
                                               ExitStatus::cannotRepair, ExitStatus::cannotWrite,
                                               ExitStatus::interrupted};
    for (std::size_t index = 1; index < ascending.size(); ++index) {
        EXPECT_EQ(worseOf(ascending[index - 1], ascending[index]), ascending[index]);
        EXPECT_EQ(worseOf(ascending[index], ascending[index - 1]), ascending[index]);
    }
}

} // namespace
} // namespace talvek::test
