#include "tests/cli/DeepDocuments.h"
#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/support/Corpus.h"
#include "tests/support/Thoroughness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

namespace talvek::test {
namespace {

using Names = std::vector<std::string>;

const std::string kAllWhole = "sky:whole sea:whole sand:whole ";

bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

class Deep : public ::testing::Test
{
protected:
    Ending recover(const std::string& document) const
    {
        return repair(scratch.path(), {"--deep", document, "-o", "out"});
    }
    [[nodiscard]] std::string states() const { return statesIn(scratch.at("out/report.json")); }

    Scratch scratch;
};

TEST_F(Deep, AWholeDocumentIsStatus0AndItsFilesStandDirectlyInTheFolder)
{
    write(scratch, "a.psd", layeredDocument());
    const Ending ending = recover("a.psd");
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(scratch.names("out"),
              (Names{"Composite.png", "Layers", "a_layers.psd", "report.html", "report.json"}));
    EXPECT_EQ(scratch.names("out/Layers"),
              (Names{"001 sky.png", "002 sea.png", "003 sand mask.png", "003 sand.png"}));
    EXPECT_EQ(states(), kAllWhole);
    EXPECT_EQ(scratch.names(), (Names{"a.psd", "out"}));
}

TEST_F(Deep, ListsTheFilesAndEndsWithTheVerdict)
{
    write(scratch, "a.psd", layeredDocument());
    const Ending ending = recover("a.psd");
    EXPECT_EQ(ending.output.rfind("No.  Name", 0), 0U) << ending.output;
    const Names inOrder = {"out/a_layers.psd",
                           "out/report.html",
                           "out/report.json",
                           "out/Composite.png",
                           "out/Layers/001 sky.png",
                           "out/Layers/002 sea.png",
                           "out/Layers/003 sand.png",
                           "out/Layers/003 sand mask.png",
                           "\n\nAll 3 layers are back, and the merged picture is whole.\n"};
    std::size_t at = 0;
    for (const std::string& next : inOrder) {
        at = ending.output.find(next, at);
        ASSERT_NE(at, std::string::npos) << next << " in\n" << ending.output;
    }
    EXPECT_TRUE(holds(ending.error, "Recovered 8 files (")) << ending.error;
    EXPECT_TRUE(holds(ending.error, "from 'a.psd' into 'out'.\nOpen 'out/report.html'"));
}

TEST_F(Deep, LeavesTheDocumentAsItIs)
{
    Document document = layeredDocument();
    document.zeroFill(0, 26);
    const std::string path = write(scratch, "a.psd", document);
    const std::string before = contentsOf(path);
    const auto changed = std::filesystem::last_write_time(path);
    EXPECT_EQ(recover("a.psd").status, 0);
    EXPECT_EQ(contentsOf(path), before);
    EXPECT_EQ(std::filesystem::last_write_time(path), changed);
}

TEST_F(Deep, AZeroedHeaderKeepsNothingBack)
{
    Document document = layeredDocument();
    document.zeroFill(0, 26);
    write(scratch, "a.psd", document);
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "-o", "repaired"}).status, 1);
    EXPECT_EQ(recover("a.psd").status, 0);
    EXPECT_EQ(states(), kAllWhole);
    EXPECT_TRUE(holds(contentsOf(scratch.at("out/report.json")), "\"width\":120,\"height\":90"));
}

TEST_F(Deep, GarbageInFrontKeepsNothingBack)
{
    Document document = layeredDocument();
    document.insertBytes(0, Bytes(1357, 0xA5));
    write(scratch, "a.psd", document);
    EXPECT_EQ(recover("a.psd").status, 0);
    EXPECT_EQ(states(), kAllWhole);
}

TEST_F(Deep, ALargeDocumentGivesALargeDocument)
{
    const Bytes document = largeDocument();
    scratch.write("a.psb", std::string(document.begin(), document.end()));
    EXPECT_EQ(repair(scratch.path(), {"a.psb", "-o", "repaired"}).status, 1);
    EXPECT_EQ(recover("a.psb").status, 0);
    EXPECT_TRUE(scratch.has("out/a_layers.psb"));
    EXPECT_EQ(states(), "sky:whole ");
}

