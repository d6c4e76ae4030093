#include "frontend/ProgressBar.h"
#include "tests/frontend/DeepJourney.h"

#include <QLabel>
#include <QPushButton>

#include <sys/stat.h>

// What is taken, and what is said of files in which little or nothing is left.

namespace talvek::test {

class DeepDocuments : public DeepJourney
{};

TEST_F(DeepDocuments, TheHomeScreensButtonRecoversTheChosenDocument)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    EXPECT_TRUE(filesIn(workingFolder()).contains("poster_layers.psd"));
    EXPECT_TRUE(filesIn(workingFolder()).contains("report.html"));
    EXPECT_EQ(filesIn(workingFolder() + "/Layers").size(), 4);
    EXPECT_TRUE(find<QLabel>("verdictLabel")->text().startsWith("All 3 layers are back"));
    EXPECT_TRUE(desktop.alerts.empty());
    EXPECT_EQ(find<ProgressBar>("deepProgressBar")->doubleValue(), 100.0);
}

TEST_F(DeepDocuments, WithNothingChosenItAsksForAnyFile)
{
    launch();
    desktop.chosenDocument = writeDamaged("no ending", threeLayers().build());
    click("deepButton");
    ASSERT_EQ(desktop.openPanels.size(), 1U);
    EXPECT_TRUE(desktop.openPanels[0].allowedFileTypes.isEmpty());
    EXPECT_TRUE(waitFor([this] { return screen() == "5"; }));
}

TEST_F(DeepDocuments, ACancelledPanelChangesNothing)
{
    launch();
    click("deepButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.alerts.empty());
}

TEST_F(DeepDocuments, WithoutADocumentItSaysThatNoneIsSelected)
{
    launch();
    deep().recover(QString(), "0");
    EXPECT_EQ(desktop.alertTitles(), QStringList("No File Selected"));
    EXPECT_EQ(screen(), "0");
}

TEST_F(DeepDocuments, WhatIsNoFileThatCanBeReadIsInvalid)
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

TEST_F(DeepDocuments, AnyContentIsTaken)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("notes.txt", "no picture at all")));
    EXPECT_EQ(find<QLabel>("verdictLabel")->text(),
              "Neither layers nor a picture could be found in this file.");
}

TEST_F(DeepDocuments, AnEmptyFileIsToldCalmlyThatNothingIsLeft)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("empty.psd", "")));
    EXPECT_EQ(find<QLabel>("verdictLabel")->text(), "It is empty: nothing is left in this file.");
    EXPECT_TRUE(find<QWidget>("nothingPage")->isVisible());
    EXPECT_FALSE(find<QPushButton>("saveLayeredButton")->isEnabled());
    EXPECT_FALSE(find<QPushButton>("savePicturesButton")->isEnabled());
    EXPECT_TRUE(find<QPushButton>("openReportButton")->isEnabled());
    EXPECT_TRUE(find<QPushButton>("deepBackButton")->hasFocus());
    EXPECT_EQ(find<QPushButton>("deepBackButton")->accessibleDescription(),
              find<QLabel>("verdictLabel")->text());
    click("deepBackButton");
    EXPECT_EQ(screen(), "0");
    EXPECT_TRUE(desktop.alerts.empty());
}

TEST_F(DeepDocuments, WhereOnlyEmbeddedFilesAreLeftTheyAreOffered)
{
    Bytes entry = bytesOf("liFD");
    appendU32(entry, 2);
    append(entry, "\3uid");
    appendU32(entry, 1);
    appendU16(entry, 'a');
    append(entry, "png 8BIM");
    appendU32(entry, 0);
    appendU32(entry, 7);
    entry.push_back(0);
    append(entry, "PICTURE");
    Document file;
    file.bytes = bytesOf("what is left8BIMlnk2");
    appendU32(file.bytes, static_cast<std::uint32_t>(8 + entry.size()));
    appendU32(file.bytes, 0);
    appendU32(file.bytes, static_cast<std::uint32_t>(entry.size()));
    append(file.bytes, entry);
    ASSERT_TRUE(launchAndRecover(file));
    EXPECT_EQ(find<QLabel>("nothingTitleLabel")->text(), "One embedded file is back");
    EXPECT_TRUE(
        find<QLabel>("nothingHintLabel")->text().contains(QStringLiteral("Save everything")));
    EXPECT_TRUE(find<QPushButton>("saveEverythingButton")->hasFocus());
    click("deepBackButton");
    EXPECT_EQ(desktop.alertTitles(), QStringList("Leave without saving?"));
}

TEST_F(DeepDocuments, ZerosAllOverAreToldToBeNothingToo)
{
    launch();
    ASSERT_TRUE(deepToEnd(write("zeros.psd", QByteArray(100'000, '\0'))));
    EXPECT_TRUE(find<QLabel>("verdictLabel")->text().endsWith("nothing is left in this file."));
}

TEST_F(DeepDocuments, ADocumentWithoutItsHeaderIsRefusedByTheRepairAndRecoveredHere)
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

} // namespace talvek::test
