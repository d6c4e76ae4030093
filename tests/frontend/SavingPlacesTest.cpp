#include "tests/frontend/OrdinaryUser.h"
#include "tests/frontend/SavingJourney.h"

#include <QFile>

// Where the salvaged files may be saved, and where not.

namespace talvek::test {

TEST_F(Saving, AnExactTieOfFreeSpaceIsRefused)
{
    showResults({10});
    system.freeBytesLeft = 10;
    app->saveFile(nullptr);
    ASSERT_EQ(desktop.alerts.size(), 1U);
    EXPECT_EQ(desktop.alerts[0].title, "! Not enough free disk space");
    EXPECT_EQ(desktop.alerts[0].message,
              "The volume you have chosen to save data does not have enough free space to save the "
              "repaired file.");
    EXPECT_EQ(screen(), "2");
    EXPECT_TRUE(QDir(saved()).exists());
}

TEST_F(Saving, OneByteMoreThanTheTotalIsRoomEnough)
{
    showResults({10});
    system.freeBytesLeft = 11;
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
}

TEST_F(Saving, APlaceThatMayNotBeWrittenIsRefusedAndNothingIsMade)
{
    showResults({10});
    constexpr auto kReadOnly = QFile::ReadOwner | QFile::ExeOwner;
    ASSERT_TRUE(QFile::setPermissions(path("out"), kReadOnly));
    {
        const OrdinaryUser user;
        app->saveFile(nullptr);
    }
    ASSERT_EQ(desktop.alerts.size(), 1U);
    EXPECT_EQ(desktop.alerts[0].title, "! Disk is not writable");
    EXPECT_EQ(desktop.alerts[0].message,
              "The volume you have chosen to save data is not supported.");
    EXPECT_FALSE(QDir(saved()).exists());
    EXPECT_EQ(screen(), "2");
    ASSERT_TRUE(QFile::setPermissions(path("out"), kReadOnly | QFile::WriteOwner));
    EXPECT_TRUE(saveToEnd());
}

TEST_F(Saving, APlaceThatIsNotThereIsRefusedAndNotMade)
{
    showResults({10});
    desktop.chosenDestination = SaveDestination{path("nowhere"), "x"};
    app->saveFile(nullptr);
    EXPECT_EQ(desktop.alertTitles(), QStringList("! Disk is not writable"));
    EXPECT_FALSE(QDir(path("nowhere")).exists());
    EXPECT_EQ(screen(), "2");
}

TEST_F(Saving, AFolderThatCannotBeMadeIsLoggedTwiceAndCountsAsFull)
{
    showResults({10});
    desktop.chosenDestination = SaveDestination{path("out"), QString(300, 'x')};
    app->saveFile(nullptr);
    EXPECT_EQ(desktop.alertTitles(), QStringList("! Not enough free disk space"));
    ASSERT_EQ(logged.size(), 2);
    EXPECT_EQ(logged[0], "Error While Creating Directory:File name too long");
    EXPECT_EQ(logged[1], "Error While Getting system attributes:File name too long");
}

TEST_F(Saving, AFileInPlaceOfTheFolderIsRefused)
{
    showResults({10});
    write("out/Repaired PSD Files", "a file");
    app->saveFile(nullptr);
    EXPECT_EQ(desktop.alertTitles(), QStringList("! Disk is not writable"));
    EXPECT_EQ(contentsOf(saved()), "a file");
    EXPECT_EQ(screen(), "2");
}

TEST_F(Saving, TheTemporaryFolderAndWhatLiesInItAreRefused)
{
    showResults({10});
    QFile::link(app->repairedFilesPath(), path("out/link"));
    for (const SaveDestination& inside :
         {SaveDestination{folder(), ".recovered files"},
          SaveDestination{app->repairedFilesPath(), "x"}, SaveDestination{path("out/link"), "x"}}) {
        desktop.chosenDestination = inside;
        app->saveFile(nullptr);
    }
    EXPECT_EQ(desktop.alertTitles(), QStringList(3, "! Disk is not writable"));
    EXPECT_EQ(screen(), "2");
    EXPECT_TRUE(QFile::exists(source(1)));
}

TEST_F(Saving, AFolderThatExistsIsAskedAbout)
{
    showResults({10});
    QDir().mkpath(saved());
    desktop.alertAnswers = {AlertAnswer::Alternate};
    app->saveFile(nullptr);
    EXPECT_EQ(desktop.alerts.size(), 1U);
    EXPECT_EQ(screen(), "2");
    EXPECT_TRUE(savedNames().isEmpty());
}

TEST_F(Saving, TheDamagedDocumentIsNeverReplaced)
{
    launch();
    QDir().mkpath(saved());
    const QString document = write("out/Repaired PSD Files/layer1_image.psd", "damaged");
    choose(document);
    postComplete({writeSalvaged("layer0_image.psd", 10), writeSalvaged("layer1_image.psd", 10, 2)},
                 20);
    QFile::link(path("out"), path("link"));
    for (const QString& place : {path("out"), path("link")}) {
        desktop.chosenDestination = SaveDestination{place, "Repaired PSD Files"};
        app->saveFile(nullptr);
    }
    EXPECT_EQ(desktop.alertTitles(), QStringList(2, "! Disk is not writable"));
    EXPECT_EQ(screen(), "2");
    EXPECT_EQ(savedNames(), QStringList("layer1_image.psd"));
    EXPECT_EQ(contentsOf(document), "damaged");
    desktop.chosenDestination = SaveDestination{path("out"), "elsewhere"};
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
}

} // namespace talvek::test
