#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "recovery/DeepRecovery.h"
#include "tests/frontend/DeepJourney.h"

#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <sys/stat.h>
#include <thread>

namespace talvek::test {

class DeepRuns : public DeepJourney
{
protected:
    [[nodiscard]] QPushButton* stopButton(const char* name) const
    {
        return deep().stopWindow()->findChild<QPushButton*>(name);
    }
};

TEST_F(DeepRuns, TheHomeScreensButtonRecoversTheChosenDocument)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    EXPECT_TRUE(filesIn(workingFolder()).contains("poster_layers.psd"));
    EXPECT_TRUE(filesIn(workingFolder()).contains("report.html"));
    EXPECT_EQ(filesIn(workingFolder() + "/Layers").size(), 4);
    EXPECT_TRUE(find<QLabel>("verdictLabel")->text().startsWith("All 3 layers are back"));
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_EQ(find<ProgressBar>("deepProgressBar")->doubleValue(), 100.0);
}

TEST_F(DeepRuns, WithNothingChosenItAsksForAnyFile)
{
    launch();
    desktop.chosenDocument = writeDamaged("no ending", threeLayers().build());
    click("deepButton");
    ASSERT_EQ(desktop.openPanels.size(), 1U);
    EXPECT_TRUE(desktop.openPanels[0].allowedFileTypes.isEmpty());
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, ACancelledPanelChangesNothing)
{
    launch();
    click("deepButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.alerts.empty());
}

TEST_F(DeepRuns, WithoutADocumentItSaysThatNoneIsSelected)
{
    launch();
    deep().recover(QString(), "0");
    EXPECT_EQ(desktop.alertTitles(), QStringList("No File Selected"));
    EXPECT_EQ(screen(), "0");
}

TEST_F(DeepRuns, WhatIsNoFileThatCanBeReadIsInvalid)
{
    launch();
    ASSERT_EQ(::mkfifo(path("fifo").toLocal8Bit().constData(), 0600), 0);
    for (const QString& document : {folder(), path("gone.psd"), path("fifo")}) {
        choose(document);
        click("deepButton");
        EXPECT_EQ(screen(), "0") << document.toStdString();
    }
    EXPECT_EQ(desktop.alertTitles(), QStringList(3, "Invalid File"));
    EXPECT_FALSE(QDir(workingFolder()).exists());
}

TEST_F(DeepRuns, AnyContentIsTaken)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("notes.txt", "no picture at all")));
    EXPECT_EQ(find<QLabel>("verdictLabel")->text(),
              "Neither layers nor a picture could be found in this file.");
}

TEST_F(DeepRuns, AnEmptyFileIsToldCalmlyThatNothingIsLeft)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("empty.psd", "")));
    EXPECT_EQ(find<QLabel>("verdictLabel")->text(), "It is empty: nothing is left in this file.");
    EXPECT_TRUE(find<QWidget>("nothingPage")->isVisible());
    EXPECT_FALSE(find<QPushButton>("saveLayeredButton")->isEnabled());
    EXPECT_FALSE(find<QPushButton>("savePicturesButton")->isEnabled());
    EXPECT_TRUE(find<QPushButton>("openReportButton")->isEnabled());
    click("deepBackButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.alerts.empty());
}

TEST_F(DeepRuns, ZerosAllOverAreToldToBeNothingToo)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("zeros.psd", QByteArray(100'000, '\0'))));
    EXPECT_TRUE(find<QLabel>("verdictLabel")->text().endsWith("nothing is left in this file."));
}

TEST_F(DeepRuns, ADocumentWithoutItsHeaderIsRefusedByTheRepairAndRecoveredHere)
{
    Document document = threeLayers().build();
    document.zeroFill(0, 26);
    launch();
    choose(writeDamaged("poster.psd", document));
    click("repairButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Invalid File"));
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_TRUE(find<QLabel>("deepSummaryLabel")->text().contains("40 × 30 pixels"));
}

TEST_F(DeepRuns, WhatIsFoundAppearsWhileItRuns)
{
    launch();
    auto& center = NotificationCenter::defaultCenter();
    // Once, so that what it finds later does not hold it up again.
    std::atomic<bool> hasTold{false};
    const int token =
        center.addObserver(recovery::DeepRecovery::kFoundNotification, [&](const UserInfo&) {
            if (!hasTold.exchange(true)) {
                system.holdReads = true;
            }
        });
    choose(writeDamaged("poster.psd", threeLayers().build()));
    click("deepButton");
    auto* layers = find<QLabel>("layersValueLabel");
    EXPECT_TRUE(waitFor([&] { return layers->text() == "3"; }));
    EXPECT_EQ(screen(), "4");
    EXPECT_EQ(find<QListView>("foundList")->model()->index(0, 0).data().toString(), "sand");
    EXPECT_EQ(find<QLabel>("masksValueLabel")->text(), "1");
    center.removeObserver(token);
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_EQ(find<QLabel>("pictureValueLabel")->text(), "Whole");
}

