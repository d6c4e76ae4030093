#include "frontend/HoverButton.h"
#include "frontend/ProgressBar.h"
#include "tests/frontend/Journey.h"

#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTextDocumentFragment>
#include <QtTest>

namespace talvek::test {

class RepairWorkflow : public Journey
{
protected:
    /// Starts a repair that stays at its first read until `system.holdReads` is lifted.
    void startAndHold()
    {
        choose(writeDocument());
        system.holdReads = true;
        app->repairFile(nullptr);
        ASSERT_TRUE(waitFor([this] { return system.heldReads > 0; }));
    }
    /// False if the window does not take it.
    bool drop(const QList<QUrl>& urls)
    {
        QMimeData data;
        data.setUrls(urls);
        QDragEnterEvent enter({50, 50}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(app->window(), &enter);
        QDropEvent drop({50, 50}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        drop.ignore();
        QApplication::sendEvent(app->window(), &drop);
        drain();
        return enter.isAccepted() && drop.isAccepted();
    }
    [[nodiscard]] QStringList namesIn(const QString& where) const
    {
        return QDir(where).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
};

TEST_F(RepairWorkflow, ThePanelAllowsPsdAndPddAndTheChoiceIsShown)
{
    launch();
    choose("/somewhere/a.psd");
    EXPECT_EQ(desktop.openPanels.at(0).allowedFileTypes, QStringList({"psd", "pdd"}));
    EXPECT_EQ(app->corruptFilePath(), "/somewhere/a.psd");
    EXPECT_EQ(app->filePathTextField->text(), "/somewhere/a.psd");
}

TEST_F(RepairWorkflow, CancellingThePanelKeepsTheEarlierChoice)
{
    launch();
    choose("/somewhere/a.psd");
    desktop.chosenDocument.reset();
    click("chooseButton");
    EXPECT_EQ(app->corruptFilePath(), "/somewhere/a.psd");
    EXPECT_EQ(app->filePathTextField->text(), "/somewhere/a.psd");
}

TEST_F(RepairWorkflow, RepairWithoutAChoiceAsksForOne)
{
    launch();
    click("repairButton");
    ASSERT_EQ(desktop.alerts.size(), 1U);
    EXPECT_EQ(desktop.alerts[0].title, "No File Selected");
    EXPECT_EQ(desktop.alerts[0].message, "Please select a file to repair");
    EXPECT_EQ(desktop.alerts[0].defaultButton, "OK");
    EXPECT_EQ(app->repair(), nullptr);
}

TEST_F(RepairWorkflow, AnInvalidFileIsRefusedAndLeavesItsEngine)
{
    launch();
    choose(write("a.psd", "not a document"));
    click("repairButton");
    EXPECT_EQ(desktop.alerts.at(0).title, "Invalid File");
    EXPECT_EQ(desktop.alerts.at(0).message, "Please select another file to repair");
    EXPECT_NE(app->repair(), nullptr);
    EXPECT_EQ(screen(), "0");
}

TEST_F(RepairWorkflow, EachPressAfterAnInvalidFileBuildsAFreshEngine)
{
    launch();
    choose(write("a.psd", "not a document"));
    click("repairButton");
    const std::shared_ptr<Repair> first = app->repair();
    click("repairButton");
    EXPECT_NE(app->repair(), first);
    EXPECT_EQ(desktop.alertTitles(), QStringList({"Invalid File", "Invalid File"}));
}

TEST_F(RepairWorkflow, ARealDocumentIsRepairedToItsResults)
{
    launch();
    ASSERT_TRUE(repairToEnd(writeDocument("my file.psd")));
    EXPECT_EQ(screen(), "2");
    EXPECT_EQ(app->sourcePathTextField->text(), "Source Path: " + path("my file.psd"));
    EXPECT_EQ(app->notificationTextField->text(), "Repair is in progress...");
    EXPECT_EQ(app->repairProgressBar->doubleValue(), 100.0);
    EXPECT_EQ(namesIn(app->repairedFilesPath()), QStringList("my file.psd_repaired.psd"));
    EXPECT_EQ(app->tableView->model()->rowCount(), 1);
    EXPECT_FALSE(app->isRepairing());
}

TEST_F(RepairWorkflow, StatusWinsOverComplete)
{
    launch();
    post({{"status", std::string("text")}, {"progress", 12.5}, {"complete", std::string()}});
    EXPECT_EQ(app->notificationTextField->text(), "text");
    EXPECT_EQ(app->repairProgressBar->doubleValue(), 12.5);
    EXPECT_EQ(screen(), "0");
}

TEST_F(RepairWorkflow, TheBarTakesAnyNumberAsItComes)
{
    launch();
    for (const double value : {250.0, -3.0, 40.0}) {
        post({{"status", std::string()}, {"progress", value}});
        EXPECT_EQ(app->repairProgressBar->doubleValue(), value);
        EXPECT_GE(app->repairProgressBar->fractionShown(), 0.0);
        EXPECT_LE(app->repairProgressBar->fractionShown(), 1.0);
    }
}

TEST_F(RepairWorkflow, CompleteWithoutFilesLeavesTheArrayAndShowsAnEmptyTable)
{
    launch();
    post({{"complete", std::string()}, {"totalFilesSize", std::uint64_t{7}}});
    EXPECT_FALSE(app->arrayFiles().has_value());
    EXPECT_EQ(app->totalFilesSize(), 7U);
    EXPECT_EQ(screen(), "2");
    EXPECT_EQ(app->tableView->model()->rowCount(), 0);
}

TEST_F(RepairWorkflow, CompleteWithoutTotalSetsItToZero)
{
    launch();
    app->setTotalFilesSize(99);
    post({{"complete", std::string()}, {"Files", std::vector<FileRecord>()}});
    EXPECT_EQ(app->totalFilesSize(), 0U);
}

TEST_F(RepairWorkflow, AnUnknownNotificationIsIgnored)
{
    launch();
    post({{"something", std::string()}});
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.sheets.empty());
}

TEST_F(RepairWorkflow, NotificationsOfAnyThreadAreActedOnInOrderInTheMainThread)
{
    launch();
    std::thread([] {
        for (const double value : {10.0, 30.0, 20.0}) {
            NotificationCenter::defaultCenter().post(
                "notif", {{"status", std::string("s")}, {"progress", value}});
        }
    }).join();
    EXPECT_EQ(app->repairProgressBar->doubleValue(), 0.0);
    drain();
    EXPECT_EQ(app->repairProgressBar->doubleValue(), 20.0);
}

TEST_F(RepairWorkflow, UnrepairShowsItsSheetAndGoesHomeWhenDismissed)
{
    launch();
    startAndHold();
    post({{"unrepair", std::string()}});
    ASSERT_EQ(desktop.sheets.size(), 1U);
    EXPECT_EQ(desktop.sheets[0].messageText, "File Couldn't Repaired.");
    EXPECT_EQ(desktop.sheets[0].button, "OK");
    EXPECT_EQ(desktop.sheets[0].iconName, "info_64");
    EXPECT_FALSE(app->isRepairing());
    EXPECT_EQ(screen(), "1");
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(app->corruptFilePath().isNull());
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return !QDir(app->repairedFilesPath()).exists(); }));
}

