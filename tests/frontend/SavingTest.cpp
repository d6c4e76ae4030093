#include "frontend/ProgressBar.h"
#include "platform/PathString.h"
#include "platform/SystemLog.h"
#include "tests/frontend/Journey.h"
#include "tests/frontend/OrdinaryUser.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

namespace talvek::test {

class Saving : public Journey
{
protected:
    Saving()
    {
        m_sink = SystemLog::addSink([this](const std::string& line) { logged << line.c_str(); });
    }
    ~Saving() override { SystemLog::removeSink(m_sink); }

    /// On the results screen, with files of those sizes, to be saved into "out/NAME".
    void showResults(const std::vector<int>& sizes)
    {
        launch();
        std::vector<FileRecord> files;
        std::uint64_t total = 0;
        for (const int size : sizes) {
            const int number = static_cast<int>(files.size()) + 1;
            files.push_back(
                writeSalvaged(QStringLiteral("layer%1_image.psd").arg(number), size, number));
            total += static_cast<std::uint64_t>(size);
        }
        QDir().mkpath(path("out"));
        desktop.chosenDestination = SaveDestination{path("out"), "Repaired PSD Files"};
        postComplete(files, total);
    }
    bool saveToEnd()
    {
        app->saveFile(nullptr);
        return waitFor([this] { return !desktop.sheets.empty(); });
    }
    [[nodiscard]] QStringList savedNames() const
    {
        return QDir(saved()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    [[nodiscard]] QString saved() const { return path("out/Repaired PSD Files"); }
    [[nodiscard]] QString source(int number) const
    {
        return QString::fromStdString(
            (*app->arrayFiles())[static_cast<std::size_t>(number - 1)].filePath);
    }

    QStringList logged;

private:
    int m_sink = 0;
};

TEST_F(Saving, ThePanelIsPresetAndACancelledOneChangesNothing)
{
    showResults({10});
    desktop.chosenDestination.reset();
    click("saveButton");
    EXPECT_EQ(desktop.savePanels.at(0).prompt, "Save");
    EXPECT_EQ(desktop.savePanels.at(0).nameField, "Repaired PSD Files");
    EXPECT_EQ(screen(), "2");
}

TEST_F(Saving, AllFilesAreCopiedIntoANewFolderAndThenHome)
{
    showResults({1024, 1025, 0, 70'000});
    std::vector<QByteArray> contents;
    for (int number = 1; number <= 4; ++number) {
        contents.push_back(contentsOf(source(number)));
    }
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
    EXPECT_EQ(desktop.sheets[0].button, "Ok");
    EXPECT_EQ(desktop.sheets[0].iconName, "info_64");
    EXPECT_EQ(app->savingNotificationLabel->text(), "Save Completed");
    EXPECT_EQ(app->saveDestinationPath->text(), saved());
    ASSERT_EQ(savedNames().size(), 4);
    for (std::size_t index = 0; index < contents.size(); ++index) {
        EXPECT_EQ(contentsOf(saved() + '/' + savedNames()[static_cast<int>(index)]),
                  contents[index]);
    }
    desktop.dismissSheet();
    EXPECT_EQ(screen(), "0");
    EXPECT_FALSE(QDir(app->repairedFilesPath()).exists());
}

TEST_F(Saving, TheBarCountsFilesUpToTheirNumber)
{
    showResults({10, 10, 10});
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(app->saveProgressBar->maxValue(), 3.0);
    EXPECT_EQ(app->saveProgressBar->doubleValue(), 3.0);
}

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

TEST_F(Saving, AFileOfTheSameNameIsReplaced)
{
    showResults({2000});
    QDir().mkpath(saved());
    write("out/Repaired PSD Files/layer1_image.psd", QByteArray(9000, 'o'));
    const QByteArray expected = contentsOf(source(1));
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(contentsOf(saved() + "/layer1_image.psd"), expected);
}

TEST_F(Saving, NoFilesMakeAnEmptyFolderAndAMaximumOfZero)
{
    showResults({});
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(screen(), "3");
    EXPECT_EQ(app->saveProgressBar->maxValue(), 0.0);
    EXPECT_TRUE(QDir(saved()).exists() && savedNames().isEmpty());
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
}

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

TEST_F(Saving, TheLongestNamesThereAreAreSaved)
{
    launch();
    const QString ending = QStringLiteral(".psd");
    std::vector<FileRecord> files;
    for (const int bytes : {250, 251, 255}) {
        files.push_back(writeSalvaged(QString(bytes - 4, 'n') + ending, 3000, bytes));
    }
    // Cut to its first 200 bytes it would end within a character.
    files.push_back(writeSalvaged('a' + QString(125, QChar(0x00FC)) + ending, 3000, 4));
    QDir().mkpath(path("out"));
    desktop.chosenDestination = SaveDestination{path("out"), "Repaired PSD Files"};
    postComplete(files, 12'000);
    std::vector<QByteArray> contents;
    for (int number = 1; number <= 4; ++number) {
        contents.push_back(contentsOf(source(number)));
    }
    ASSERT_TRUE(saveToEnd());
    desktop.dismissSheet();
    EXPECT_EQ(desktop.sheetTexts(), QStringList("Saving Process completed."));
    ASSERT_EQ(savedNames().size(), 4);
    for (std::size_t index = 0; index < contents.size(); ++index) {
        const QString name = QString::fromStdString(lastPathComponent(files[index].filePath));
        EXPECT_EQ(contentsOf(saved() + '/' + name), contents[index]);
    }
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

TEST_F(Saving, ASaveBesideTheUsersUnfinishedCopyLeavesItAndGetsItsOwnName)
{
    showResults({5000});
    QDir().mkpath(saved());
    write("out/Repaired PSD Files/.layer1_image.psd.part1", "mine");
    const QByteArray expected = contentsOf(source(1));
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(savedNames(), QStringList({".layer1_image.psd.part1", "layer1_image.psd"}));
    EXPECT_EQ(contentsOf(saved() + "/.layer1_image.psd.part1"), "mine");
    EXPECT_EQ(contentsOf(saved() + "/layer1_image.psd"), expected);
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

TEST_F(Saving, AFileTakesOneReadForEachKibibyteBegun)
{
    launch();
    // Where no byte can be read, no read is served by what an earlier one has fetched.
    system.unreadableFrom = 0;
    const auto readsOf = [this](int bytes) {
        const FileRecord file = writeSalvaged("file", bytes);
        system.forgetReads();
        app->saveFileAtPath_fromPath(path("copy").toStdString(), file.filePath);
        return system.offsetsRead();
    };
    EXPECT_EQ(readsOf(0), std::set<std::int64_t>());
    EXPECT_EQ(readsOf(1), std::set<std::int64_t>({0}));
    EXPECT_EQ(readsOf(1024), std::set<std::int64_t>({0}));
    EXPECT_EQ(readsOf(1025), std::set<std::int64_t>({0, 1024}));
    EXPECT_EQ(readsOf(3072), std::set<std::int64_t>({0, 1024, 2048}));
}

TEST_F(Saving, AnEmptyFileIsMadeAllTheSame)
{
    showResults({0});
    ASSERT_TRUE(saveToEnd());
    EXPECT_EQ(savedNames(), QStringList("layer1_image.psd"));
    EXPECT_EQ(desktop.sheets.size(), 1U);
}

TEST_F(Saving, OneFileIsCopiedWholeWhateverItsSize)
{
    launch();
    for (const int size : {0, 1, 1023, 1024, 1025, 4096, 100'001}) {
        const FileRecord file = writeSalvaged(QStringLiteral("f%1").arg(size), size);
        const QString copy = path("copy");
        EXPECT_TRUE(app->saveFileAtPath_fromPath(copy.toStdString(), file.filePath));
        EXPECT_EQ(contentsOf(copy), contentsOf(QString::fromStdString(file.filePath)));
    }
}

} // namespace talvek::test
