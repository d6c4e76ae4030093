#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "tests/frontend/DeepSavingJourney.h"

#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

namespace talvek::test {

TEST_F(DeepSaving, TheLayeredDocumentIsSavedAsOneFile)
{
    showResults();
    ASSERT_TRUE(saveToEnd("saveLayeredButton", "mine.psd"));
    EXPECT_EQ(desktop.savePanels.at(0).nameField, "poster_layers.psd");
    EXPECT_EQ(filesIn(path("out")), QStringList("mine.psd"));
    EXPECT_EQ(contentsOf(path("out/mine.psd")), recovered("poster_layers.psd"));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
    EXPECT_EQ(screen(), "5");
}

TEST_F(DeepSaving, ADocumentNamedWithoutItsEndingGetsIt)
{
    showResults();
    ASSERT_TRUE(saveToEnd("saveLayeredButton", "mine"));
    EXPECT_EQ(filesIn(path("out")), QStringList("mine.psd"));
}

TEST_F(DeepSaving, TheLayersAreSavedAsPicturesInOneFolder)
{
    showResults();
    ASSERT_TRUE(saveToEnd("savePicturesButton", "layers"));
    EXPECT_EQ(desktop.savePanels.at(0).nameField, "poster layers");
    EXPECT_EQ(filesIn(path("out/layers")),
              QStringList({"001 sky.png", "002 sea.png", "003 sand mask.png", "003 sand.png",
                           "Composite.png"}));
    EXPECT_EQ(contentsOf(path("out/layers/001 sky.png")), recovered("Layers/001 sky.png"));
}

TEST_F(DeepSaving, EverythingIsSavedAsItStandsWithoutOurMark)
{
    showResults();
    ASSERT_TRUE(saveToEnd("saveEverythingButton", "all"));
    EXPECT_EQ(desktop.savePanels.at(0).nameField, "poster recovered");
    EXPECT_EQ(filesIn(path("out/all")),
              QStringList({"Composite.png", "poster_layers.psd", "report.html", "report.json"}));
    EXPECT_EQ(filesIn(path("out/all/Layers")), filesIn(workingFolder() + "/Layers"));
    EXPECT_EQ(contentsOf(path("out/all/report.html")), recovered("report.html"));
}

TEST_F(DeepSaving, ADocumentOfTheLongestNameIsRecoveredAndSaved)
{
    launch();
    ASSERT_TRUE(deepToEnd(writeDamaged(QString(251, 'n') + ".psd", threeLayers().build())));
    QDir().mkpath(path("out"));
    const QString made = QString(244, 'n') + "_layers.psd";
    EXPECT_TRUE(filesIn(workingFolder()).contains(made));
    ASSERT_TRUE(saveToEnd("saveLayeredButton", made));
    EXPECT_EQ(desktop.savePanels.at(0).nameField, made);
    EXPECT_EQ(contentsOf(path("out/" + made)), recovered(made));
    click("savePicturesButton");
    EXPECT_EQ(desktop.savePanels.at(1).nameField, QString(244, 'n') + " layers");
    click("saveEverythingButton");
    EXPECT_EQ(desktop.savePanels.at(2).nameField, QString(244, 'n') + " recovered");
}

TEST_F(DeepSaving, SavedResultsAreLeftWithoutAsking)
{
    showResults();
    ASSERT_TRUE(saveToEnd("saveLayeredButton", "mine.psd"));
    click("deepBackButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_TRUE(filesIn(workingFolder()).contains("report.html"));
}

TEST_F(DeepSaving, PicturesAloneDoNotCountAsSaved)
{
    showResults();
    ASSERT_TRUE(saveToEnd("savePicturesButton", "layers"));
    desktop.alerts.clear();
    click("deepBackButton"); // the answer of a closed alert: stay
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
    EXPECT_EQ(screen(), "5");
    EXPECT_TRUE(QFile::exists(workingFolder() + "/poster_layers.psd"));
}

TEST_F(DeepSaving, TheFolderGoesOnceAllOfItIsSavedAndLeft)
{
    showResults();
    ASSERT_TRUE(saveToEnd("saveEverythingButton", "all"));
    EXPECT_TRUE(QDir(workingFolder()).exists());
    click("deepBackButton");
    EXPECT_FALSE(QDir(workingFolder()).exists());
}

TEST_F(DeepSaving, ACancelledPanelSavesNothing)
{
    showResults();
    click("saveEverythingButton");
    EXPECT_TRUE(desktop.sheets.empty() && desktop.alerts.empty());
    EXPECT_FALSE(deep().isBusy());
}

TEST_F(DeepSaving, WhileItSavesClosingAndHomeAreRefusedAndTheBarIsShown)
{
    showResults();
    system.holdReads = true;
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    click("saveEverythingButton");
    EXPECT_FALSE(app->window()->close());
    EXPECT_FALSE(find<QWidget>("homeButton")->isEnabled());
    EXPECT_TRUE(find<ProgressBar>("deepSavingBar")->isVisible());
    EXPECT_FALSE(find<QPushButton>("deepBackButton")->isVisible());
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(find<ProgressBar>("deepSavingBar")->fractionShown(), 1.0);
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(DeepSaving, CancellingANewFolderDeletesItWhole)
{
    showResults();
    system.holdReads = true;
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    click("saveEverythingButton");
    click("deepCancelSaveButton");
    EXPECT_FALSE(find<QPushButton>("deepCancelSaveButton")->isEnabled());
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving process aborted."));
    EXPECT_FALSE(QDir(path("out/all")).exists());
    click("deepBackButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
}

TEST_F(DeepSaving, CancellingInAFolderThatWasThereTakesOnlyItsOwnAway)
{
    showResults();
    QDir().mkpath(path("out/all"));
    write("out/all/report.html", "older");
    system.holdReads = true;
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    click("saveEverythingButton");
    click("deepCancelSaveButton");
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(filesIn(path("out/all")), QStringList("report.html"));
    EXPECT_EQ(contentsOf(path("out/all/report.html")), "older");
    EXPECT_FALSE(QDir(path("out/all/Layers")).exists());
}

TEST_F(DeepSaving, FilesThatAreNotWholeAreNamedAndTheResultsStayUnsaved)
{
    showResults();
    system.failWrites = true;
    ASSERT_TRUE(saveToEnd("saveLayeredButton", "mine.psd"));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Some files could not be saved whole."));
    EXPECT_TRUE(desktop.sheets[0].informativeText.contains("mine.psd"));
    system.failWrites = false;
    click("deepBackButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
}

TEST_F(DeepSaving, TheKeyboardIsWhereItWasOnceAllIsSaved)
{
    showResults();
    find<QWidget>("layerTree")->setFocus();
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    system.holdReads = true;
    QTest::keyClick(app->window(), Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(deep().isBusy());
    EXPECT_TRUE(find<QPushButton>("deepCancelSaveButton")->hasFocus());
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_TRUE(find<QWidget>("layerTree")->hasFocus());
}

TEST_F(DeepSaving, TheKeysOfTheScreenSave)
{
    showResults();
    desktop.chosenDestination = SaveDestination{path("out"), "mine.psd"};
    QTest::keyClick(app->window(), Qt::Key_S, Qt::ControlModifier);
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(filesIn(path("out")), QStringList("mine.psd"));
}

} // namespace talvek::test
