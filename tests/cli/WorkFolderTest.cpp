#include "cli/WorkFolder.h"

#include "tests/cli/Documents.h"
#include "tests/cli/Process.h"
#include "tests/cli/Scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talvek::test {
namespace {

TEST(WorkFolder, StandsBesideTheDestinationAndIsTheUsersAlone)
{
    const Scratch scratch;
    const Destination destination(scratch.at("out"));
    const WorkFolder work(destination);
    ASSERT_TRUE(work.isMade());
    ASSERT_EQ(scratch.names().size(), 1U);
    EXPECT_EQ(scratch.names()[0].rfind(".out.talvek-", 0), 0U);
    EXPECT_EQ(scratch.names()[0].size(), std::string(".out.talvek-XXXXXX").size());
    struct stat status = {};
    ASSERT_EQ(::stat(work.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST(WorkFolder, HoldsItsLock)
{
    const Scratch scratch;
    const Destination destination(scratch.at("out"));
    const WorkFolder work(destination);
    const int lock = ::open((work.path() + "/lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(lock, 0);
    EXPECT_NE(::flock(lock, LOCK_EX | LOCK_NB), 0);
    ::close(lock);
}

TEST(WorkFolder, GoesWithTheObject)
{
    const Scratch scratch;
    const Destination destination(scratch.at("out"));
    {
        const WorkFolder work(destination);
        std::filesystem::create_directories(work.filesPath() + "/deep/down");
    }
    EXPECT_TRUE(scratch.names().empty());
}

TEST(WorkFolder, PublishesNothingOverSomething)
{
    const Scratch scratch;
    const Destination destination(scratch.at("out"));
    WorkFolder work(destination);
    scratch.makeFolder("out");
    std::filesystem::create_directory(work.filesPath());
    EXPECT_EQ(work.publish(std::nullopt), WorkFolder::Outcome::nameTaken);
    EXPECT_TRUE(std::filesystem::exists(work.filesPath()));
}

TEST(WorkFolder, ReportsWhatIsNotThereToPublish)
{
    const Scratch scratch;
    const Destination destination(scratch.at("out"));
    WorkFolder work(destination);
    EXPECT_EQ(work.publish(std::nullopt), WorkFolder::Outcome::failed);
    EXPECT_EQ(errno, ENOENT);
}

/// A folder as a killed run leaves it behind.
std::string makeStale(const Scratch& scratch, const std::string& name)
{
    scratch.makeFolder(name + "/files");
    scratch.write(name + "/files/half", "");
    scratch.write(name + "/lock", "");
    return name;
}

class StaleFolders : public ::testing::Test
{
protected:
    /// True if the folder is still there after another run's look round.
    [[nodiscard]] bool survives(const std::string& name) const
    {
        WorkFolder::clearStale(Destination(scratch.at("out")));
        return scratch.has(name);
    }

    Scratch scratch;
};

TEST_F(StaleFolders, AreCleared)
{
    EXPECT_FALSE(survives(makeStale(scratch, ".out.talvek-aB3xYz")));
}

TEST_F(StaleFolders, AreClearedBesideARelativeDestination)
{
    scratch.write("a.psd", smallDocument());
    makeStale(scratch, ".out.talvek-aB3xYz");
    EXPECT_EQ(repair(scratch.path(), {"a.psd", "-o", "out"}).status, 0);
    EXPECT_EQ(scratch.names(), (std::vector<std::string>{"a.psd", "out"}));
}

TEST_F(StaleFolders, OfOtherNamesStay)
{
    for (const char* name : {".other.talvek-aB3xYz", ".out.talvek-aB3xY", ".out.talvek-aB3xYz1",
                             ".out.talvek-aB3x.z", "out.talvek-aB3xYz", ".out.talvek"}) {
        EXPECT_TRUE(survives(makeStale(scratch, name))) << name;
    }
}

TEST_F(StaleFolders, WithoutALockStay)
{
    scratch.makeFolder(".out.talvek-aB3xYz/files");
    EXPECT_TRUE(survives(".out.talvek-aB3xYz"));
}

TEST_F(StaleFolders, WhoseLockIsHeldStay)
{
    makeStale(scratch, ".out.talvek-aB3xYz");
    const int lock = ::open(scratch.at(".out.talvek-aB3xYz/lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX | LOCK_NB), 0);
    EXPECT_TRUE(survives(".out.talvek-aB3xYz"));
    ::close(lock);
    EXPECT_FALSE(survives(".out.talvek-aB3xYz"));
}

TEST_F(StaleFolders, ThatAreLinksStayWithWhatTheyLeadTo)
{
    makeStale(scratch, "elsewhere");
    std::filesystem::create_directory_symlink("elsewhere", scratch.at(".out.talvek-aB3xYz"));
    EXPECT_TRUE(survives(".out.talvek-aB3xYz"));
    EXPECT_TRUE(scratch.has("elsewhere/files/half"));
}

TEST_F(StaleFolders, OfAnotherUserStay)
{
    makeStale(scratch, ".out.talvek-aB3xYz");
    if (::chown(scratch.at(".out.talvek-aB3xYz").c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only the superuser can give folders away";
    }
    EXPECT_TRUE(survives(".out.talvek-aB3xYz"));
}

TEST_F(StaleFolders, GiveBackAFolderThatWasMovedAside)
{
    makeStale(scratch, ".out.talvek-aB3xYz");
    scratch.makeFolder(".out.talvek-aB3xYz/replaced");
    scratch.write(".out.talvek-aB3xYz/replaced/mine", "precious");
    EXPECT_FALSE(survives(".out.talvek-aB3xYz"));
    EXPECT_EQ(contentsOf(scratch.at("out/mine")), "precious");
}

} // namespace
} // namespace talvek::test
