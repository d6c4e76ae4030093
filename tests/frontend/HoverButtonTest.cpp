#include "frontend/HoverButton.h"

#include "tests/frontend/Journey.h"

#include <QEnterEvent>
#include <QLineEdit>
#include <QtTest>

namespace talvek::test {

class Hover : public Journey
{
protected:
    [[nodiscard]] static QImage imageOf(const HoverButton& button)
    {
        return button.icon().pixmap(button.iconSize(), 1.0).toImage();
    }
    [[nodiscard]] QImage named(const HoverButton& button, const QString& name) const
    {
        return Bundle(path("Talvek PSD Repair.app"))
            .imageNamed(name)
            .pixmap(button.iconSize(), 1.0)
            .toImage();
    }
    static void enter(QWidget& widget)
    {
        QEnterEvent event({5, 5}, {5, 5}, {5, 5});
        QApplication::sendEvent(&widget, &event);
    }
    static void leave(QWidget& widget)
    {
        QEvent event(QEvent::Leave);
        QApplication::sendEvent(&widget, &event);
    }
};

TEST_F(Hover, EveryButtonShowsItsPair)
{
    launch();
    const std::vector<std::array<QString, 3>> buttons = {
        {"repairButton", "repair_button_hover", "repair_button_normal"},
        {"helpButton", "help-2", "help-1"},
        {"updateButton", "update-2", "update-1"},
        {"homeButton", "home-2", "home-1"}};
    for (const auto& [name, hovered, resting] : buttons) {
        auto& button = *find<HoverButton>(name);
        ASSERT_FALSE(named(button, hovered).isNull());
        ASSERT_NE(named(button, hovered), named(button, resting));
        button.mouseEntered();
        EXPECT_EQ(imageOf(button), named(button, hovered)) << name.toStdString();
        button.mouseExited();
        EXPECT_EQ(imageOf(button), named(button, resting)) << name.toStdString();
    }
}

TEST_F(Hover, TheTagsAreTheOnesOfTheImages)
{
    launch();
    EXPECT_EQ(find<HoverButton>("repairButton")->tag(), 100);
    EXPECT_EQ(find<HoverButton>("helpButton")->tag(), 101);
    EXPECT_EQ(find<HoverButton>("updateButton")->tag(), 102);
    EXPECT_EQ(find<HoverButton>("homeButton")->tag(), 103);
}

TEST_F(Hover, ThePointerChangesTheImageWhileTheApplicationIsActive)
{
    launch();
    auto& button = *find<HoverButton>("repairButton");
    enter(button);
    EXPECT_EQ(imageOf(button), named(button, "repair_button_hover"));
    leave(button);
    EXPECT_EQ(imageOf(button), named(button, "repair_button_normal"));
}

TEST_F(Hover, ThePointerChangesNothingWhileAnotherApplicationIsInFront)
{
    launch();
    auto& button = *find<HoverButton>("repairButton");
    app->window()->hide();
    ASSERT_TRUE(waitFor([] { return QApplication::activeWindow() == nullptr; }));
    enter(button);
    EXPECT_EQ(imageOf(button), named(button, "repair_button_normal"));
}

TEST_F(Hover, LeavingWhileAnotherApplicationIsInFrontIsMadeGoodOnTheWayBack)
{
    launch();
    auto& button = *find<HoverButton>("repairButton");
    enter(button);
    app->window()->hide();
    ASSERT_TRUE(waitFor([] { return QApplication::activeWindow() == nullptr; }));
    leave(button);
    EXPECT_EQ(imageOf(button), named(button, "repair_button_hover"));
    // By way of another window: the platform believes that the hidden one has kept the focus.
    QWidget other;
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    app->window()->show();
    app->window()->activateWindow();
    ASSERT_TRUE(waitFor([this] { return QApplication::activeWindow() == app->window(); }));
    EXPECT_EQ(imageOf(button), named(button, "repair_button_normal"));
}

TEST_F(Hover, ATagOutsideTheTableIsAPlainButton)
{
    launch();
    QWidget window;
    HoverButton button(&window);
    QPushButton plain(&window);
    button.setBundle(Bundle(path("Talvek PSD Repair.app")));
    button.setTag(99);
    for (QPushButton* either : {static_cast<QPushButton*>(&button), &plain}) {
        either->setText("Plain");
        either->setIcon(Bundle(path("Talvek PSD Repair.app")).imageNamed("info_64"));
        either->resize(160, 40);
    }
    button.awakeFromNib();
    for (const auto& pointer : {enter, leave}) {
        pointer(button);
        pointer(plain);
        EXPECT_EQ(imageOf(button), named(button, "info_64"));
        EXPECT_EQ(button.grab().toImage(), plain.grab().toImage());
    }
    EXPECT_EQ(button.sizeHint(), plain.sizeHint());
    QSignalSpy clicks(&button, &QPushButton::clicked);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks.size(), 1);
}

TEST_F(Hover, AnExitBeforeAnyEnterShowsTheRestingImage)
{
    launch();
    auto& button = *find<HoverButton>("helpButton");
    button.setIcon(QIcon());
    leave(button);
    EXPECT_EQ(imageOf(button), named(button, "help-1"));
}

TEST_F(Hover, FocusAndPressAreSeen)
{
    launch();
    auto& button = *find<HoverButton>("repairButton");
    app->filePathTextField->setFocus();
    const QImage resting = button.grab().toImage();
    button.setFocus();
    const QImage focused = button.grab().toImage();
    button.setDown(true);
    const QImage pressed = button.grab().toImage();
    EXPECT_NE(resting, focused);
    EXPECT_NE(focused, pressed);
}

} // namespace talvek::test
