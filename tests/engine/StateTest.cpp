#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>

namespace talvek::test {

namespace {

using namespace std::chrono_literals;

Document withThumbnail(std::size_t jpegBytes)
{
    return PsdBuilder{}.thumbnail(patternOf(jpegBytes)).composite(Packing::raw).build();
}

bool isOver(const std::future<void>& run, std::chrono::milliseconds wait)
{
    return run.wait_for(wait) == std::future_status::ready;
}

} // namespace

TEST(State, AFreshEngineHasNeitherFlagSetAndNothingElse)
{
    const Engine engine;
    EXPECT_FALSE(engine.pauseRepair());
    EXPECT_FALSE(engine.stopflag());
    EXPECT_FALSE(engine.boolValue);
    EXPECT_EQ(engine.mainImageOffset, 0);
    EXPECT_EQ(engine.offsetForProgressBar, 0.0);
    EXPECT_EQ(std::count(engine.offset8BIMnorm.begin(), engine.offset8BIMnorm.end(), 0), 500);
    EXPECT_EQ(std::count(engine.offset8BIMfxrp.begin(), engine.offset8BIMfxrp.end(), 0), 500);
}

TEST(State, WithoutAThumbnailProgressIsZeroOnceAndThenTheLayerAndMaskOffset)
{
    const Document document = PsdBuilder{}.colourModeData(Bytes(6, 1)).build();
    Workbench bench(document.bytes);
    bench.run();
    const auto figures = bench.heard.progress();
    ASSERT_GE(figures.size(), 2U);
    EXPECT_EQ(figures[0], 0.0);
    EXPECT_EQ(figures[1], percentageOf(36, document.size()));
    EXPECT_EQ(std::count(figures.begin(), figures.end(), 0.0), 2) << "no layers post 0 once more";
}

TEST(State, ThePauseFlagHoldsARunAndClearingItGoesOnAtTheSameByte)
{
    const Document document = withThumbnail(100);
    Workbench held(document.bytes);
    Workbench free(document.bytes);
    held.engine.setPauseRepair(true);
    const auto run = std::async(std::launch::async, [&held] { held.run(); });
    EXPECT_FALSE(isOver(run, 300ms));
    held.engine.setPauseRepair(false);
    EXPECT_TRUE(isOver(run, 3000ms));
    free.run();
    EXPECT_EQ(filesIn(held.folder), filesIn(free.folder));
}

TEST(State, PauseIsLookedAtOnceASecond)
{
    Workbench bench(withThumbnail(100).bytes);
    bench.engine.setPauseRepair(true);
    const auto start = std::chrono::steady_clock::now();
    const auto run = std::async(std::launch::async, [&bench] { bench.run(); });
    std::this_thread::sleep_for(200ms);
    bench.engine.setPauseRepair(false);
    run.wait();
    EXPECT_GE(std::chrono::steady_clock::now() - start, 900ms);
}

TEST(State, AStopDuringAPauseTakesEffectWhenThePauseIsLifted)
{
    Workbench bench(withThumbnail(100).bytes);
    bench.engine.setPauseRepair(true);
    const auto run = std::async(std::launch::async, [&bench] { bench.run(); });
    std::this_thread::sleep_for(100ms);
    bench.engine.setStopflag(true);
    EXPECT_FALSE(isOver(run, 1200ms));
    bench.engine.setPauseRepair(false);
    EXPECT_TRUE(isOver(run, 3000ms));
    EXPECT_EQ(bench.heard.progress().front(), 0.0) << "the search ended at its next byte";
}

TEST(State, TheStopFlagSuppressesCompletionEvenWhenAllStagesFinished)
{
    Workbench bench(withThumbnail(100).bytes);
    bench.heard.onPost = [&bench] {
        bench.engine.setStopflag(bench.heard.progress().back() == 100.0);
    };
    bench.run();
    EXPECT_EQ(bench.heard.completions(), 0U);
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
    EXPECT_EQ(bench.names(), "a.psd_repaired.psd,a.psd_thumbnail.jpg");
}

TEST(State, OneRefusedWriteIsOneAbortAndTheStagesAfterItAreSkipped)
{
    FaultySystem system;
    system.freeAtFirst = 1500;
    Workbench bench(withThumbnail(2500).bytes, system);
    bench.run();
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.heard.shapes(), "pappc");
    EXPECT_EQ(bench.names(), "a.psd_thumbnail.jpg");
}

TEST(State, EveryRefusedWriteIsAnAbortOfItsOwn)
{
    FaultySystem system;
    system.freeAtFirst = 10; // less than the rebuilt document's head, and than its 18 bytes
    Workbench bench(PsdBuilder{}.composite(Packing::raw).build().bytes, system);
    bench.run();
    EXPECT_EQ(bench.heard.aborts(), 2U);
    EXPECT_EQ(bench.names(), "");
}

