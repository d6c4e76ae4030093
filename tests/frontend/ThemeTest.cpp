#include "frontend/Theme.h"

#include "frontend/MainWindow.h"
#include "tests/frontend/Journey.h"

#include <QApplication>
#include <QWindow>
#include <QtTest>

namespace talvek::test {

/// The application has its theme from the start of the tests; here the desktop changes under it.
class Theme : public Journey
{
protected:
    ~Theme() override { turn("light"); }

    /// What the platform does when the user turns the desktop light or dark.
    static void turn(const char* appearance)
    {
        qputenv("TALVEK_APPEARANCE", appearance);
        for (QWindow* window : QGuiApplication::allWindows()) {
            QEvent event(QEvent::ThemeChange);
            QCoreApplication::sendEvent(window, &event);
        }
        drain();
    }
    [[nodiscard]] int lightnessOf(const QString& widgetName) const
    {
        const QImage picture = find<QWidget>(widgetName)->grab().toImage();
        return picture.pixelColor(picture.width() / 2, 3 * picture.height() / 4).lightness();
    }
};

TEST_F(Theme, FollowsTheDesktopIntoTheDarkAndBack)
{
    launch();
    EXPECT_GT(lightnessOf("dropZone"), 200);
    turn("dark");
    EXPECT_LT(lightnessOf("dropZone"), 60);
    EXPECT_LT(QApplication::palette().color(QPalette::Base).lightness(), 60);
    EXPECT_GT(find<QWidget>("dropTitleLabel")->palette().color(QPalette::WindowText).lightness(),
              200);
    turn("light");
    EXPECT_GT(lightnessOf("dropZone"), 200);
}

TEST_F(Theme, KeepsItsColoursWhereTheDesktopHasChangedInSomethingElse)
{
    launch();
    const QPalette before = QApplication::palette();
    turn("light");
    EXPECT_EQ(QApplication::palette(), before);
}

TEST_F(Theme, GoesByThePaletteWhereNothingIsAskedFor)
{
    launch();
    turn("dark");
    qunsetenv("TALVEK_APPEARANCE");
    QEvent event(QEvent::ApplicationPaletteChange);
    QCoreApplication::sendEvent(qApp, &event);
    drain();
    // The tests' platform is a light one.
    EXPECT_GT(lightnessOf("dropZone"), 200);
}

} // namespace talvek::test
