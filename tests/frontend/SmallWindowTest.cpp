#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "frontend/SavePanelDialog.h"
#include "frontend/TabView.h"
#include "tests/frontend/Journey.h"
#include "tests/support/PsdBuilder.h"

#include <QAbstractItemView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

namespace talvek::test {

namespace {

std::string nameOf(const QWidget& widget)
{
    return widget.objectName().toStdString() + " (" + widget.metaObject()->className() + ')';
}

bool isPartOfAView(const QWidget& widget)
{
    return qobject_cast<const QAbstractItemView*>(widget.parentWidget()) != nullptr;
}

void expectInside(const QWidget& widget)
{
    const QWidget& parent = *widget.parentWidget();
    EXPECT_TRUE(parent.rect().contains(widget.geometry()))
        << nameOf(widget) << " is cut off by " << nameOf(parent);
}

void expectApart(const QWidget& widget)
{
    for (const QObject* object : widget.parentWidget()->children()) {
        const auto* sibling = qobject_cast<const QWidget*>(object);
        const bool isOther = sibling != nullptr && sibling != &widget && sibling->isVisible() &&
                             !sibling->isWindow();
        EXPECT_FALSE(isOther && sibling->geometry().intersects(widget.geometry()))
            << nameOf(widget) << " and " << nameOf(*sibling) << " overlap";
    }
}

void expectWholeText(const QWidget& widget)
{
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        const int height =
            label->wordWrap() ? label->heightForWidth(label->width()) : label->sizeHint().height();
        EXPECT_TRUE(label->wordWrap() || label->width() >= label->sizeHint().width())
            << nameOf(widget) << " is too narrow for: " << label->text().toStdString();
        EXPECT_GE(label->height(), height) << nameOf(widget);
        EXPECT_FALSE(label->text().contains(QChar(0x2026)) && label->objectName() != "waitingLabel")
            << nameOf(widget) << " is elided: " << label->text().toStdString();
    }
    if (const auto* button = qobject_cast<const QPushButton*>(&widget)) {
        EXPECT_GE(button->width(), button->sizeHint().width())
            << nameOf(widget) << " is too narrow for: " << button->text().toStdString();
    }
}

void expectEverythingShownWhole(const QWidget& window)
{
    int shown = 0;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->isWindow() || widget->window() != &window ||
            isPartOfAView(*widget)) {
            continue;
        }
        ++shown;
        expectInside(*widget);
        expectApart(*widget);
        expectWholeText(*widget);
    }
    EXPECT_GT(shown, 3) << nameOf(window);
}

} // namespace

/// The smallest window that the application allows.
class SmallWindow : public Journey
{
protected:
    void launchSmall()
    {
        launch();
        app->window()->resize(kSmallest);
        ASSERT_TRUE(waitFor([this] { return app->window()->size() == kSmallest; }));
    }
    void expectScreenFits(const QString& identifier)
    {
        SCOPED_TRACE("screen " + identifier.toStdString());
        app->tabView->selectTabViewItemWithIdentifier(identifier);
        ASSERT_EQ(screen(), identifier);
        drain();
        EXPECT_EQ(app->window()->size(), kSmallest);
        expectEverythingShownWhole(*app->window());
    }

    static constexpr QSize kSmallest{900, 600};
};

TEST_F(SmallWindow, MayBeMadeSmallerByNobody)
{
    launchSmall();
    EXPECT_EQ(app->window()->minimumSize(), kSmallest);
    EXPECT_LE(app->window()->minimumSizeHint().width(), kSmallest.width());
    EXPECT_LE(app->window()->minimumSizeHint().height(), kSmallest.height());
}

TEST_F(SmallWindow, ShowsTheHomeScreenWholeWithAndWithoutADocument)
{
    launchSmall();
    expectScreenFits("0");
    choose(writeDocument("the poster for the winter season.psd"));
    expectScreenFits("0");
}

TEST_F(SmallWindow, ShowsTheProgressScreenWhole)
{
    launchSmall();
    choose(writeDocument("the poster for the winter season.psd"));
    post({{"status", std::string("Repair is in progress...")}, {"progress", 100.0}});
    expectScreenFits("1");
}

TEST_F(SmallWindow, ShowsTheResultsWholeHoweverManyThereAre)
{
    launchSmall();
    postComplete({}, 0);
    expectScreenFits("2");
    std::vector<FileRecord> files;
    for (int number = 1; number <= 1001; ++number) {
        files.push_back({std::to_string(number), "layer_image", "4194304", "/nonexistent"});
    }
    postComplete(files, std::uint64_t{4} << 40);
    expectScreenFits("2");
}

TEST_F(SmallWindow, ShowsTheSavingScreenWhole)
{
    launchSmall();
    app->saveProgressBar->setMaxValue(1001);
    app->saveProgressBar->setDoubleValue(1000);
    app->saveDestinationPath->setText(QString("/folder").repeated(40));
    app->savingNotificationLabel->setText("Saving in progress..");
    expectScreenFits("3");
}

TEST_F(SmallWindow, ShowsTheDeepRecoveryWhole)
{
    launchSmall();
    Document poster = PsdBuilder{}.size(40, 30).layer("sky").layer("a much longer name").build();
    poster.zeroFill(poster.records[0].channels[0].data, 20);
    const QByteArray bytes(reinterpret_cast<const char*>(poster.bytes.data()),
                           static_cast<qsizetype>(poster.bytes.size()));
    choose(write("the poster for the winter season.psd", bytes));
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    expectScreenFits("5");
    expectScreenFits("4");
}

TEST_F(SmallWindow, ShowsThatNothingIsLeftWhole)
{
    launchSmall();
    choose(write("empty.psd", {}));
    click("deepButton");
    ASSERT_TRUE(waitFor([this] { return screen() == "5"; }));
    expectScreenFits("5");
}

TEST_F(SmallWindow, HasDialogsThatShowEverythingWhole)
{
    launchSmall();
    SavePanelDialog save({"Save", "Repaired PSD Files"}, app->window());
    for (QWidget* dialog :
         {static_cast<QWidget*>(&save), static_cast<QWidget*>(app->abortRepairWindow())}) {
        dialog->show();
        drain();
        EXPECT_LE(dialog->width(), kSmallest.width());
        EXPECT_LE(dialog->height(), kSmallest.height());
        expectEverythingShownWhole(*dialog);
        dialog->hide();
    }
}

} // namespace talvek::test
