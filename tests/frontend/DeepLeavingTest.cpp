#include "tests/frontend/DeepJourney.h"

#include <QTableView>

// The way back from the results, and what becomes of their folder.

namespace talvek::test {

class DeepLeaving : public DeepJourney
{};

TEST_F(DeepLeaving, FromTheRepairsResultsAndBackToThem)
{
    launch();
    ASSERT_TRUE(repairToEnd(writeDamaged("poster.psd", threeLayers().build())));
    const int rows = app->tableView->model()->rowCount();
    const QStringList repaired = filesIn(app->repairedFilesPath());
    click("resultsDeepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    desktop.alertAnswers = {AlertAnswer::Alternate};
    click("deepBackButton");
    EXPECT_EQ(screen(), "2");
    EXPECT_EQ(app->tableView->model()->rowCount(), rows);
    EXPECT_EQ(filesIn(app->repairedFilesPath()), repaired);
}

TEST_F(DeepLeaving, NeitherRecoveryTouchesTheOthersFiles)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    const QStringList recovered = filesIn(workingFolder());
    desktop.alertAnswers = {AlertAnswer::Alternate};
    click("homeButton");
    ASSERT_EQ(screen(), "0");
    EXPECT_EQ(filesIn(workingFolder()), recovered);
    ASSERT_TRUE(repairToEnd(path("poster.psd")));
    app->homeScreen(nullptr);
    EXPECT_EQ(filesIn(workingFolder()), recovered);
}

TEST_F(DeepLeaving, LeavingUnsavedResultsIsAskedAbout)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    click("deepBackButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
    EXPECT_EQ(screen(), "5");
    click("homeButton");
    EXPECT_EQ(desktop.alerts.size(), 2U);
    EXPECT_EQ(screen(), "5");
}

TEST_F(DeepLeaving, HomeAsksAboutTheRepairsResultsToo)
{
    launch();
    ASSERT_TRUE(repairToEnd(writeDamaged("poster.psd", threeLayers().build())));
    click("resultsDeepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    desktop.alertAnswers = {AlertAnswer::Alternate, AlertAnswer::Default};
    click("homeButton");
    EXPECT_EQ(desktop.alerts.size(), 2U);
    EXPECT_EQ(screen(), "5");
    EXPECT_TRUE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(DeepLeaving, ReplacingUnsavedResultsIsAskedAboutEvenByAnotherSession)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app.reset();
    launch();
    choose(writeDamaged("second.psd", threeLayers().build()));
    click("deepButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Replace the last deep recovery?"));
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(filesIn(workingFolder()).contains("poster_layers.psd"));
    desktop.alertAnswers = {AlertAnswer::Other};
    click("deepButton");
    EXPECT_EQ(desktop.opened.at(0), QUrl::fromLocalFile(workingFolder()));
    desktop.alertAnswers = {AlertAnswer::Alternate};
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_FALSE(filesIn(workingFolder()).contains("poster_layers.psd"));
}

TEST_F(DeepLeaving, AFolderOfThatNameThatIsSomebodyElsesIsLeftAlone)
{
    launch();
    QDir().mkpath(workingFolder());
    write("Deep recovery/mine.txt", "mine");
    ASSERT_TRUE(deepToEnd(writeDamaged("poster.psd", threeLayers().build())));
    EXPECT_EQ(filesIn(workingFolder()), QStringList("mine.txt"));
    EXPECT_TRUE(filesIn(path("Deep recovery 2")).contains("poster_layers.psd"));
}

TEST_F(DeepLeaving, ADocumentInItsOwnWorkingFolderIsRefused)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app->homeScreen(nullptr);
    choose(workingFolder() + "/poster_layers.psd");
    click("deepButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Invalid File"));
    EXPECT_TRUE(filesIn(workingFolder()).contains("poster_layers.psd"));
}

} // namespace talvek::test