TEST_F(Deep, ADamagedPlaneIsStatus4)
{
    Document document = layeredDocument();
    const auto& channel = document.records[1].channels[2];
    document.zeroFill(channel.data + channel.length / 2, channel.length / 4);
    write(scratch, "a.psd", document);
    const Ending ending = recover("a.psd");
    EXPECT_EQ(ending.status, 4);
    EXPECT_EQ(states(), "sky:whole sea:partial sand:whole ");
    EXPECT_TRUE(holds(ending.output, "2 of 3 layers are back complete, 1 in part"))
        << ending.output;
    EXPECT_TRUE(scratch.has("out/a_layers.psd"));
}

TEST_F(Deep, APictureMadeAnewIsAFileAndOnThePage)
{
    Document document = layeredDocument();
    document.cutAt(document.composite);
    write(scratch, "a.psd", document);
    const Ending ending = recover("a.psd");
    EXPECT_EQ(ending.status, 4);
    EXPECT_TRUE(holds(ending.output, "has been made anew from the layers")) << ending.output;
    EXPECT_TRUE(scratch.has("out/Composite.png"));
    const std::string report = contentsOf(scratch.at("out/report.json"));
    EXPECT_TRUE(holds(report, "\"composite_png\": \"Composite.png\"")) << report;
    EXPECT_TRUE(holds(report, "\"flattened\":true")) << report;
    EXPECT_FALSE(holds(report, "_layers.psd\"]")) << "the result is no source";
    EXPECT_TRUE(holds(contentsOf(scratch.at("out/report.html")), "Made anew from the layers."));
}

TEST_F(Deep, APictureMadeAnewOfALargeDocumentIsAFileToo)
{
    constexpr std::size_t kCompositeBytes = 2 + 3 * 40 * 60;
    Bytes document = largeDocument();
    document.resize(document.size() - kCompositeBytes);
    scratch.write("a.psb", std::string(document.begin(), document.end()));
    const Ending ending = recover("a.psb");
    EXPECT_TRUE(holds(ending.output, "has been made anew from the layers")) << ending.output;
    const std::string report = contentsOf(scratch.at("out/report.json"));
    EXPECT_TRUE(holds(report, "\"flattened\":true")) << report;
    EXPECT_TRUE(holds(report, "\"composite_png\": \"Composite.png\"")) << report;
    EXPECT_EQ(contentsOf(scratch.at("out/Composite.png")).substr(1, 3), "PNG");
}

TEST_F(Deep, AVanishedLayerIsStatus4)
{
    Document document = layeredDocument();
    const Document::Record& record = document.records[1];
    document.zeroFill(record.start, record.end - record.start);
    for (const Document::Channel& channel : record.channels) {
        document.zeroFill(channel.data, channel.length);
    }
    write(scratch, "a.psd", document);
    const Ending ending = recover("a.psd");
    EXPECT_EQ(ending.status, 4);
    EXPECT_TRUE(holds(ending.output, "1 more layer or group is gone without a trace"))
        << ending.output;
}

TEST_F(Deep, RawPlanesAreUnprovedAndStatus0)
{
    auto builder = layeredBuilder();
    builder.layer("raw").packing(Packing::raw);
    write(scratch, "a.psd", builder.build());
    EXPECT_EQ(recover("a.psd").status, 0);
    EXPECT_EQ(states(), kAllWhole + "raw:unproved ");
}

