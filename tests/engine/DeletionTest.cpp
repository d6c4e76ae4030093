#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace talvek::test {

namespace {

namespace fs = std::filesystem;

/// A document some folders down, and a keepsake in each folder on the way.
struct Buried : Workbench
{
    Buried() : Workbench(PsdBuilder{}.thumbnail(patternOf(50)).build().bytes)
    {
        fs::create_directories(place.pathOf("top/middle"));
        place.write("top/keepsake", {1});
        place.write("top/middle/keepsake", {2});
        fs::rename(document, place.pathOf("top/middle/a.psd"));
        document = place.pathOf("top/middle/a.psd");
    }

    /// Runs into `output`; true if nothing was posted, and everything is still there.
    bool isRefused(const std::string& output)
    {
        const Bytes before = readFile(document);
        engine.repairFileAtPath_andSaveAtPath(document, output);
        return heard.all.empty() && !before.empty() && readFile(document) == before &&
               fs::exists(place.pathOf("top/keepsake")) &&
               fs::exists(place.pathOf("top/middle/keepsake")) &&
               !fs::exists(output + "/a.psd_thumbnail.jpg");
    }
};

/// The user's home, for as long as this lives.
class HomeAt
{
public:
    explicit HomeAt(const std::string& path)
    {
        const char* home = std::getenv("HOME");
        m_before = home != nullptr ? home : "";
        ::setenv("HOME", path.c_str(), 1);
    }
    ~HomeAt() { ::setenv("HOME", m_before.c_str(), 1); }
    HomeAt(const HomeAt&) = delete;
    HomeAt& operator=(const HomeAt&) = delete;

private:
    std::string m_before;
};

} // namespace

// What is refused is asked first without an engine, so that a fault would delete nothing of worth.

TEST(Deletion, TheRootFolderIsRefused)
{
    EXPECT_TRUE(deletionIsRefused("/", "/nowhere"));
    EXPECT_TRUE(deletionIsRefused("//", "/nowhere"));
    EXPECT_TRUE(deletionIsRefused("/usr/..", "/nowhere"));
}

TEST(Deletion, ALinkToTheRootFolderIsOnlyALink)
{
    const TemporaryFolder place;
    fs::create_symlink("/", place.pathOf("root"));
    EXPECT_FALSE(deletionIsRefused(place.pathOf("root"), "/nowhere"));
    EXPECT_TRUE(deletionIsRefused(place.pathOf("root/."), "/nowhere"));
}

TEST(Deletion, TheHomeFolderAndWhatHoldsItAreRefused)
{
    Buried bench;
    const HomeAt home(bench.place.pathOf("home/user"));
    fs::create_directories(bench.place.pathOf("home/user"));
    fs::create_symlink(bench.place.pathOf("home"), bench.place.pathOf("link"));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("home/user")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("home/user/")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("link/user")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("home")));
    EXPECT_TRUE(fs::exists(bench.place.pathOf("home/user")));
}

TEST(Deletion, AFolderWithinTheHomeFolderIsNotRefused)
{
    Buried bench;
    fs::create_directories(bench.place.pathOf("home/user/out"));
    const HomeAt home(bench.place.pathOf("home/user"));
    EXPECT_FALSE(bench.isRefused(bench.place.pathOf("home/user/out")));
    EXPECT_TRUE(fs::exists(bench.place.pathOf("home/user/out/a.psd_thumbnail.jpg")));
}

TEST(Deletion, TheDocumentItselfIsRefused)
{
    Buried bench;
    EXPECT_TRUE(bench.isRefused(bench.document));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top/../top/middle/a.psd")));
}

TEST(Deletion, EveryFolderAboveTheDocumentIsRefused)
{
    Buried bench;
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top/middle")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top/middle/..")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top//middle///")));
    EXPECT_TRUE(bench.isRefused(bench.place.path()));
}

TEST(Deletion, AFolderAboveTheDocumentIsRefusedThroughALinkToo)
{
    Buried bench;
    fs::create_symlink(bench.place.pathOf("top"), bench.place.pathOf("link"));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("link/middle")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("link/.")));
}