TEST_F(RepairWorkflow, EachUnrepairShowsItsOwnSheetAndACompleteBeneathIsLostAtHome)
{
    launch();
    post({{"unrepair", std::string()}});
    post({{"unrepair", std::string()}});
    postComplete({writeSalvaged("a.psd", 5)}, 5);
    EXPECT_EQ(desktop.sheets.size(), 2U);
    EXPECT_EQ(screen(), "2");
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
    EXPECT_FALSE(app->arrayFiles().has_value());
}

TEST_F(RepairWorkflow, AVolumeWithoutRoomEndsWithTheSheet)
{
    launch();
    system.freeBytesLeft = 0;
    choose(writeDocument());
    click("repairButton");
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty() && !app->isRepairing(); }));
    EXPECT_EQ(desktop.sheets[0].messageText, "File Couldn't Repaired.");
    while (!desktop.undismissed.empty()) {
        desktop.dismissSheet();
    }
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(waitFor([this] { return !QDir(app->repairedFilesPath()).exists(); }));
}

TEST_F(RepairWorkflow, ARunThatEndsWithoutAWordGivesTheSheet)
{
    launch();
    startAndHold();
    system.unreadableFrom = 0;
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !app->isRepairing(); }));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("File Couldn't Repaired."));
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(RepairWorkflow, AbortPausesTheEngineAndWithdrawingLetsItGoOn)
{
    launch();
    startAndHold();
    click("abortButton");
    EXPECT_TRUE(app->repair()->pauseRepair());
    EXPECT_TRUE(app->abortRepairWindow()->isVisible());
    EXPECT_TRUE(app->abortRepairWindow()->isModal());
    QTest::mouseClick(app->abortRepairWindow()->findChild<QPushButton*>("abortRepairCancelButton"),
                      Qt::LeftButton);
    EXPECT_FALSE(app->repair()->pauseRepair());
    EXPECT_FALSE(app->abortRepairWindow()->isVisible());
    EXPECT_EQ(screen(), "1");
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "2"; }));
}

