#include "frontend/ElidedLabel.h"
#include "frontend/MainWindow.h"
#include "tests/frontend/DeepTreeJourney.h"

#include <QIcon>
#include <QLabel>
#include <QLayout>
#include <QSet>
#include <QtTest>

#include <algorithm>

// What the tree and the picture look like.

namespace talvek::test {

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

TEST_F(DeepTree, ASelectedLineKeepsTheColourOfItsState)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    ASSERT_TRUE(select("sky"));
    const int afterTheMark = 28;
    const QRect words =
        tree()->visualRect(line("sky").siblingAtColumn(1)).adjusted(afterTheMark, 0, 0, 0);
    const QImage shown = tree()->viewport()->grab(words).toImage();
    int mostRedOverBlue = 0; // "partial" is orange; the selection and other texts are bluish
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QColor pixel = shown.pixelColor(x, y);
            mostRedOverBlue = std::max(mostRedOverBlue, pixel.red() - pixel.blue());
        }
    }
    EXPECT_GT(mostRedOverBlue, 60);
}

TEST_F(DeepTree, TheArrowOfASelectedGroupCanBeSeen)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    tree()->setCurrentIndex(line("sand"));
    const QRect words = tree()->visualRect(line("sand"));
    const QImage arrow =
        tree()->viewport()->grab(QRect(0, words.top(), words.left(), words.height())).toImage();
    QSet<QRgb> colours;
    for (int x = 4; x < arrow.width(); ++x) {
        colours.insert(arrow.pixel(x, arrow.height() / 2));
    }
    EXPECT_GT(colours.size(), 1);
}

TEST_F(DeepTree, TheLastLineLeavesTheRoundCornersFree)
{
    PsdBuilder many;
    many.size(40, 30);
    for (int layer = 0; layer < 20; ++layer) {
        many.layer("layer " + std::to_string(layer));
    }
    ASSERT_TRUE(launchAndRecover(many.build()));
    const auto corner = [this] {
        const QImage shown = tree()->grab().toImage();
        return shown.copy(0, shown.height() - 7, 12, 7);
    };
    const QImage before = corner();
    QTest::keyClick(tree(), Qt::Key_End);
    ASSERT_EQ(tree()->currentIndex().row(), 20);
    ASSERT_TRUE(tree()->hasFocus());
    EXPECT_EQ(corner(), before);
}

TEST_F(DeepTree, ThePictureLiesOnTheColourOfItsCard)
{
    ASSERT_TRUE(launchAndRecover(threeLayers().build()));
    const auto ground = [this] { return preview()->grab().toImage().pixelColor(3, 3); };
    const auto card = [this] {
        auto* around = find<QWidget>("previewCard");
        return around->grab().toImage().pixelColor(6, around->height() / 2);
    };
    turn("dark");
    EXPECT_TRUE(waitFor([&] { return card().lightness() < 128; }));
    EXPECT_EQ(ground(), card());
    turn("light");
    EXPECT_TRUE(waitFor([&] { return card().lightness() > 128; }));
    EXPECT_EQ(ground(), card());
}

TEST_F(DeepTree, ColoursFollowTheWindowWhenItTurnsDark)
{
    ASSERT_TRUE(launchAndRecover(withLostRows()));
    const auto lightness = [this] {
        return line("sky").siblingAtColumn(1).data(Qt::ForegroundRole).value<QColor>().lightness();
    };
    EXPECT_LT(lightness(), 128);
    turn("dark");
    EXPECT_TRUE(waitFor([&] { return lightness() > 128; }));
    turn("light");
    EXPECT_TRUE(waitFor([&] { return lightness() < 128; }));
}

TEST_F(DeepTree, ALongNameMovesNothingAndIsCutWhereItDoesNotFit)
{
    PsdBuilder builder;
    builder.size(40, 30).layer("short").layer(std::string(250, 'w'));
    ASSERT_TRUE(launchAndRecover(builder.build()));
    const auto leastWidth = [this] {
        QLayout* caption = find<QWidget>("captionBar")->layout();
        caption->activate();
        return caption->totalMinimumSize().width();
    };
    const int before = leastWidth();
    tree()->setCurrentIndex(line(QString(250, 'w')));
    EXPECT_EQ(leastWidth(), before);
    const auto* title = find<ElidedLabel>("layerTitleLabel");
    EXPECT_TRUE(title->isElided());
    EXPECT_EQ(title->text(), QString(250, 'w'));
    tree()->setCurrentIndex(line("short"));
    EXPECT_FALSE(title->isElided());
}

TEST_F(DeepTree, WhereThereIsNoPictureItSaysWhy)
{
    PsdBuilder builder;
    builder.size(40, 30).layer("ground").beginGroup().channels({-1, 0, 1, 2}).layer("tree");
    builder.endGroup("wood").channels({-1, 0, 1, 2});
    Document document = builder.build();
    const auto& ground = document.records[0].channels;
    document.zeroFill(ground.front().data,
                      ground.back().data + ground.back().length - ground.front().data);
    ASSERT_TRUE(launchAndRecover(document));
    const auto spoken = [this](const QString& name) {
        tree()->setCurrentIndex(line(name));
        return preview()->accessibleDescription();
    };
    EXPECT_TRUE(spoken("wood").startsWith("A group has no picture of its own."));
    const auto words = [this] {
        const QImage shown = preview()->grab().toImage();
        QSet<QRgb> colours;
        for (int x = 0; x < shown.width(); ++x) {
            for (int y = 0; y < shown.height(); ++y) {
                colours.insert(shown.pixel(x, y));
            }
        }
        return colours.size() > 1;
    };
    EXPECT_TRUE(words());
    EXPECT_EQ(spoken("ground"), "Nothing of its picture is left.");
    EXPECT_TRUE(words());
}

} // namespace talvek::test
