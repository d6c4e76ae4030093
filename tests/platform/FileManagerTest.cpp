#include "platform/FileManager.h"

#include "tests/platform/FaultySystem.h"
#include "tests/support/Bytes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace talvek::test {

namespace {

namespace fs = std::filesystem;

FileManager& manager()
{
    return FileManager::defaultManager();
}

} // namespace

TEST(FileManager, ExistsSeesFilesFoldersAndLinksThatLeadNowhere)
{
    const TemporaryFolder place;
    fs::create_symlink("nowhere", place.pathOf("link"));
    EXPECT_TRUE(manager().existsAtPath(place.write("file", {})));
    EXPECT_TRUE(manager().existsAtPath(place.path()));
    EXPECT_TRUE(manager().existsAtPath(place.pathOf("link")));
    EXPECT_FALSE(manager().existsAtPath(place.pathOf("absent")));
    EXPECT_FALSE(manager().existsAtPath(""));
}

TEST(FileManager, SizesFollowLinksAndAreZeroWhereTheyCannotBeTold)
{
    const TemporaryFolder place;
    fs::create_symlink(place.write("file", Bytes(77)), place.pathOf("link"));
    EXPECT_EQ(manager().fileSizeAtPath(place.pathOf("link")), 77);
    EXPECT_EQ(manager().fileSizeAtPath(place.pathOf("absent")), 0);
}

TEST(FileManager, CreatingAFileReplacesTheOneThatIsThere)
{
    const TemporaryFolder place;
    const std::string path = place.write("file", Bytes(100));
    EXPECT_TRUE(manager().createFile(path, bytesOf("ab")));
    EXPECT_EQ(readFile(path), bytesOf("ab"));
}

TEST(FileManager, CreatingAFileNeverGoesThroughALink)
{
    const TemporaryFolder place;
    fs::create_symlink(place.write("file", bytesOf("keep")), place.pathOf("link"));
    EXPECT_FALSE(manager().createFile(place.pathOf("link"), bytesOf("ab")));
    EXPECT_EQ(readFile(place.pathOf("file")), bytesOf("keep"));
}

TEST(FileManager, AFileThatCouldNotBeWrittenWholeIsAFailure)
{
    FaultySystem system;
    system.failingWrite = 1;
    FileManager files(system);
    const TemporaryFolder place;
    EXPECT_FALSE(files.createFile(place.pathOf("file"), bytesOf("ab")));
}

TEST(FileManager, AFolderNeedsItsParent)
{
    const TemporaryFolder place;
    EXPECT_FALSE(manager().createFolder(place.pathOf("a/b"), 0700));
    EXPECT_TRUE(manager().createFolders(place.pathOf("a/b/c"), 0700));
    EXPECT_TRUE(manager().isFolder(place.pathOf("a/b/c")));
    EXPECT_TRUE(manager().createFolders(place.pathOf("a/b/c"), 0700));
    EXPECT_FALSE(manager().createFolder(place.pathOf("a"), 0700));
}

TEST(FileManager, AFileInTheWayOfAFolderIsAFailure)
{
    const TemporaryFolder place;
    place.write("a", {});
    EXPECT_FALSE(manager().createFolders(place.pathOf("a/b"), 0700));
}

TEST(FileManager, RemovingTakesATreeWithAllItHolds)
{
    const TemporaryFolder place;
    fs::create_directories(place.pathOf("tree/a/b"));
    place.write("tree/a/b/file", {1});
    place.write("tree/file", {1});
    EXPECT_TRUE(manager().removeItem(place.pathOf("tree")));
    EXPECT_FALSE(fs::exists(place.pathOf("tree")));
    EXPECT_FALSE(manager().removeItem(place.pathOf("tree")));
}

TEST(FileManager, RemovingNeverFollowsALink)
{
    const TemporaryFolder place;
    fs::create_directory(place.pathOf("kept"));
    place.write("kept/file", {1});
    fs::create_directory(place.pathOf("tree"));
    fs::create_directory_symlink(place.pathOf("kept"), place.pathOf("tree/link"));
    fs::create_directory_symlink(place.pathOf("kept"), place.pathOf("link"));
    EXPECT_TRUE(manager().removeItem(place.pathOf("tree")));
    EXPECT_TRUE(manager().removeItem(place.pathOf("link")));
    EXPECT_TRUE(fs::exists(place.pathOf("kept/file")));
}

TEST(FileManager, MovingNeverReplacesAnything)
{
    const TemporaryFolder place;
    const std::string from = place.write("from", bytesOf("new"));
    const std::string to = place.write("to", bytesOf("old"));
    EXPECT_FALSE(manager().moveItem(from, to));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(readFile(to), bytesOf("old"));
    fs::create_symlink("nowhere", place.pathOf("link"));
    EXPECT_FALSE(manager().moveItem(from, place.pathOf("link")));
    EXPECT_TRUE(manager().moveItem(from, place.pathOf("free")));
    EXPECT_EQ(readFile(place.pathOf("free")), bytesOf("new"));
}

TEST(FileManager, MovingWhatIsNotThereFails)
{
    const TemporaryFolder place;
    EXPECT_FALSE(manager().moveItem(place.pathOf("absent"), place.pathOf("to")));
}

TEST(FileManager, FreeSizesAreToldForFoldersThatAreThere)
{
    const TemporaryFolder place;
    EXPECT_GT(manager().freeSizeAtPath(place.path()).value_or(0), 0U);
    EXPECT_GT(manager().freeSizeAtPath("").value_or(0), 0U) << "the current folder";
    EXPECT_FALSE(manager().freeSizeAtPath(place.pathOf("absent")).has_value());
}

TEST(FileManager, AFifoIsOpenedWithoutWaitingAndReadsAsEmpty)
{
    const TemporaryFolder place;
    ASSERT_EQ(::mkfifo(place.pathOf("fifo").c_str(), 0600), 0);
    ReadingFileHandle handle = manager().openForReading(place.pathOf("fifo"));
    Bytes into(26);
    EXPECT_EQ(handle.read(0, into), 0U);
}

} // namespace talvek::test