TEST_F(RepairWorkflow, TheClockStandsStillWhileTheRepairIsPaused)
{
    launch();
    startAndHold();
    const auto* clock = find<QLabel>("repairPercentLabel");
    click("abortButton");
    const QString paused = clock->text();
    QTest::qWait(1200);
    app->abortRepairCancel(nullptr);
    EXPECT_EQ(clock->text(), paused);
    EXPECT_TRUE(waitFor([&] { return clock->text() != paused; }));
    system.holdReads = false;
}

TEST_F(RepairWorkflow, AConfirmedAbortStopsTheEngineAndGoesHomeAtOnce)
{
    launch();
    startAndHold();
    click("abortButton");
    const std::shared_ptr<Repair> engine = app->repair();
    QTest::mouseClick(app->abortRepairWindow()->findChild<QPushButton*>("abortRepairOkButton"),
                      Qt::LeftButton);
    EXPECT_TRUE(engine->stopflag());
    EXPECT_FALSE(engine->pauseRepair());
    EXPECT_EQ(screen(), "0");
    EXPECT_EQ(app->repair(), nullptr);
    EXPECT_FALSE(app->isRepairing());
}

TEST_F(RepairWorkflow, AfterAConfirmedAbortHomeStaysAndNothingIsLeft)
{
    launch();
    startAndHold();
    app->abortRepair(nullptr);
    app->abortRepairOk(nullptr);
    system.holdReads = false;
    QTest::qWait(1500);
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.sheets.empty());
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(RepairWorkflow, EscapeInTheAbortWindowWithdrawsTheAbort)
{
    launch();
    startAndHold();
    click("abortButton");
    QTest::keyClick(app->abortRepairWindow(), Qt::Key_Escape);
    EXPECT_FALSE(app->repair()->pauseRepair());
    EXPECT_EQ(screen(), "1");
}

TEST_F(RepairWorkflow, ARepairPressedWhileAStoppedOneDrainsWaitsForIt)
{
    launch();
    startAndHold();
    app->abortRepair(nullptr);
    app->abortRepairOk(nullptr);
    choose(writeDocument("second.psd"));
    click("repairButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(find<QLabel>("waitingLabel")->text().isEmpty());
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return screen() == "2"; }));
    EXPECT_EQ(namesIn(app->repairedFilesPath()), QStringList("second.psd_repaired.psd"));
}

TEST_F(RepairWorkflow, RepairWithoutAChoiceAsksForOneAlsoWhileAStoppedRepairDrains)
{
    launch();
    startAndHold();
    app->abortRepair(nullptr);
    app->abortRepairOk(nullptr);
    click("repairButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("No File Selected"));
    EXPECT_TRUE(find<QLabel>("waitingLabel")->text().isEmpty());
    system.holdReads = false;
}

TEST_F(RepairWorkflow, ASecondPressWhileARepairRunsDoesNothing)
{
    launch();
    startAndHold();
    const std::shared_ptr<Repair> engine = app->repair();
    app->repairFile(nullptr);
    EXPECT_EQ(app->repair(), engine);
    system.holdReads = false;
    EXPECT_TRUE(waitFor([this] { return screen() == "2"; }));
}

TEST_F(RepairWorkflow, ARepairThatCompletesWithdrawsTheQuestionWhetherToStopIt)
{
    launch();
    startAndHold();
    click("abortButton");
    postComplete({writeSalvaged("a.psd", 5)}, 5);
    EXPECT_FALSE(app->abortRepairWindow()->isVisible());
    EXPECT_EQ(screen(), "2");
    system.holdReads = false;
}

TEST_F(RepairWorkflow, ActionsOnNoEngineDoNothing)
{
    launch();
    app->abortRepair(nullptr);
    EXPECT_FALSE(app->abortRepairWindow()->isVisible());
    app->abortRepairCancel(nullptr);
    EXPECT_EQ(screen(), "0");
}

TEST_F(RepairWorkflow, ADocumentInTheTemporaryFolderIsRefused)
{
    launch();
    QDir().mkpath(app->repairedFilesPath());
    choose(write(".recovered files/a.psd", document()));
    click("repairButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Invalid File"));
    EXPECT_TRUE(QFile::exists(path(".recovered files/a.psd")));
}

