#include "tests/cli/DeepDocuments.h"
#include "tests/cli/Process.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

namespace talvek::test {
namespace {

using Json = nlohmann::ordered_json;

std::vector<Json> linesOf(const std::string& output)
{
    std::vector<Json> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(Json::parse(line));
    }
    return lines;
}

class DeepJson : public ::testing::Test
{
protected:
    std::vector<Json> recover(const std::vector<std::string>& documents, int status)
    {
        std::vector<std::string> arguments = {"--deep", "--json", "-o", "out", "--force"};
        arguments.insert(arguments.end(), documents.begin(), documents.end());
        const Ending ending = repair(scratch.path(), arguments);
        EXPECT_EQ(ending.status, status) << ending.error;
        return linesOf(ending.output);
    }

    Scratch scratch;
};

TEST_F(DeepJson, CarriesProgressThatNeverGoesBackAndThenOneCompletion)
{
    write(scratch, "a.psd", layeredDocument());
    const auto lines = recover({"a.psd"}, 0);
    ASSERT_GT(lines.size(), 4U);
    double last = 0;
    for (std::size_t index = 0; index + 1 < lines.size(); ++index) {
        EXPECT_EQ(lines[index].size(), 2U);
        EXPECT_TRUE(lines[index]["status"].is_string());
        EXPECT_GE(lines[index]["progress"].get<double>(), last);
        last = lines[index]["progress"];
    }
    EXPECT_EQ(last, 100.0);
    EXPECT_EQ(lines[lines.size() - 2]["status"], "Done");
    EXPECT_EQ(lines.back()["complete"], "Recovery Completed");
}

TEST_F(DeepJson, TheCompletionListsTheFilesInTheFinalFolder)
{
    write(scratch, "a.psd", layeredDocument());
    const auto last = recover({"a.psd"}, 0).back();
    std::uint64_t total = 0;
    int number = 0;
    for (const auto& file : last["Files"]) {
        EXPECT_EQ(file.size(), 4U);
        EXPECT_EQ(file["fileNumber"], std::to_string(++number));
        const std::string path = file["filePath"];
        EXPECT_EQ(path.rfind("out/", 0), 0U) << path;
        const std::string contents = contentsOf(scratch.at(path));
        EXPECT_FALSE(contents.empty()) << path;
        EXPECT_EQ(file["fileSize"], std::to_string(contents.size() / 1024));
        total += contents.size();
    }
    EXPECT_EQ(number, 8);
    EXPECT_EQ(last["totalFilesSize"], total);
    EXPECT_EQ(last["Files"][0]["fileName"], "a_layers");
    EXPECT_EQ(last["Files"][4]["filePath"], "out/Layers/001 sky.png");
}

TEST_F(DeepJson, TheCompletionCarriesTheVerdictInWordsAndCounts)
{
    Document document = layeredDocument();
    const auto& channel = document.records[0].channels[1];
    document.zeroFill(channel.data + channel.length / 2, channel.length / 4);
    write(scratch, "a.psd", document);
    const auto last = recover({"a.psd"}, 4).back();
    EXPECT_EQ(last["verdict"], Json::parse(contentsOf(scratch.at("out/report.json")))["verdict"]);
    EXPECT_EQ(last["layers"], 3);
    EXPECT_EQ(last["whole"], 2);
    EXPECT_EQ(last["unproved"], 0);
    EXPECT_EQ(last["partial"], 1);
    EXPECT_EQ(last["lost"], 0);
    EXPECT_EQ(last["gone"], 0);
    EXPECT_EQ(last["composite"], "whole");
}

TEST_F(DeepJson, NothingFoundIsACompletionToo)
{
    scratch.write("a.psd", std::string(5000, '\0'));
    const auto last = recover({"a.psd"}, 1).back();
    EXPECT_EQ(last["verdict"], "Every byte of it is the same: nothing is left in this file.");
    EXPECT_EQ(last["layers"], 0);
    EXPECT_EQ(last["Files"].size(), 2U);
}

TEST_F(DeepJson, EveryLineNamesItsDocumentWhereThereAreSeveral)
{
    write(scratch, "a.psd", layeredDocument());
    scratch.write("b.psd", "");
    std::vector<std::string> completed;
    for (const auto& line : recover({"a.psd", "./b.psd"}, 1)) {
        ASSERT_TRUE(line.contains("document"));
        if (line.contains("complete")) {
            completed.push_back(line["document"]);
        }
    }
    EXPECT_EQ(completed, (std::vector<std::string>{"a.psd", "./b.psd"}));
}

TEST_F(DeepJson, WithoutRoomItEndsAsTheRepairDoes)
{
    write(scratch, "a.psd", layeredDocument());
    const Ending ending =
        repair(scratch.path(), {"--deep", "--json", "a.psd", "--keep-free", "1000000000G"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(linesOf(ending.output).back().dump(), "{\"unrepair\":\"\"}");
    EXPECT_EQ(ending.output.find("complete"), std::string::npos) << ending.output;
}

} // namespace
} // namespace talvek::test
