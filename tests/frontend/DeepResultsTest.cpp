#include "frontend/MainWindow.h"
#include "tests/frontend/DeepTreeJourney.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

namespace talvek::test {

TEST_F(DeepTree, TheHighestLayerComesFirstBelowTheWholePicture)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    EXPECT_EQ(lines(), QStringList({"Whole picture: Whole", "sand: Whole", ".Mask: Whole",
                                    "sea: Whole", "sky: Whole"}));
}

TEST_F(DeepTree, GroupsHoldTheirLayersAndAreOpen)
{
    const std::vector<std::int16_t> usual{-1, 0, 1, 2};
    PsdBuilder builder;
    builder.size(40, 30).layer("ground").beginGroup().channels(usual).layer("tree");
    builder.beginGroup().channels(usual).layer("leaf").endGroup("leaves").channels(usual);
    builder.endGroup("wood").channels(usual).layer("top");
    ASSERT_TRUE(launchAndRecover(builder.build()));
    EXPECT_EQ(lines(),
              QStringList({"Whole picture: Whole", "top: Whole", "wood: Whole", ".leaves: Whole",
                           "..leaf: Whole", ".tree: Whole", "ground: Whole"}));
    EXPECT_TRUE(tree()->isExpanded(line("wood")));
    EXPECT_TRUE(tree()->isExpanded(line("leaves")));
}

TEST_F(DeepTree, StatesAreThoseOfTheDamage)
{
    Document document = withLostRows();
    const auto& sea = document.records[1];
    document.zeroFill(sea.channels.front().data, sea.channels.back().data +
                                                     sea.channels.back().length -
                                                     sea.channels.front().data);
    ASSERT_TRUE(launchAndRecover(document));
    EXPECT_TRUE(lines().contains("sea: Lost"));
    EXPECT_TRUE(lines().contains("sky: Partial"));
    EXPECT_TRUE(lines().contains("sand: Whole"));
}

TEST_F(DeepTree, RawPixelsAreUnproved)
{
    PsdBuilder builder;
    builder.size(40, 30).layer("grain").packing(Packing::raw).layer("top");
    ASSERT_TRUE(launchAndRecover(builder.build()));
    EXPECT_TRUE(lines().contains("grain: Unproved"));
}

TEST_F(DeepTree, LostRowsAreCountedInWords)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    ASSERT_TRUE(select("sky"));
    const auto lost = item("sky").lostRowCount;
    ASSERT_GT(lost, 0);
    EXPECT_EQ(find<QLabel>("layerStateLabel")->text(),
              QStringLiteral("Partial: %1 of 30 rows are lost.").arg(lost));
    EXPECT_EQ(find<QLabel>("layerFactsLabel")->text(), "40 × 30 pixels · at 0, 0");
    EXPECT_TRUE(preview()->accessibleDescription().contains("rows are lost"));
}

TEST_F(DeepTree, PixelsWithoutARecordAreSaidToHaveNeitherNameNorPlace)
{
    Document document = threeLayers().build();
    const auto first = document.records.front().start;
    document.zeroFill(first, document.records.back().end - first);
    ASSERT_TRUE(launchAndRecover(document));
    ASSERT_TRUE(line("Found without a record").isValid());
    ASSERT_TRUE(select("Recovered 1"));
    EXPECT_EQ(find<QLabel>("layerStateLabel")->text(),
              "Partial: its pixels are back; name and place are unknown.");
    EXPECT_TRUE(find<QLabel>("layerFactsLabel")->text().endsWith("place unknown"));
}

TEST_F(DeepTree, TheWholePictureIsSelectedFirstAndShown)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    EXPECT_EQ(find<QLabel>("layerTitleLabel")->text(), "Whole picture");
    EXPECT_TRUE(tree()->hasFocus());
    ASSERT_TRUE(waitFor([this] { return preview()->hasPicture(); }));
    EXPECT_EQ(preview()->pictureSize(), QSize(40, 30));
}

