#include "cli/FolderNames.h"
#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

namespace talvek::test {
namespace {

using Names = std::vector<std::string>;

class SeveralDocuments : public ::testing::Test
{
protected:
    SeveralDocuments()
    {
        scratch.write("a.psd", smallDocument());
        scratch.write("b.psd", smallDocument());
        scratch.write("bad.psd", "");
    }

    Scratch scratch;
};

TEST_F(SeveralDocuments, EachGetsAFolderOfItsName)
{
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "b.psd", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names("out"), (Names{"a.psd", "b.psd"}));
    EXPECT_TRUE(scratch.has("out/a.psd/a.psd_repaired.psd"));
    EXPECT_TRUE(scratch.has("out/b.psd/b.psd_repaired.psd"));
}

TEST_F(SeveralDocuments, OneThatIsBadDoesNotKeepTheOthersBack)
{
    const Ending ending = repair(scratch.path(), {"bad.psd", "a.psd", "-o", "out"});
    EXPECT_EQ(ending.status, 1);
    EXPECT_NE(ending.error.find("Cannot repair 'bad.psd': the file is empty"), std::string::npos);
    EXPECT_EQ(scratch.names("out"), Names{"a.psd"});
}

TEST_F(SeveralDocuments, FolderThatStaysEmptyIsRemoved)
{
    EXPECT_EQ(repair(scratch.path(), {"bad.psd", "nowhere.psd", "-o", "out"}).status, 1);
    EXPECT_FALSE(scratch.has("out"));
}

TEST_F(SeveralDocuments, EmptyFolderThatWasThereBeforeStays)
{
    scratch.makeFolder("out");
    EXPECT_EQ(repair(scratch.path(), {"bad.psd", "nowhere.psd", "--force", "-o", "out"}).status, 1);
    EXPECT_TRUE(scratch.has("out"));
}

TEST_F(SeveralDocuments, SameNamesAreTold)
{
    scratch.makeFolder("more");
    scratch.write("more/A.PSD", smallDocument());
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "more/A.PSD", "a.psd", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names("out"), (Names{"A.PSD (2)", "a.psd", "a.psd (3)"}));
}

TEST_F(SeveralDocuments, FolderMustBeNew)
{
    scratch.makeFolder("out");
    const Ending ending = repair(scratch.path(), {"a.psd", "b.psd", "-o", "out"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.error.find("Cannot create 'out': the folder exists."), std::string::npos);
    EXPECT_TRUE(scratch.names("out").empty());
}

TEST_F(SeveralDocuments, ForceReplacesInnerFoldersAndLeavesTheRest)
{
    scratch.makeFolder("out/a.psd");
    scratch.write("out/a.psd/old", "");
    scratch.write("out/mine", "precious");
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "b.psd", "--force", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names("out"), (Names{"a.psd", "b.psd", "mine"}));
    EXPECT_FALSE(scratch.has("out/a.psd/old"));
    EXPECT_TRUE(scratch.has("out/a.psd/a.psd_repaired.psd"));
}

TEST_F(SeveralDocuments, ForceNeverReplacesAFileInside)
{
    scratch.makeFolder("out");
    scratch.write("out/a.psd", "precious");
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "b.psd", "--force", "-o", "out"}).status, 3);
    EXPECT_EQ(contentsOf(scratch.at("out/a.psd")), "precious");
    EXPECT_TRUE(scratch.has("out/b.psd/b.psd_repaired.psd"));
}

TEST_F(SeveralDocuments, ForceNeverReplacesTheFolderOfADocument)
{
    scratch.makeFolder("out/a.psd");
    scratch.write("out/a.psd/b.psd", smallDocument());
    const Ending ending =
        repair(scratch.path(), {"a.psd", "out/a.psd/b.psd", "--force", "-o", "out"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(contentsOf(scratch.at("out/a.psd/b.psd")), smallDocument());
    EXPECT_TRUE(scratch.has("out/b.psd/b.psd_repaired.psd"));
}

TEST_F(SeveralDocuments, PlaceThatDoesNotExist)
{
    const Ending ending = repair(scratch.path(), {"a.psd", "b.psd", "-o", "no/out"});
    EXPECT_EQ(ending.status, 3);
    EXPECT_NE(ending.error.find("the folder 'no' does not exist"), std::string::npos);
}

TEST(FolderNames, AreTakenOnce)
{
    FolderNames names;
    EXPECT_EQ(names.unusedFor("a (2)"), "a (2)");
    EXPECT_EQ(names.unusedFor("a"), "a");
    EXPECT_EQ(names.unusedFor("A"), "A (3)");
    EXPECT_EQ(names.unusedFor("\xFF"), "\xFF");
    EXPECT_EQ(names.unusedFor("\xFF"), "\xFF (2)");
}

} // namespace
} // namespace talvek::test