TEST_F(RepairWorkflow, ADroppedFileIsChosenWhateverItsExtension)
{
    launch();
    EXPECT_TRUE(drop({QUrl::fromLocalFile(path("a.bin"))}));
    EXPECT_EQ(app->corruptFilePath(), path("a.bin"));
}

TEST_F(RepairWorkflow, OfSeveralFilesDroppedTogetherTheUserIsTold)
{
    launch();
    EXPECT_TRUE(drop({QUrl::fromLocalFile(path("a.psd")), QUrl::fromLocalFile(path("b.psd"))}));
    ASSERT_EQ(desktop.alertTitles(), QStringList("One document at a time"));
    EXPECT_TRUE(desktop.alerts[0].message.contains("2 files"));
    EXPECT_TRUE(app->corruptFilePath().isNull());
}

TEST_F(RepairWorkflow, WhatIsNoFileOfThisMachineCannotBeDropped)
{
    launch();
    EXPECT_FALSE(drop({QUrl("https://host.example/a.psd")}));
    EXPECT_TRUE(app->corruptFilePath().isNull() && desktop.alerts.empty());
}

TEST_F(RepairWorkflow, AFileNameIsNeverTakenForMarkup)
{
    launch();
    const QString document = writeDocument("<b>x<b><img src=y>.psd");
    ASSERT_TRUE(repairToEnd(document));
    const auto* title = find<QLabel>("dropTitleLabel");
    EXPECT_EQ(title->textFormat(), Qt::PlainText);
    EXPECT_EQ(title->text(), "<b>x<b><img src=y>.psd");
    for (const QWidget* field : {app->filePathTextField, app->sourcePathTextField}) {
        const QString shown = QTextDocumentFragment::fromHtml(field->toolTip()).toPlainText();
        EXPECT_TRUE(shown.endsWith(document)) << shown.toStdString();
    }
    EXPECT_EQ(app->tableView->model()->index(0, 1).data().toString(),
              "<b>x<b><img src=y>.psd_repaired");
}

TEST_F(RepairWorkflow, AFileNameNeverBreaksALineNorTurnsTheDirection)
{
    launch();
    const QString document = writeDocument(QString("a\nb\u202Egpj.psd"));
    ASSERT_TRUE(repairToEnd(document));
    EXPECT_EQ(find<QLabel>("dropTitleLabel")->text(), "a\\nb\\u202Egpj.psd");
    EXPECT_EQ(app->tableView->model()->index(0, 1).data().toString(),
              "a\\nb\\u202Egpj.psd_repaired");
    click("previewButton");
    EXPECT_EQ(app->imageViewWindow()->windowTitle(), "a\\nb\\u202Egpj.psd_repaired-preview");
}

TEST_F(RepairWorkflow, ADroppedFileIsIgnoredWhileBusy)
{
    launch();
    app->setIsRepairing(true);
    app->openDocument(path("a.psd"));
    EXPECT_TRUE(app->corruptFilePath().isNull());
}

TEST_F(RepairWorkflow, TheDocumentIsNeverChanged)
{
    launch();
    const QString document = writeDocument();
    const QByteArray before = contentsOf(document);
    ASSERT_TRUE(repairToEnd(document));
    EXPECT_EQ(contentsOf(document), before);
}

} // namespace talvek::test