TEST_F(DeepTree, APictureThatWasMadeAnewIsAFileAndShown)
{
    Document document = threeLayers().build();
    document.cutAt(document.composite);
    ASSERT_TRUE(launchAndRecover(document));
    EXPECT_EQ(lines().value(0), "Whole picture: Made anew");
    EXPECT_EQ(find<QLabel>("layerStateLabel")->text(), "Lost, and made anew from the layers.");
    EXPECT_TRUE(filesIn(workingFolder()).contains("Composite.png"));
    ASSERT_TRUE(waitFor([this] { return preview()->hasPicture(); }));
    EXPECT_EQ(preview()->pictureSize(), QSize(40, 30));
}

TEST_F(DeepTree, TheKeysOfTheTreeMoveTheSelectionAndThePreviewFollows)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    QTest::keyClick(tree(), Qt::Key_Down);
    EXPECT_EQ(find<QLabel>("layerTitleLabel")->text(), "sand");
    QTest::keyClick(tree(), Qt::Key_Right);
    QTest::keyClick(tree(), Qt::Key_Down);
    EXPECT_EQ(find<QLabel>("layerTitleLabel")->text(), "Mask");
    EXPECT_TRUE(waitFor([this] { return preview()->pictureSize() == QSize(38, 19); }));
}

TEST_F(DeepTree, ScreenReadersAreToldNameKindAndState)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    EXPECT_EQ(line("sand").data(Qt::AccessibleTextRole).toString(),
              "sand, layer. Whole: every row is proved. 38 × 19 pixels · at 1, 10");
    EXPECT_TRUE(line("sky").data(Qt::AccessibleTextRole).toString().contains("rows are lost"));
    EXPECT_TRUE(line("sky")
                    .siblingAtColumn(1)
                    .data(Qt::AccessibleTextRole)
                    .toString()
                    .startsWith("Partial"));
}

TEST_F(DeepTree, TheVerdictIsSpokenWithTheTreeThatGetsTheFocus)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    ASSERT_TRUE(tree()->hasFocus());
    EXPECT_TRUE(tree()->accessibleDescription().startsWith("All 3 layers are back"));
}

TEST_F(DeepTree, TheButtonsSayWhatTheyDoInTheseWords)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    const auto text = [this](const char* name) {
        return find<QPushButton>(name)->text().remove('&');
    };
    EXPECT_EQ(text("saveLayeredButton"), QStringLiteral("Save layered document…"));
    EXPECT_EQ(text("savePicturesButton"), QStringLiteral("Save layers as PNG…"));
    EXPECT_EQ(text("saveEverythingButton"), QStringLiteral("Save everything…"));
    EXPECT_EQ(text("openReportButton"), "Open report");
    EXPECT_EQ(text("deepButton"), "Deep recovery");
    EXPECT_EQ(text("resultsDeepButton"), "Deep recovery");
}

TEST_F(DeepTree, EveryControlHasAnAccessibleName)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    for (const QWidget* control : app->window()->findChildren<QWidget*>()) {
        const bool isControl =
            control->focusPolicy() != Qt::NoFocus && !control->objectName().startsWith("qt_");
        EXPECT_TRUE(!isControl || !control->accessibleName().isEmpty())
            << control->objectName().toStdString();
    }
}

TEST_F(DeepTree, TheReportIsOpenedInTheBrowser)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    click("openReportButton");
    EXPECT_EQ(desktop.opened.at(0), QUrl::fromLocalFile(workingFolder() + "/report.html"));
}

TEST_F(DeepTree, ItFitsTheSmallestWindow)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    app->window()->resize(900, 600);
    drain();
    EXPECT_EQ(app->window()->size(), QSize(900, 600));
    EXPECT_GE(preview()->height(), 180);
    EXPECT_GE(tree()->header()->sectionSize(0), 150);
}

} // namespace talvek::test
