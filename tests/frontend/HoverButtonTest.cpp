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

TEST_F(Hover, ATagOutsideTheTableIsAPlainButton)
{
    launch();
    HoverButton button;
    button.setBundle(Bundle(path("Talvek PSD Repair.app")));
    button.awakeFromNib();
    button.mouseEntered();
    EXPECT_TRUE(button.icon().isNull());
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&clicks] { ++clicks; });
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks, 1);
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