TEST_F(Deep, FilesInWhichNothingIsLeftAreStatus1AndTheReportStays)
{
    const std::vector<std::pair<std::string, std::string>> files = {
        {"", "It is empty: nothing is left"},
        {"8", "nothing is left in this file"},
        {std::string(100'000, '\0'), "Every byte of it is the same: nothing is left"},
        {std::string("nothing to see here, move along"), "Neither layers nor a picture"}};
    for (const auto& [contents, verdict] : files) {
        scratch.write("a.psd", contents);
        const Ending ending = repair(scratch.path(), {"--deep", "a.psd", "-o", "out", "--force"});
        EXPECT_EQ(ending.status, 1);
        EXPECT_TRUE(holds(ending.output, verdict)) << ending.output;
        EXPECT_TRUE(holds(ending.error, "Nothing of 'a.psd' could be recovered; "
                                        "'out/report.html' says why."))
            << ending.error;
        EXPECT_EQ(scratch.names("out"), (Names{"report.html", "report.json"}));
    }
}

TEST_F(Deep, NamesAFileWithoutExtensionAfterItself)
{
    write(scratch, "poster", layeredDocument());
    EXPECT_EQ(recover("poster").status, 0);
    EXPECT_TRUE(scratch.has("out/poster_layers.psd"));
}

TEST_F(Deep, FilesThatCannotBeReadAreRefusedAsTheRepairDoes)
{
    scratch.makeFolder("folder.psd");
    ASSERT_EQ(::mkfifo(scratch.at("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("gone.psd", scratch.at("link.psd"));
    const auto before = scratch.names();
    const std::vector<std::pair<std::string, std::string>> refusals = {
        {"nowhere.psd", "Cannot recover 'nowhere.psd': no such file."},
        {"folder.psd", "it is a folder"},
        {"fifo", "it is a FIFO, not a regular file. A recovery reads at many places"},
        {"/dev/zero", "it is a device"},
        {"link.psd", "the link leads to a file that does not exist"},
        {"-", "standard input cannot be recovered. A recovery reads"}};
    for (const auto& [document, words] : refusals) {
        const Ending ending = recover(document);
        EXPECT_EQ(ending.status, 1) << document;
        EXPECT_EQ(ending.output, "");
        EXPECT_TRUE(holds(ending.error, words)) << ending.error;
    }
    EXPECT_EQ(scratch.names(), before);
}

TEST_F(Deep, AFolderThatExistsIsStatus3AndForceReplacesIt)
{
    write(scratch, "a.psd", layeredDocument());
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    const Ending refused = recover("a.psd");
    EXPECT_EQ(refused.status, 3);
    EXPECT_TRUE(holds(refused.error, "Cannot create 'out': the folder exists."));
    EXPECT_EQ(contentsOf(scratch.at("out/mine")), "precious");
    EXPECT_EQ(repair(scratch.path(), {"--deep", "--force", "a.psd", "-o", "out"}).status, 0);
    EXPECT_FALSE(scratch.has("out/mine"));
    EXPECT_TRUE(scratch.has("out/a_layers.psd"));
    EXPECT_EQ(scratch.names(), (Names{"a.psd", "out"}));
}

TEST_F(Deep, WithoutRoomNothingIsWrittenAndTheOldFolderStays)
{
    write(scratch, "a.psd", layeredDocument());
    scratch.makeFolder("out");
    scratch.write("out/mine", "precious");
    const Ending ending = repair(
        scratch.path(), {"--deep", "--force", "a.psd", "-o", "out", "--keep-free", "1000000000G"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_TRUE(holds(ending.error, "there is not enough room")) << ending.error;
    EXPECT_TRUE(holds(ending.error, "keep less with --keep-free")) << ending.error;
    EXPECT_EQ(scratch.names("out"), Names{"mine"});
    EXPECT_EQ(scratch.names(), (Names{"a.psd", "out"}));
}

TEST_F(Deep, AVolumeThatFillsUpIsStatus3AndLeftAsItWas)
{
    write(scratch, "a.psd", layeredDocument());
    const std::string volume = scratch.makeFolder("volume");
    if (!mountVolume(volume, "100K")) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    const Ending ending =
        repair(scratch.path(), {"--deep", "a.psd", "-o", "volume/out", "--keep-free", "0"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_TRUE(holds(ending.error, "there is not enough room")) << ending.error;
    EXPECT_TRUE(holds(ending.error, "--keep-free")) << ending.error;
    EXPECT_TRUE(scratch.names("volume").empty());
    EXPECT_TRUE(unmountVolume(volume));
}

TEST_F(Deep, ANameTooLongForWhatIsMadeOfItIsShortened)
{
    const std::string name = std::string(251, 'n') + ".psd";
    write(scratch, name, layeredDocument());
    const Ending ending = recover(name);
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_TRUE(scratch.has("out/" + std::string(244, 'n') + "_layers.psd"));
    EXPECT_TRUE(
        holds(contentsOf(scratch.at("out/report.html")), std::string(244, 'n') + "_layers.psd"));
}

TEST_F(Deep, SeveralDocumentsHaveAFolderEachAndTheWorstStatusWins)
{
    Document damaged = layeredDocument();
    damaged.cutAt(damaged.size() * 6 / 10);
    write(scratch, "whole.psd", layeredDocument());
    write(scratch, "damaged.psd", damaged);
    scratch.write("empty.psd", "");
    const Ending two = repair(scratch.path(), {"--deep", "damaged.psd", "whole.psd", "-o", "two"});
    EXPECT_EQ(two.status, 4);
    EXPECT_TRUE(holds(two.output, "\n\nNo.  Name")) << two.output;
    const Ending three =
        repair(scratch.path(), {"--deep", "damaged.psd", "empty.psd", "whole.psd", "-o", "three"});
    EXPECT_EQ(three.status, 1);
    EXPECT_EQ(scratch.names("three"), (Names{"damaged.psd", "empty.psd", "whole.psd"}));
    EXPECT_EQ(statesIn(scratch.at("three/whole.psd/report.json")), kAllWhole);
    EXPECT_TRUE(scratch.has("three/empty.psd/report.html"));
}

TEST_F(Deep, OutputThatCannotBeWrittenIsGraverThanNothingFound)
{
    write(scratch, "a.psd", layeredDocument());
    scratch.write("empty.psd", "");
    scratch.makeFolder("out");
    scratch.write("out/a.psd", "precious");
    EXPECT_EQ(
        repair(scratch.path(), {"--deep", "--force", "a.psd", "empty.psd", "-o", "out"}).status, 3);
    EXPECT_EQ(contentsOf(scratch.at("out/a.psd")), "precious");
    EXPECT_TRUE(scratch.has("out/empty.psd/report.html"));
}

TEST_F(Deep, QuietSaysNothingOfSuccess)
{
    write(scratch, "a.psd", layeredDocument());
    const Ending ending = repair(scratch.path(), {"--deep", "-q", "a.psd", "-o", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output + ending.error, "");
    EXPECT_TRUE(scratch.has("out/a_layers.psd"));
}

TEST_F(Deep, VerboseTellsTheStages)
{
    write(scratch, "a.psd", layeredDocument());
    const Ending ending = repair(scratch.path(), {"--deep", "-v", "a.psd", "-o", "out"});
    EXPECT_TRUE(holds(ending.error, "log: deep recovery: Looking for layers\n")) << ending.error;
    EXPECT_FALSE(holds(recover("a.psd").error, "log: "));
}

TEST_F(Deep, NamesFromTheDocumentAreMadeSafe)
{
    auto builder = layeredBuilder();
    builder.layer("a\x1B[2J/../b");
    write(scratch, "c\x1B[2J.psd", builder.build());
    const Ending ending = recover("c\x1B[2J.psd");
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ((ending.output + ending.error).find('\x1B'), std::string::npos);
    EXPECT_EQ(scratch.names().size(), 2U);
}

TEST_F(Deep, ATerminalShowsProgressAndClearsIt)
{
    write(scratch, "a.psd", layeredDocument());
    auto setting = repairSetting(scratch.path(), {"--deep", "a.psd", "-o", "out"});
    setting.terminal = true;
    const Ending ending = run(setting);
    EXPECT_EQ(ending.status, 0);
    const std::string line = "  0 %  0 bytes written  -:-- left  a.psd";
    EXPECT_EQ(ending.error.rfind("\r" + line, 0), 0U) << ending.error;
    EXPECT_TRUE(holds(ending.error, " \rRecovered 8 files")) << ending.error;
}

TEST_F(Deep, RealDocumentsComeBackUndamagedAndWithoutTheirHeaders)
{
    // A header worked out anew can leave pixels unproved that the stated one proves.
    const auto found = [this] {
        std::string all = states();
        for (std::size_t at = 0; (at = all.find(":unproved ")) != std::string::npos;) {
            all.replace(at, 10, ":whole ");
        }
        return all;
    };
    auto documents = corpusDocuments(TALVEK_CORPUS_DEFAULT);
    TALVEK_SKIP_WITHOUT(documents);
    if (!isThorough()) {
        documents.resize(std::min<std::size_t>(documents.size(), kIsSlowBuild ? 3 : 12));
    }
    for (const std::string& document : documents) {
        std::string bytes = contentsOf(document);
        EXPECT_EQ(repair(scratch.path(), {"--deep", "-q", "--force", document, "-o", "out"}).status,
                  0)
            << document;
        const std::string undamaged = found();
        bytes.replace(0, 26, 26, '\0');
        scratch.write("a.psd", bytes);
        const int status =
            repair(scratch.path(), {"--deep", "-q", "--force", "a.psd", "-o", "out"}).status;
        EXPECT_TRUE(status == 0 || status == 4) << document << ": " << status;
        EXPECT_EQ(found(), undamaged) << document;
    }
}

} // namespace
} // namespace talvek::test
