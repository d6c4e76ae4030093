#include "cli/NotificationJson.h"
#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <sstream>

namespace talvek::test {
namespace {

std::vector<nlohmann::json> linesOf(const std::string& output)
{
    std::vector<nlohmann::json> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

TEST(JsonLines, CarryProgressAndThenTheCompletion)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "--json", "-o", "out"});
    ASSERT_EQ(ending.status, 0);
    const auto lines = linesOf(ending.output);
    ASSERT_GT(lines.size(), 2U);
    for (std::size_t index = 0; index + 1 < lines.size(); ++index) {
        EXPECT_EQ(lines[index]["status"], "Repair is in progress...");
        EXPECT_TRUE(lines[index]["progress"].is_number());
        EXPECT_EQ(lines[index].size(), 2U);
    }
    EXPECT_EQ(lines[lines.size() - 2]["progress"], 100.0);
    EXPECT_EQ(lines.back()["complete"], "Repair Completed");
    EXPECT_EQ(lines.back().size(), 3U);
}

TEST(JsonLines, CompletionListsTheFilesInTheFinalFolder)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const std::string folder = scratch.at("out");
    const auto last = linesOf(repair("/", {scratch.at("a.psd"), "--json", "-o", folder}).output);
    std::uint64_t total = 0;
    int number = 0;
    for (const auto& file : last.back()["Files"]) {
        EXPECT_EQ(file.size(), 4U);
        EXPECT_EQ(file["fileNumber"], std::to_string(++number));
        const std::string path = file["filePath"];
        EXPECT_EQ(path.rfind(folder + "/", 0), 0U);
        EXPECT_EQ(file["fileSize"], std::to_string(contentsOf(path).size() / 1024));
        total += contentsOf(path).size();
    }
    EXPECT_EQ(number, kFilesOfSmallDocument);
    EXPECT_EQ(last.back()["totalFilesSize"], total);
    EXPECT_EQ(last.back()["Files"][0]["fileName"], "a.psd_repaired");
}

TEST(JsonLines, AbortIsPrintedAndNoCompletion)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "--json", "--keep-free", "1000000000G"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.output.find("{\"unrepair\":\"\"}\n"), std::string::npos) << ending.output;
    EXPECT_EQ(ending.output.find("complete"), std::string::npos);
}

TEST(JsonLines, NoCompletionWhenNothingIsFound)
{
    const Scratch scratch;
    scratch.write("a.psd", emptyDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "--json"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_FALSE(linesOf(ending.output).empty());
    EXPECT_EQ(ending.output.find("complete"), std::string::npos);
}

TEST(JsonLines, ErrorsGoToStandardErrorAlone)
{
    const Ending ending = repair(Scratch().path(), {"a.psd", "--json"});
    EXPECT_EQ(ending.output, "");
    EXPECT_NE(ending.error, "");
}

TEST(JsonLines, QuietLeavesThem)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "--json", "-q"});
    EXPECT_EQ(ending.error, "");
    EXPECT_EQ(linesOf(ending.output).back()["complete"], "Repair Completed");
}

TEST(JsonLines, InvalidUtf8BecomesTheReplacementCharacter)
{
    const Scratch scratch;
    scratch.write("\xFF.psd", smallDocument());
    const auto lines = linesOf(repair(scratch.path(), {"\xFF.psd", "--json", "-o", "o"}).output);
    EXPECT_EQ(lines.back()["Files"][0]["filePath"], "o/\xEF\xBF\xBD.psd_repaired.psd");
}

TEST(JsonLines, SeveralDocumentsAreToldApart)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    scratch.write("b.psd", smallDocument());
    const Ending ending = repair(scratch.path(), {"a.psd", "./b.psd", "--json"});
    std::vector<std::string> completed;
    for (const auto& line : linesOf(ending.output)) {
        ASSERT_TRUE(line.contains("document"));
        if (line.contains("complete")) {
            completed.push_back(line["document"]);
        }
    }
    EXPECT_EQ(completed, (std::vector<std::string>{"a.psd", "./b.psd"}));
}

TEST(NotificationJson, NumbersAreTheShortestThatReadBack)
{
    EXPECT_EQ(jsonNumber(100.0), "100");
    EXPECT_EQ(jsonNumber(0.1), "0.1");
    EXPECT_EQ(jsonNumber(100.0 / 3.0), "33.333333333333336");
    EXPECT_EQ(jsonNumber(-0.0), "-0");
}

TEST(NotificationJson, NumbersThatAreNoneAreStrings)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(jsonNumber(std::numeric_limits<double>::quiet_NaN()), "\"nan\"");
    EXPECT_EQ(jsonNumber(kInfinity), "\"inf\"");
    EXPECT_EQ(jsonNumber(-kInfinity), "\"-inf\"");
}

} // namespace
} // namespace talvek::test
