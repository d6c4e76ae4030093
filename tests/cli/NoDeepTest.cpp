#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

TEST(DeepOptions, AreRefusedByAProgramThatWasBuiltWithoutTheDeepRecovery)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"--deep", "a.psd"});
    EXPECT_EQ(ending.status, 2);
    EXPECT_NE(ending.error.find("it was built without zlib or Little CMS"), std::string::npos);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.psd"});
}

} // namespace
} // namespace talvek::test
