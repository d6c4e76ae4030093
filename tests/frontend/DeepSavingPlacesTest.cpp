#include "tests/frontend/DeepSavingJourney.h"

#include <QFile>

// Where the recovered files may be saved, and where not.

namespace talvek::test {

TEST_F(DeepSaving, PlacesThatWillNotLastOrCannotBeWrittenAreRefused)
{
    showResults();
    QDir().mkpath(app->repairedFilesPath());
    QFile::link(workingFolder(), path("out/link"));
    for (const SaveDestination& place :
         {SaveDestination{folder(), "Deep recovery"}, SaveDestination{workingFolder(), "x"},
          SaveDestination{path("out/link"), "x"}, SaveDestination{app->repairedFilesPath(), "x"},
          SaveDestination{path("nowhere"), "x"}}) {
        desktop.chosenDestination = place;
        click("saveEverythingButton");
    }
    EXPECT_EQ(desktop.alertTitles(), QStringList(5, "! Disk is not writable"));
    EXPECT_FALSE(deep().isBusy());
}

TEST_F(DeepSaving, TheRepairsFilesAreNotSavedIntoOurFolderEither)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app->homeScreen(nullptr);
    postComplete({writeSalvaged("a.psd", 10)}, 10);
    desktop.chosenDestination = SaveDestination{workingFolder(), "x"};
    app->saveFile(nullptr);
    EXPECT_EQ(desktop.alertTitles(), QStringList("! Disk is not writable"));
}

TEST_F(DeepSaving, AFileOrFolderOfTheOtherKindIsRefused)
{
    showResults();
    write("out/file", "a file");
    QDir().mkpath(path("out/folder.psd"));
    desktop.chosenDestination = SaveDestination{path("out"), "file"};
    click("saveEverythingButton");
    desktop.chosenDestination = SaveDestination{path("out"), "folder.psd"};
    click("saveLayeredButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList(2, "! Disk is not writable"));
    EXPECT_EQ(contentsOf(path("out/file")), "a file");
}

TEST_F(DeepSaving, TheDamagedDocumentIsNeverReplaced)
{
    showResults();
    const QByteArray before = contentsOf(path("poster.psd"));
    desktop.chosenDestination = SaveDestination{folder(), "poster.psd"};
    click("saveLayeredButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("This is the damaged document"));
    EXPECT_EQ(contentsOf(path("poster.psd")), before);
}

TEST_F(DeepSaving, TheDamagedDocumentIsNotReplacedByAFileOfAFolderEither)
{
    launch();
    QDir().mkpath(path("out/mine"));
    const QString document =
        writeDamaged(QStringLiteral("out/mine/Composite.png"), threeLayers().build());
    const QByteArray before = contentsOf(document);
    ASSERT_TRUE(deepToEnd(document));
    QFile::link(path("out/mine"), path("out/link"));
    for (const QString& name : {QStringLiteral("mine"), QStringLiteral("link")}) {
        desktop.chosenDestination = SaveDestination{path("out"), name};
        click("savePicturesButton");
        click("saveEverythingButton");
    }
    EXPECT_EQ(desktop.alertTitles(), QStringList(4, "! Disk is not writable"));
    EXPECT_EQ(filesIn(path("out/mine")), QStringList("Composite.png"));
    EXPECT_EQ(contentsOf(document), before);
    EXPECT_EQ(screen(), "5");
    EXPECT_TRUE(saveToEnd("saveEverythingButton", "elsewhere"));
}

TEST_F(DeepSaving, AFileThatExistsIsReplacedOnlyWhenAskedFor)
{
    showResults();
    write("out/mine.psd", "older");
    desktop.alertAnswers = {AlertAnswer::Alternate};
    desktop.chosenDestination = SaveDestination{path("out"), "mine.psd"};
    click("saveLayeredButton");
    EXPECT_EQ(contentsOf(path("out/mine.psd")), "older");
    ASSERT_TRUE(saveToEnd("saveLayeredButton", "mine.psd"));
    EXPECT_EQ(desktop.alerts.size(), 2U);
    EXPECT_EQ(contentsOf(path("out/mine.psd")), recovered("poster_layers.psd"));
}

TEST_F(DeepSaving, AFullVolumeIsToldAndNothingIsMade)
{
    showResults();
    system.freeBytesLeft = 100;
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    click("saveEverythingButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("! Not enough free disk space"));
    EXPECT_FALSE(QDir(path("out/all")).exists());
}

TEST_F(DeepSaving, AFolderThatIsThereIsAskedForItsOwnRoom)
{
    showResults();
    QDir().mkpath(path("out/all"));
    system.fillVolumeAt(path("out/all").toStdString());
    desktop.chosenDestination = SaveDestination{path("out"), "all"};
    click("saveEverythingButton");
    EXPECT_EQ(desktop.alertTitles().last(), "! Not enough free disk space");
    EXPECT_TRUE(filesIn(path("out/all")).isEmpty());
    system.fillVolumeAt(path("out").toStdString());
    ASSERT_TRUE(saveToEnd("saveEverythingButton", "all"));
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
}

} // namespace talvek::test
