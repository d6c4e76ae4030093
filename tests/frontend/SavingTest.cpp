#include "frontend/ProgressBar.h"
#include "platform/PathString.h"
#include "tests/frontend/SavingJourney.h"

#include <QLabel>
#include <QLineEdit>

#include <set>

namespace talvek::test {

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
