#include "frontend/DeepResultsModel.h"
#include "frontend/MainWindow.h"
#include "frontend/PreviewView.h"
#include "tests/frontend/DeepJourney.h"

#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QTreeView>
#include <QtTest>

namespace talvek::test {

class DeepTree : public DeepJourney
{
protected:
    [[nodiscard]] QTreeView* tree() const { return find<QTreeView>("layerTree"); }
    [[nodiscard]] PreviewView* preview() const { return find<PreviewView>("layerPreview"); }

    /// Every line as "NAME: STATE", those that lie in another indented by a point each.
    [[nodiscard]] QStringList lines(const QModelIndex& parent = {},
                                    const QString& indent = {}) const
    {
        QStringList found;
        const QAbstractItemModel& model = *tree()->model();
        for (int row = 0; row < model.rowCount(parent); ++row) {
            const QModelIndex name = model.index(row, 0, parent);
            found << indent + name.data().toString() + ": " +
                         name.siblingAtColumn(1).data().toString();
            found << lines(name, indent + ".");
        }
        return found;
    }
    [[nodiscard]] QModelIndex line(const QString& name) const
    {
        const auto found = tree()->model()->match(tree()->model()->index(0, 0), Qt::DisplayRole,
                                                  name, 1, Qt::MatchExactly | Qt::MatchRecursive);
        return found.value(0);
    }
    bool select(const QString& name)
    {
        tree()->setCurrentIndex(line(name));
        return waitFor([this] { return preview()->hasPicture() && !preview()->isBusy(); });
    }
    /// The lowest layer has lost the last rows of its first colour.
    static Document withLostRows()
    {
        Document document = threeLayers().build();
        const auto& channel = document.records[0].channels[1];
        document.zeroFill(channel.data + channel.length - 60, 60);
        return document;
    }
    [[nodiscard]] const DeepItem& item(const QString& name) const
    {
        return *static_cast<const DeepResultsModel*>(tree()->model())->itemAt(line(name));
    }
};

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

TEST_F(DeepTree, LostRowsAreHatchedAndOthersAreNot)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    ASSERT_TRUE(select("sky"));
    const RowSpan lost = item("sky").lostRows.back();
    const QImage shown = preview()->grab().toImage();
    const auto colorsOfRow = [&](int row) {
        const QRectF place = preview()->viewport().rectOf(QRect(0, row, 40, 1));
        QSet<QRgb> colors;
        for (int x = 0; x < 40; ++x) {
            colors.insert(
                shown.pixel(static_cast<int>(place.left()) + x, static_cast<int>(place.top())));
        }
        return colors;
    };
    const QSet<QRgb> hatching{0xFFFDF3E7, 0xFFA14A00};
    EXPECT_EQ(colorsOfRow(lost.first + lost.count / 2), hatching);
    EXPECT_FALSE(colorsOfRow(0).intersects(hatching));
}

TEST_F(DeepTree, AWholeLayerIsNotHatched)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    ASSERT_TRUE(select("sand"));
    EXPECT_TRUE(item("sand").lostRows.empty());
    EXPECT_EQ(find<QLabel>("layerStateLabel")->text(), "Whole: every row is proved.");
}

TEST_F(DeepTree, TheWholePictureIsSelectedFirstAndShown)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    EXPECT_EQ(find<QLabel>("layerTitleLabel")->text(), "Whole picture");
    EXPECT_TRUE(tree()->hasFocus());
    ASSERT_TRUE(waitFor([this] { return preview()->hasPicture(); }));
    EXPECT_EQ(preview()->pictureSize(), QSize(40, 30));
}

TEST_F(DeepTree, APictureThatWasMadeAnewIsShownFromTheLayeredDocument)
{
    Document document = threeLayers().build();
    document.cutAt(document.composite);
    ASSERT_TRUE(launchAndRecover(document));
    EXPECT_EQ(lines().value(0), "Whole picture: Made anew");
    EXPECT_EQ(find<QLabel>("layerStateLabel")->text(), "Lost, and made anew from the layers.");
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

TEST_F(DeepTree, ThumbnailsComeInThePlaceThatIsKeptForThem)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    QSignalSpy changes(tree()->model(), &QAbstractItemModel::dataChanged);
    const auto thumbnail = [this] {
        return line("sky").data(Qt::DecorationRole).value<QIcon>().pixmap(QSize(48, 36)).toImage();
    };
    const QImage before = thumbnail();
    EXPECT_EQ(before.size(), QSize(48, 36));
    EXPECT_TRUE(waitFor([&] { return thumbnail() != before; }));
    EXPECT_EQ(thumbnail().size(), QSize(48, 36));
}

TEST_F(DeepTree, StatesDifferInShapeAndNotInColourAlone)
{
    Document document = withLostRows();
    ASSERT_TRUE(launchAndRecover(document));
    const auto shape = [this](const QString& name) {
        return line(name)
            .siblingAtColumn(1)
            .data(Qt::DecorationRole)
            .value<QIcon>()
            .pixmap(16)
            .toImage()
            .convertToFormat(QImage::Format_Alpha8);
    };
    EXPECT_NE(shape("sky"), shape("sand"));
}

TEST_F(DeepTree, ColoursFollowTheWindowWhenItTurnsDark)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    const auto lightness = [this] {
        return line("sky").siblingAtColumn(1).data(Qt::ForegroundRole).value<QColor>().lightness();
    };
    const auto turn = [this](const char* appearance) {
        qputenv("TALVEK_APPEARANCE", appearance);
        QEvent event(QEvent::ThemeChange);
        QCoreApplication::sendEvent(app->window(), &event);
    };
    EXPECT_LT(lightness(), 128);
    turn("dark");
    EXPECT_TRUE(waitFor([&] { return lightness() > 128; }));
    turn("light");
    EXPECT_TRUE(waitFor([&] { return lightness() < 128; }));
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
