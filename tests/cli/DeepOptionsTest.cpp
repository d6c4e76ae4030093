#include "cli/Options.h"
#include "tests/cli/DeepDocuments.h"
#include "tests/cli/Process.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

ParsedOptions parsed(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "talvek-psd-repair");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(DeepOptions, AreOffUnlessAskedFor)
{
    const auto options = parsed({"a.psd"}).options;
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->deep);
    EXPECT_EQ(options->reference, "");
}

TEST(DeepOptions, MayStandAnywhere)
{
    for (const auto& arguments :
         std::vector<std::vector<const char*>>{{"--deep", "--reference", "older.psd", "a.psd"},
                                               {"a.psd", "--reference=older.psd", "--deep"},
                                               {"--reference", "older.psd", "a.psd", "--deep"}}) {
        const auto options = parsed(arguments).options;
        ASSERT_TRUE(options);
        EXPECT_TRUE(options->deep);
        EXPECT_EQ(options->reference, "older.psd");
        EXPECT_EQ(options->documents, std::vector<std::string>{"a.psd"});
    }
}

TEST(DeepOptions, WrongUsageIsStatus2AndWritesNothing)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong = {
        {{"a.psd", "--reference", "b.psd"}, "--reference goes with --deep."},
        {{"--deep", "a.psd", "c.psd", "--reference", "b.psd"},
         "--reference goes with one document"},
        {{"--deep", "a.psd", "--reference", ""}, "--reference needs the name of a file."},
        {{"--deep", "a.psd", "--reference"}, "--reference takes one value"},
        {{"--deep", "a.psd", "--reference", "b.psd", "--reference", "c.psd"},
         "--reference takes one value, and stands once."},
        {{"--deep", "--check", "a.psd"}, "--check tests the header that a repair needs"},
        {{"--deep"}, "No document was named."}};
    for (const auto& [arguments, words] : wrong) {
        const Scratch scratch;
        write(scratch, "a.psd", layeredDocument());
        write(scratch, "b.psd", layeredDocument());
        const auto before = scratch.names();
        const Ending ending = repair(scratch.path(), arguments);
        EXPECT_EQ(ending.status, 2) << words;
        EXPECT_NE(ending.error.find(words), std::string::npos) << ending.error;
        EXPECT_NE(ending.error.find("Try 'talvek-psd-repair --help'."), std::string::npos);
        EXPECT_EQ(scratch.names(), before);
    }
}

} // namespace
} // namespace talvek::test
