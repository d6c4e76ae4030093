#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <unistd.h>

namespace talvek::test {
namespace {

const std::string kManual = TALVEK_SOURCE_FOLDER "/docs/talvek-psd-repair.1";
const std::string kCompletions = TALVEK_SOURCE_FOLDER "/cli/completions/";

Ending shell(const Scratch& scratch, const std::string& script)
{
    auto setting = repairSetting(scratch.path(), {"-c", script});
    setting.program = "/bin/bash";
    return run(setting);
}

/// The long options, as the help has them.
std::vector<std::string> longOptions()
{
    std::vector<std::string> options;
    const std::string help = repair("/", {"--help"}).output;
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz-";
    for (std::size_t at = help.find("--"); at != std::string::npos;) {
        const std::size_t end = help.find_first_not_of(kLetters, at);
        options.push_back(help.substr(at + 2, end - at - 2));
        at = help.find("--", end);
    }
    return options;
}

std::string withoutBackslashes(std::string text)
{
    std::erase(text, '\\');
    return text;
}

TEST(Documentation, EveryOptionIsInTheManualAndInEveryCompletion)
{
    const auto options = longOptions();
    ASSERT_GE(options.size(), 8U);
    const std::string manual = withoutBackslashes(contentsOf(kManual));
    const std::string bash = contentsOf(kCompletions + "talvek-psd-repair.bash");
    const std::string zsh = contentsOf(kCompletions + "_talvek-psd-repair");
    const std::string fish = contentsOf(kCompletions + "talvek-psd-repair.fish");
    for (const std::string& option : options) {
        EXPECT_NE(manual.find("--" + option), std::string::npos) << option;
        EXPECT_NE(bash.find("--" + option), std::string::npos) << option;
        EXPECT_NE(zsh.find("--" + option), std::string::npos) << option;
        EXPECT_NE(fish.find("-l " + option + " "), std::string::npos) << option;
    }
}

TEST(Documentation, ManualIsFormattedWithoutWarning)
{
    const Scratch scratch;
    const Ending ending = shell(scratch, "command -v man >/dev/null || exit 77; LC_ALL=C.UTF-8 "
                                         "man --warnings -E UTF-8 -l '" +
                                             kManual + "'");
    if (ending.status == 77) {
        GTEST_SKIP() << "man is not installed";
    }
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    EXPECT_NE(ending.output.find("SYNOPSIS"), std::string::npos);
}

TEST(Installation, PutsEverythingWhereItIsLookedFor)
{
    const Scratch scratch;
    const Ending ending = shell(scratch, "'" TALVEK_CMAKE "' --install '" TALVEK_BUILD_FOLDER
                                         "' --component command-line --prefix '" +
                                             scratch.at("usr") + "'");
    ASSERT_EQ(ending.status, 0) << ending.error;
    for (const char* file : {"usr/bin/talvek-psd-repair", "usr/share/man/man1/talvek-psd-repair.1",
                             "usr/share/bash-completion/completions/talvek-psd-repair",
                             "usr/share/zsh/site-functions/_talvek-psd-repair",
                             "usr/share/fish/vendor_completions.d/talvek-psd-repair.fish"}) {
        EXPECT_TRUE(scratch.has(file)) << file;
    }
    EXPECT_EQ(::access(scratch.at("usr/bin/talvek-psd-repair").c_str(), X_OK), 0);
}

/// What bash offers for the last of the words.
std::string completed(const Scratch& scratch, const std::string& words, int index)
{
    return shell(scratch, "source '" + kCompletions + "talvek-psd-repair.bash'\n" +
                              "COMP_WORDS=(talvek-psd-repair " + words + ")\n" + "COMP_CWORD=" +
                              std::to_string(index) + "\n" + "_talvek_psd_repair\n" +
                              "printf '%s\\n' \"${COMPREPLY[@]}\" | sort | tr '\\n' ';'")
        .output;
}

TEST(BashCompletion, OffersOptionsDocumentsAndFolders)
{
    const Scratch scratch;
    scratch.write("my poster.psd", "");
    scratch.write("OLD.PSD", "");
    scratch.write("wall.psb", "");
    scratch.write("notes.txt", "");
    scratch.makeFolder("drafts");
    EXPECT_EQ(completed(scratch, "--ve", 1), "--verbose;--version;");
    EXPECT_EQ(completed(scratch, "''", 1), "OLD.PSD;drafts;my poster.psd;wall.psb;");
    EXPECT_EQ(completed(scratch, "--reference O", 2), "OLD.PSD;");
    EXPECT_EQ(completed(scratch, "--re", 1), "--reference;");
    EXPECT_EQ(completed(scratch, "-o ''", 2), "drafts;");
    EXPECT_EQ(completed(scratch, "--output = d", 3), "drafts;");
    EXPECT_EQ(completed(scratch, "--output =", 2), "drafts;");
    EXPECT_EQ(completed(scratch, "--keep-free 2", 2), "256M;");
    EXPECT_EQ(completed(scratch, "-- my", 2), "my poster.psd;");
}

TEST(OtherCompletions, AreWellFormed)
{
    const Scratch scratch;
    const std::string checks[] = {"zsh -n '" + kCompletions + "_talvek-psd-repair'",
                                  "fish -n '" + kCompletions + "talvek-psd-repair.fish'"};
    int checked = 0;
    for (const std::string& check : checks) {
        const std::string program = check.substr(0, check.find(' '));
        if (shell(scratch, "command -v " + program).status == 0) {
            const Ending ending = shell(scratch, check);
            EXPECT_EQ(ending.status, 0) << ending.error;
            ++checked;
        }
    }
    if (checked == 0) {
        GTEST_SKIP() << "neither zsh nor fish is installed";
    }
}

} // namespace
} // namespace talvek::test
