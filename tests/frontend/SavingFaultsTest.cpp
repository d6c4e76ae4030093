#include "frontend/ProgressBar.h"
#include "tests/frontend/SavingJourney.h"

#include <QFile>
#include <QFileInfo>
#include <QLabel>

// Saves that are cancelled or do not come out whole.

namespace talvek::test {

TEST_F(Saving, CancellingDeletesTheFolderWithAllThatWasCopied)
{
    showResults(std::vector<int>(40, 5000));
    system.holdWritesMilliseconds = 20;
    click("saveButton");
    ASSERT_TRUE(waitFor([this] { return app->saveProgressBar->doubleValue() >= 3; }));
    EXPECT_EQ(screen(), "3");
    EXPECT_EQ(app->savingNotificationLabel->text(), "Saving in progress..");
    click("cancelSave");
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving process aborted."));
    EXPECT_EQ(desktop.sheets[0].button, "Ok");
    EXPECT_FALSE(QDir(saved()).exists());
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
}

TEST_F(Saving, CancellingInAFolderThatWasThereTakesOnlyItsOwnFilesAway)
{
    showResults(std::vector<int>(40, 5000));
    QDir().mkpath(saved());
    write("out/Repaired PSD Files/layer1_image.psd", "older");
    write("out/Repaired PSD Files/mine.txt", "mine");
    system.holdWritesMilliseconds = 20;
    click("saveButton");
    ASSERT_TRUE(waitFor([this] { return app->saveProgressBar->doubleValue() >= 3; }));
    click("cancelSave");
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(savedNames(), QStringList({"layer1_image.psd", "mine.txt"}));
    EXPECT_EQ(contentsOf(saved() + "/layer1_image.psd"), "older");
}

TEST_F(Saving, WhatTheUserCallsLikeAnUnfinishedCopyIsLeftAlone)
{
    showResults({5000, 5000});
    QDir().mkpath(saved());
    const QStringList mine = {".layer1_image.psd.part", ".layer1_image.psd.part1",
                              ".layer2_image.psd.part1"};
    for (const QString& name : mine) {
        write("out/Repaired PSD Files/" + name, "mine");
    }
    system.holdReads = true;
    app->saveFile(nullptr);
    ASSERT_TRUE(waitFor([this] { return system.heldReads > 0; }));
    click("cancelSave");
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving process aborted."));
    EXPECT_EQ(savedNames(), mine);
    for (const QString& name : mine) {
        EXPECT_EQ(contentsOf(saved() + '/' + name), "mine");
    }
}

TEST_F(Saving, AFileThatIsNotWholeIsNamedAndTheResultsStay)
{
    showResults({5000, 6000});
    system.failWrites = true;
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
    desktop.dismissSheet();
    ASSERT_EQ(desktop.sheets.size(), 2U);
    EXPECT_TRUE(desktop.sheets[1].informativeText.contains("layer1_image.psd"));
    EXPECT_EQ(screen(), "2");
    EXPECT_TRUE(QFile::exists(source(1)) && QFile::exists(source(2)));
    EXPECT_TRUE(app->windowShouldClose(app->window()));
}

TEST_F(Saving, AfterAnIncompleteSaveAnotherOneSucceeds)
{
    showResults({5000});
    system.failWrites = true;
    ASSERT_TRUE(saveToEnd());
    desktop.dismissSheet();
    desktop.dismissSheet();
    system.failWrites = false;
    desktop.sheets.clear();
    ASSERT_TRUE(saveToEnd());
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
    EXPECT_EQ(QFileInfo(saved() + "/layer1_image.psd").size(), 5000);
}

TEST_F(Saving, AFileThatIsNotWholeNeverReplacesAWholeOne)
{
    showResults({5000});
    QDir().mkpath(saved());
    write("out/Repaired PSD Files/layer1_image.psd", "older");
    system.failWrites = true;
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(contentsOf(saved() + "/layer1_image.psd"), "older");
    EXPECT_EQ(savedNames(), QStringList("layer1_image.psd"));
}

TEST_F(Saving, AChunkThatCannotBeReadIsLeftOutAndTheFileIsNamed)
{
    showResults({5000});
    system.unreadableFrom = 4096;
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(QFileInfo(saved() + "/layer1_image.psd").size(), 4096);
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "2");
}

TEST_F(Saving, AFileThatShrinksMeanwhileIsCopiedToItsEndAndNamed)
{
    showResults({5000});
    const QByteArray whole = contentsOf(source(1));
    system.holdReads = true;
    app->saveFile(nullptr);
    ASSERT_TRUE(waitFor([this] { return system.heldReads > 0; }));
    ASSERT_TRUE(QFile::resize(source(1), 4500));
    system.holdReads = false;
    ASSERT_TRUE(waitFor([this] { return !desktop.sheets.empty(); }));
    EXPECT_EQ(contentsOf(saved() + "/layer1_image.psd"), whole.left(4500));
    desktop.dismissSheet();
    EXPECT_TRUE(desktop.sheets.back().informativeText.contains("layer1_image.psd"));
    EXPECT_EQ(screen(), "2");
}

} // namespace talvek::test