TEST(State, ACompletedRunEndsWithExactlyAHundred)
{
    Workbench bench(withThumbnail(77).bytes);
    bench.run();
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
    EXPECT_EQ(bench.heard.shapes().substr(bench.heard.shapes().size() - 2), "pc");
}

TEST(State, ProgressCarriesItsTwoKeysAndNoMore)
{
    const Notifications heard;
    Engine engine;
    engine.postNotification(-12.5);
    const UserInfo expected = {{"status", std::string("Repair is in progress...")},
                               {"progress", -12.5}};
    EXPECT_EQ(heard.all, std::vector<UserInfo>{expected});
}

TEST(State, AbortCarriesAnEmptyStringAndEmptiesTheFolder)
{
    const Notifications heard;
    Engine engine;
    engine.recoverFileLocationField = "/somewhere";
    engine.abortProgram();
    const UserInfo expected = {{"unrepair", std::string()}};
    EXPECT_EQ(heard.all, std::vector<UserInfo>{expected});
    EXPECT_TRUE(engine.isAborted());
}

TEST(State, AbortingAgainPostsAgainAndTouchesNoFlag)
{
    const Notifications heard;
    Engine engine;
    engine.setPauseRepair(true);
    engine.abortProgram();
    engine.abortProgram();
    EXPECT_EQ(heard.shapes(), "aa");
    EXPECT_TRUE(engine.pauseRepair());
    EXPECT_FALSE(engine.stopflag());
}

TEST(State, CompletionCarriesTheListingAndTheBytes)
{
    Workbench bench(withThumbnail(100).bytes);
    bench.run();
    const UserInfo& last = bench.heard.all.back();
    EXPECT_EQ(last.size(), 3U);
    EXPECT_EQ(std::get<std::string>(last.at("complete")), "Repair Completed");
    EXPECT_EQ(bench.listing().size(), 2U);
    EXPECT_EQ(bench.listedBytes(), bench.engine.totalFilesSize);
}

TEST(State, ProgressIsNotClamped)
{
    Document document = withThumbnail(100);
    document.lieLength(document.layerAndMask.lengthField, 1'000'000);
    Workbench bench(document.bytes);
    bench.run();
    const auto figures = bench.heard.progress();
    const std::int64_t composite = document.layerAndMask.data + 1'000'000;
    EXPECT_EQ(*std::max_element(figures.begin(), figures.end()),
              percentageOf(composite, document.size()));
}

TEST(State, NotificationsArriveOnTheThreadOfTheRun)
{
    Workbench bench(withThumbnail(100).bytes);
    std::thread::id poster;
    bench.heard.onPost = [&poster] { poster = std::this_thread::get_id(); };
    std::thread runner([&bench] { bench.run(); });
    const std::thread::id expected = runner.get_id();
    runner.join();
    EXPECT_EQ(poster, expected);
}

TEST(State, ASecondRunStartsWithEmptyListsButKeepsTheFlagsAndTables)
{
    Workbench bench(withThumbnail(100).bytes);
    bench.engine.setStopflag(true);
    bench.engine.offset8BIMnorm[3] = 77;
    bench.engine.offset8BIMfxrp[4] = 78;
    bench.engine.boolValue = true;
    bench.engine.mutableStringArray = {"old"};
    bench.engine.mainFileArray = {"old"};
    bench.engine.nonRepeatArray = {"old"};
    bench.run();
    EXPECT_TRUE(bench.engine.stopflag() && bench.engine.boolValue);
    EXPECT_EQ(bench.engine.offset8BIMnorm[3] + bench.engine.offset8BIMfxrp[4], 77 + 78);
    EXPECT_TRUE(bench.engine.mutableStringArray.empty());
    EXPECT_TRUE(bench.engine.nonRepeatArray.empty());
    EXPECT_EQ(bench.engine.mainFileArray, std::vector{bench.folder + "/a.psd_repaired.psd"});
}

TEST(State, AfterARebuiltPackBitsDocumentASecondRunListsLayersAmongTheMainFiles)
{
    const Document document = PsdBuilder{}.thumbnail(patternOf(9)).layer("sky").build();
    Workbench bench(document.bytes);
    bench.run();
    EXPECT_TRUE(bench.engine.boolValue);
    bench.run();
    EXPECT_EQ(bench.engine.mainFileArray.front(), bench.folder + "/layer0_image.psd");
}

TEST(State, AnUnknownFreeSizeCountsAsNone)
{
    FaultySystem system;
    system.knowsFreeBytes = false;
    Workbench bench(withThumbnail(3000).bytes, system);
    bench.run();
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.engine.freeSpace, 0U);
}

} // namespace talvek::test
