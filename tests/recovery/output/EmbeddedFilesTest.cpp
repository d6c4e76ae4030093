#include "recovery/output/EmbeddedFiles.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::recovery::output {
namespace {

class EmbeddedFilesTest : public testing::Test
{
protected:
    std::vector<EmbeddedOutput> write(const RecoverInTurn& recover = {})
    {
        const auto document = m_builder.build();
        SourceFiles sources(FileManager::defaultManager(), document.sources);
        const RunControl control;
        const auto outputs = writeEmbeddedFiles(FileManager::defaultManager(), document, sources,
                                                m_folder.path(), control, recover);
        EXPECT_TRUE(outputs);
        return outputs.value_or(std::vector<EmbeddedOutput>{});
    }

    TemporaryFolder m_folder;
    DocumentBuilder m_builder{m_folder};
};

TEST_F(EmbeddedFilesTest, FilesComeOutUnderTheirOwnNames)
{
    m_builder.embedded("logo.ai", "%PDF").embedded("Logo.AI", "other");
    const auto outputs = write();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(textOf(m_folder.file("Embedded/logo.ai")), "%PDF");
    EXPECT_EQ(textOf(m_folder.file("Embedded/Logo (2).AI")), "other");
}

TEST_F(EmbeddedFilesTest, NoFileIsMistakenForAResult)
{
    EXPECT_EQ(embeddedFileName("report.json"), "report_.json");
    EXPECT_EQ(embeddedFileName("Report.JSON"), "Report_.JSON");
    EXPECT_EQ(embeddedFileName("card_layers.psd"), "card_layers_.psd");
    EXPECT_EQ(embeddedFileName("card_layers.psb"), "card_layers_.psb");
    EXPECT_EQ(embeddedFileName("layers.psd"), "layers.psd");
}

TEST_F(EmbeddedFilesTest, NoNameLeavesTheFolder)
{
    m_builder.embedded("../../evil", "x").embedded("/etc/passwd", "y").embedded("..", "z");
    for (const auto& output : write()) {
        EXPECT_EQ(output.path.find('/', 9), std::string::npos);
        EXPECT_TRUE(std::filesystem::is_regular_file(m_folder.file(output.path)));
    }
}

TEST_F(EmbeddedFilesTest, AFileThatEndsTooEarlyIsMarked)
{
    m_builder.embedded("a.png", "abc");
    m_builder.document().embedded[0].data.length = 1000;
    const auto outputs = write();
    ASSERT_EQ(outputs.size(), 1U);
    EXPECT_TRUE(outputs[0].isShort);
    EXPECT_EQ(textOf(m_folder.file("Embedded/a.png")), "abc");
}

TEST_F(EmbeddedFilesTest, OnlyDocumentsAreRecoveredInTurn)
{
    m_builder.embedded("a.png", "PNG").embedded("b.psb", "8BPS...").embedded("c", "8BPS");
    const auto outputs = write([](const std::string&, const std::string& to) {
        writeFile(to, "recovered");
        return true;
    });
    EXPECT_EQ(outputs.at(0).recovered, "");
    EXPECT_EQ(outputs.at(1).recovered, "Embedded/b_recovered.psd");
    EXPECT_EQ(outputs.at(2).recovered, "Embedded/c_recovered.psd");
}

TEST_F(EmbeddedFilesTest, ADocumentThatIsProvedWholeIsNotRecovered)
{
    m_builder.embedded("b.psb", "8BPS...");
    m_builder.document().embedded[0].state = State::Whole;
    const auto outputs = write([](const std::string&, const std::string&) { return true; });
    EXPECT_EQ(outputs.at(0).recovered, "");
    EXPECT_FALSE(outputs.at(0).isShort);
}

TEST_F(EmbeddedFilesTest, AFileThatNothingProvesIsNotCalledShort)
{
    m_builder.embedded("a.ai", "%PDF");
    EXPECT_FALSE(write().at(0).isShort);
}

} // namespace
} // namespace talvek::recovery::output
