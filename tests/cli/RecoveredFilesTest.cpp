#include "cli/RecoveredFiles.h"

#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

TEST(RecoveredFiles, StandInTheOrderInWhichADesignerWantsThem)
{
    const Scratch scratch;
    for (const char* folder : {"Layers", "Embedded"}) {
        scratch.makeFolder(folder);
    }
    const std::vector<std::string> inOrder = {"a_layers.psb",
                                              "report.html",
                                              "report.json",
                                              "Composite.png",
                                              "Layers/002 sky.png",
                                              "Layers/002 sky mask.png",
                                              "Layers/999 sea.png",
                                              "Layers/1000 a.png",
                                              "Embedded/logo_layers.psd",
                                              "Metadata.xmp",
                                              "Text.txt"};
    for (auto name = inOrder.rbegin(); name != inOrder.rend(); ++name) {
        scratch.write(*name, std::string(1500, 'x'));
    }
    const RecoveredFiles files = listRecoveredFiles(scratch.path(), "the end");
    ASSERT_EQ(files.records.size(), inOrder.size());
    EXPECT_EQ(files.totalBytes, 1500 * inOrder.size());
    for (std::size_t index = 0; index < inOrder.size(); ++index) {
        EXPECT_EQ(files.records[index].filePath, "the end/" + inOrder[index]);
        EXPECT_EQ(files.records[index].fileNumber, std::to_string(index + 1));
        EXPECT_EQ(files.records[index].fileSize, "1");
    }
    EXPECT_EQ(files.records[5].fileName, "002 sky mask");
}

TEST(RecoveredFiles, OfAFolderThatIsGoneAreNone)
{
    EXPECT_TRUE(listRecoveredFiles(Scratch().path(), "out").records.empty());
}

} // namespace
} // namespace talvek::test
