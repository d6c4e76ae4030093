#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace talvek::test {
namespace {

/// Runs on the document; it must be refused with these words, and nothing may be made.
void expectRefusal(const Scratch& scratch, const std::string& document, const std::string& words)
{
    const auto before = scratch.names();
    const Ending ending = repair(scratch.path(), {document});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, "");
    EXPECT_NE(ending.error.find(words), std::string::npos) << ending.error;
    EXPECT_EQ(scratch.names(), before);
    EXPECT_EQ(repair(scratch.path(), {"--check", document}).status, 1);
}

std::string headerWith(const HeaderFields& fields)
{
    return header(fields) + std::string(12, '\0');
}

TEST(BadInput, NoSuchFile)
{
    expectRefusal(Scratch(), "nowhere.psd", "Cannot repair 'nowhere.psd': no such file.");
}

TEST(BadInput, LinkThatLeadsNowhere)
{
    const Scratch scratch;
    std::filesystem::create_symlink("gone.psd", scratch.at("link.psd"));
    expectRefusal(scratch, "link.psd", "the link leads to a file that does not exist");
}

TEST(BadInput, PathThroughAFile)
{
    const Scratch scratch;
    scratch.write("a.psd", smallDocument());
    expectRefusal(scratch, "a.psd/b.psd", "a part of the path is not a folder");
}

TEST(BadInput, Folder)
{
    const Scratch scratch;
    scratch.makeFolder("folder.psd");
    expectRefusal(scratch, "folder.psd", "it is a folder");
}

TEST(BadInput, FifoIsRefusedWithoutWaitingForAWriter)
{
    const Scratch scratch;
    ASSERT_EQ(::mkfifo(scratch.at("fifo").c_str(), 0600), 0);
    expectRefusal(scratch, "fifo", "it is a FIFO, not a regular file. A repair reads at many");
}

TEST(BadInput, Device)
{
    expectRefusal(Scratch(), "/dev/zero", "it is a device, not a regular file. A repair reads at");
}

TEST(BadInput, StandardInput)
{
    expectRefusal(Scratch(), "-", "standard input cannot be repaired. A repair reads at many");
}

TEST(BadInput, EmptyName)
{
    expectRefusal(Scratch(), "", "no such file");
}

TEST(BadInput, NoPermission)
{
    if (::getuid() != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    const Scratch scratch;
    ::chmod(scratch.write("secret.psd", smallDocument()).c_str(), 0);
    std::filesystem::copy(TALVEK_REPAIR_PROGRAM, scratch.at("program"));
    auto setting = repairSetting(scratch.path(), {"secret.psd"});
    setting.program = scratch.at("program");
    setting.asNobody = true;
    const Ending ending = run(setting);
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.error.find("you have no permission to read it"), std::string::npos);
}

TEST(BadInput, EmptyFile)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psd", ""), "the file is empty");
}

TEST(BadInput, FewerThan26Bytes)
{
    const Scratch scratch;
    const std::string bytes = header().substr(0, 25);
    expectRefusal(scratch, scratch.write("a.psd", bytes), "the file is too short: it has 25 bytes");
}

TEST(BadInput, OneByte)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psd", "8"), "it has 1 byte, and");
}

TEST(BadInput, OtherSignature)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psd", std::string(100, 'x')),
                  "it is not a PSD document: it does not begin with \"8BPS\"");
}

TEST(BadInput, LargeDocument)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psb", headerWith({.version = 2})),
                  "it is a large document (version 2, usually named .psb)");
}

TEST(BadInput, UnknownVersion)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psd", headerWith({.version = 7})),
                  "the header states version 7");
}

TEST(BadInput, DepthThatDoesNotExist)
{
    const Scratch scratch;
    expectRefusal(scratch, scratch.write("a.psd", headerWith({.depth = 24})),
                  "the header states 24 bits per channel");
}

TEST(BadInput, ColorModeThatDoesNotExist)
{
    for (const unsigned mode : {5U, 6U, 10U, 259U}) {
        const Scratch scratch;
        expectRefusal(scratch, scratch.write("a.psd", headerWith({.mode = mode})),
                      "the header states colour mode " + std::to_string(mode));
    }
}

TEST(BadInput, ReservedBytesThatAreNotZero)
{
    for (std::size_t place = 0; place < 6; ++place) {
        const Scratch scratch;
        std::string reserved(6, '\0');
        reserved[place] = 1;
        expectRefusal(scratch, scratch.write("a.psd", headerWith({.reserved = reserved})),
                      "reserved bytes of the header are not zero");
    }
}

TEST(BadInput, NothingToBeFound)
{
    const Scratch scratch;
    scratch.write("a.psd", emptyDocument());
    const Ending ending = repair(scratch.path(), {"a.psd"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.error.find("nothing was found in it that can be salvaged"), std::string::npos);
    EXPECT_EQ(scratch.names(), std::vector<std::string>{"a.psd"});
}

TEST(BadInput, NameTooLongForTheRebuiltDocumentIsWarnedOf)
{
    const Scratch scratch;
    const std::string name = std::string(246, 'n') + ".psd";
    scratch.write(name, smallDocument());
    const Ending ending = repair(scratch.path(), {name, "-q", "-o", "out"});
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.error.find("_repaired.psd' could not be made"), std::string::npos)
        << ending.error;
    EXPECT_FALSE(scratch.names("out").empty());
}

TEST(BadInput, NamesAreMadeSafeForTheTerminal)
{
    const Scratch scratch;
    const Ending ending = repair(scratch.path(), {"a\x1B[31m\n\xFF.psd"});
    EXPECT_NE(ending.error.find("'a\\x1B[31m\\n\\xFF.psd'"), std::string::npos) << ending.error;
}

} // namespace
} // namespace talvek::test