TEST_F(DeepRuns, ClosingHomeAndOtherDocumentsAreRefusedWhileItRuns)
{
    startHeldRun();
    EXPECT_FALSE(app->window()->close());
    EXPECT_FALSE(app->windowShouldClose(app->window()));
    EXPECT_FALSE(find<QWidget>("homeButton")->isEnabled());
    app->openDocument(writeDocument("other.psd"));
    app->deepRecoverFile(nullptr);
    EXPECT_EQ(screen(), "4");
    EXPECT_TRUE(app->corruptFilePath().endsWith("poster.psd"));
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(DeepRuns, AConfirmedAbortLeadsBackAndLeavesNothing)
{
    startHeldRun();
    click("deepAbortButton");
    ASSERT_TRUE(deep().stopWindow()->isVisible());
    QTest::mouseClick(stopButton("deepStopButton"), Qt::LeftButton);
    EXPECT_FALSE(deep().stopWindow()->isVisible());
    EXPECT_FALSE(find<QPushButton>("deepAbortButton")->isEnabled());
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "0"; }));
    EXPECT_FALSE(QDir(workingFolder()).exists());
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_TRUE(find<QWidget>("homeButton")->isEnabled());
}

TEST_F(DeepRuns, AWithdrawnAbortGoesOn)
{
    startHeldRun();
    click("deepAbortButton");
    QTest::mouseClick(stopButton("deepContinueButton"), Qt::LeftButton);
    EXPECT_FALSE(deep().stopWindow()->isVisible());
    EXPECT_EQ(screen(), "4");
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, ItHoldsStillWhileItAsks)
{
    startHeldRun();
    QTest::keyClick(app->window(), Qt::Key_Escape);
    ASSERT_TRUE(deep().stopWindow()->isVisible());
    system.holdReads = false;
    // Long enough for the run to end if it did not hold still.
    EXPECT_FALSE(waitFor([this] { return screen() == "5"; }, 300));
    QTest::keyClick(deep().stopWindow(), Qt::Key_Escape);
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepRuns, AfterAnAbortTheNextOneRuns)
{
    startHeldRun();
    deep().abort();
    deep().abortConfirmed();
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return screen() == "0"; }));
    EXPECT_TRUE(deepToEnd(writeDamaged("second.psd", threeLayers().build())));
    EXPECT_TRUE(filesIn(workingFolder()).contains("second_layers.psd"));
}

TEST_F(DeepRuns, AControllerThatGoesWhileItRunsGivesItUp)
{
    startHeldRun();
    const QString output = workingFolder();
    std::thread reader([this] {
        // Whether it is lifted before or behind the stop, the run ends without a report.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        system.holdReads = false;
    });
    app.reset();
    reader.join();
    EXPECT_FALSE(QFile::exists(output + "/report.html"));
}

TEST_F(DeepRuns, AFullDiskIsToldAndLeadsBack)
{
    launch();
    choose(writeDamaged("poster.psd", threeLayers().build()));
    system.failWrites = true;
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return !desktop.alerts.empty(); }));
    EXPECT_EQ(desktop.alertTitles(), QStringList("The recovered files could not be written"));
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(workingFolder()).exists());
}

TEST_F(DeepRuns, FromTheRepairsResultsAndBackToThem)
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

TEST_F(DeepRuns, NeitherRecoveryTouchesTheOthersFiles)
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

TEST_F(DeepRuns, LeavingUnsavedResultsIsAskedAbout)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    click("deepBackButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
    EXPECT_EQ(screen(), "5");
    click("homeButton");
    EXPECT_EQ(desktop.alerts.size(), 2U);
    EXPECT_EQ(screen(), "5");
}

TEST_F(DeepRuns, HomeAsksAboutTheRepairsResultsToo)
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

TEST_F(DeepRuns, ReplacingUnsavedResultsIsAskedAboutEvenByAnotherSession)
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

TEST_F(DeepRuns, AFolderOfThatNameThatIsSomebodyElsesIsLeftAlone)
{
    launch();
    QDir().mkpath(workingFolder());
    write("Deep recovery/mine.txt", "mine");
    ASSERT_TRUE(deepToEnd(writeDamaged("poster.psd", threeLayers().build())));
    EXPECT_EQ(filesIn(workingFolder()), QStringList("mine.txt"));
    EXPECT_TRUE(filesIn(path("Deep recovery 2")).contains("poster_layers.psd"));
}

TEST_F(DeepRuns, ADocumentInItsOwnWorkingFolderIsRefused)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app->homeScreen(nullptr);
    choose(workingFolder() + "/poster_layers.psd");
    click("deepButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Invalid File"));
    EXPECT_TRUE(filesIn(workingFolder()).contains("poster_layers.psd"));
}

TEST_F(DeepRuns, TheDocumentItselfIsNeverChanged)
{
    const Document document = threeLayers().build();
    ASSERT_TRUE(launchAndRecover(document));
    const QByteArray bytes(reinterpret_cast<const char*>(document.bytes.data()),
                           static_cast<qsizetype>(document.bytes.size()));
    EXPECT_EQ(contentsOf(path("poster.psd")), bytes);
}

TEST_F(DeepRuns, TheButtonsFollowTheState)
{
    launch();
    auto* button = find<QPushButton>("deepButton");
    EXPECT_TRUE(button->isEnabled());
    app->setIsRepairing(true);
    EXPECT_FALSE(button->isEnabled());
    app->setIsRepairing(false);
    app->setIsSaving(true);
    EXPECT_FALSE(find<QPushButton>("resultsDeepButton")->isEnabled());
}

} // namespace talvek::test
