#include "tests/cli/DeepDocuments.h"
#include "tests/cli/Process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace talvek::test {
namespace {

/// A document "a.psd" whose topmost layer lost its record and pixels, and an older save of it.
class DeepReference : public ::testing::Test
{
protected:
    DeepReference()
    {
        Document damaged = layeredDocument();
        const auto& record = damaged.records[2];
        damaged.zeroFill(record.start, record.end - record.start);
        const auto& last = record.channels.back();
        const auto& first = record.channels.front();
        damaged.zeroFill(first.data, last.data + last.length - first.data);
        write(scratch, "a.psd", damaged);
        write(scratch, "older.psd", layeredDocument());
    }

    Ending recoverWith(const std::string& reference)
    {
        return repair(scratch.path(), {"--deep", "a.psd", "--reference", reference, "-o", "out"});
    }
    void expectRefusal(const std::string& reference, int status, const std::string& words)
    {
        const auto before = scratch.names();
        const Ending ending = recoverWith(reference);
        EXPECT_EQ(ending.status, status);
        EXPECT_NE(ending.error.find("Cannot use the reference '" + reference + "': " + words),
                  std::string::npos)
            << ending.error;
        EXPECT_EQ(scratch.names(), before);
    }

    Scratch scratch;
};

TEST_F(DeepReference, GivesLostLayersBack)
{
    EXPECT_EQ(repair(scratch.path(), {"--deep", "a.psd", "-o", "alone"}).status, 4);
    EXPECT_EQ(statesIn(scratch.at("alone/report.json")), "sky:whole sea:whole ");
    const Ending ending = recoverWith("older.psd");
    EXPECT_EQ(ending.status, 0) << ending.output;
    EXPECT_EQ(statesIn(scratch.at("out/report.json")), "sky:whole sea:whole sand:unproved ");
    EXPECT_TRUE(scratch.has("out/Layers/003 sand.png"));
    EXPECT_NE(ending.error.find("taken from the reference 'older.psd'"), std::string::npos)
        << ending.error;
}

TEST_F(DeepReference, IsOnlyRead)
{
    const std::string before = contentsOf(scratch.at("older.psd"));
    recoverWith("older.psd");
    EXPECT_EQ(contentsOf(scratch.at("older.psd")), before);
}

TEST_F(DeepReference, ThatHasNothingToGiveIsSaid)
{
    scratch.write("zero.psd", std::string(1000, '\0'));
    const Ending ending = recoverWith("zero.psd");
    EXPECT_EQ(ending.status, 4);
    EXPECT_NE(ending.error.find("Nothing was taken from the reference 'zero.psd'"),
              std::string::npos)
        << ending.error;
}

TEST_F(DeepReference, ThatCannotBeReadIsRefusedBeforeAnythingIsWritten)
{
    scratch.makeFolder("folder");
    ASSERT_EQ(::mkfifo(scratch.at("fifo").c_str(), 0600), 0);
    expectRefusal("nowhere.psd", 1, "no such file.");
    expectRefusal("folder", 1, "it is a folder.");
    expectRefusal("fifo", 1, "it is a FIFO, not a regular file.");
    expectRefusal("-", 1, "standard input cannot be used.");
}

TEST_F(DeepReference, TheDocumentItselfIsNone)
{
    std::filesystem::create_symlink("a.psd", scratch.at("link.psd"));
    std::filesystem::create_hard_link(scratch.at("a.psd"), scratch.at("hard.psd"));
    for (const char* same : {"a.psd", "./a.psd", "link.psd", "hard.psd"}) {
        expectRefusal(same, 2, "it is the document itself.");
    }
}

TEST_F(DeepReference, ItsFolderIsNeverReplaced)
{
    scratch.makeFolder("out");
    std::filesystem::copy(scratch.at("older.psd"), scratch.at("out/older.psd"));
    const Ending ending = repair(scratch.path(), {"--deep", "--force", "a.psd", "--reference",
                                                  "out/older.psd", "-o", "out"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.error.find("'out/older.psd' lies inside it."), std::string::npos)
        << ending.error;
    EXPECT_TRUE(scratch.has("out/older.psd"));
}

} // namespace
} // namespace talvek::test