TEST(Deletion, AFolderAboveADocumentThatIsNamedThroughALinkIsRefused)
{
    Buried bench;
    fs::create_symlink(bench.place.pathOf("top/middle"), bench.place.pathOf("link"));
    bench.document = bench.place.pathOf("link/a.psd");
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top/middle")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("top")));
}

TEST(Deletion, AFolderThatHoldsALinkToTheDocumentByWhichItWasNamedIsRefused)
{
    Buried bench;
    fs::create_directory(bench.place.pathOf("desk"));
    fs::create_symlink(bench.document, bench.place.pathOf("desk/a.psd"));
    bench.document = bench.place.pathOf("desk/a.psd");
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("desk")));
    EXPECT_TRUE(bench.isRefused(bench.place.pathOf("desk/a.psd")));
    EXPECT_TRUE(fs::is_symlink(bench.place.pathOf("desk/a.psd")));
}

TEST(Deletion, AFolderBesideTheDocumentWithALikeNameIsNotRefused)
{
    Buried bench;
    fs::create_directory(bench.place.pathOf("top/mid"));
    fs::create_directory(bench.place.pathOf("top/middle2"));
    EXPECT_FALSE(bench.isRefused(bench.place.pathOf("top/mid")));
    EXPECT_TRUE(fs::exists(bench.place.pathOf("top/mid/a.psd_thumbnail.jpg")));
    EXPECT_FALSE(deletionIsRefused(bench.place.pathOf("top/middle2"), bench.document));
}

TEST(Deletion, AFolderThatDoesNotExistIsNotRefused)
{
    EXPECT_FALSE(deletionIsRefused("/nowhere/at/all", "/nowhere/at/all/a.psd"));
    EXPECT_FALSE(deletionIsRefused("", "a.psd"));
}

TEST(Deletion, ALinkAtTheOutputPathGoesAndItsTargetStays)
{
    Buried bench;
    fs::create_directory(bench.place.pathOf("target"));
    bench.place.write("target/keepsake", {3});
    fs::create_symlink(bench.place.pathOf("target"), bench.folder);
    bench.run();
    EXPECT_FALSE(fs::is_symlink(bench.folder));
    EXPECT_TRUE(fs::exists(bench.folder + "/a.psd_thumbnail.jpg"));
    EXPECT_EQ(filesIn(bench.place.pathOf("target")).size(), 1U);
}

TEST(Deletion, ALinkThatLeadsNowhereMakesWayToo)
{
    Buried bench;
    fs::create_symlink(bench.place.pathOf("absent"), bench.folder);
    bench.run();
    EXPECT_TRUE(fs::is_directory(bench.folder));
    EXPECT_FALSE(fs::exists(bench.place.pathOf("absent")));
}

TEST(Deletion, LinksWithinTheFolderGoAndTheirTargetsStay)
{
    Buried bench;
    fs::create_directories(bench.folder + "/inner");
    fs::create_directory_symlink(bench.place.pathOf("top"), bench.folder + "/inner/top");
    fs::create_symlink(bench.place.pathOf("top/keepsake"), bench.folder + "/keepsake");
    bench.run();
    EXPECT_TRUE(fs::exists(bench.place.pathOf("top/keepsake")));
    EXPECT_TRUE(fs::exists(bench.place.pathOf("top/middle/keepsake")));
    EXPECT_FALSE(fs::exists(bench.folder + "/inner"));
}

TEST(Deletion, ALinkAtTheOutputPathToAFolderAboveTheDocumentIsOnlyALink)
{
    Buried bench;
    fs::create_directory_symlink(bench.place.pathOf("top"), bench.folder);
    bench.run();
    EXPECT_TRUE(fs::exists(bench.document));
    EXPECT_TRUE(fs::exists(bench.place.pathOf("top/keepsake")));
    EXPECT_TRUE(fs::exists(bench.folder + "/a.psd_thumbnail.jpg"));
}

TEST(Deletion, ARefusedRunOpensAndMakesNothing)
{
    FaultySystem system;
    Workbench bench(PsdBuilder{}.build().bytes, system);
    bench.engine.repairFileAtPath_andSaveAtPath(bench.document, bench.place.path());
    EXPECT_TRUE(system.opensForWriting.empty());
    EXPECT_TRUE(system.opened.empty());
    EXPECT_EQ(filesIn(bench.place.path()).size(), 1U);
}

} // namespace talvek::test
