#include "frontend/Theme.h"

#include <QApplication>
#include <QStandardPaths>
#include <gtest/gtest.h>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
/// Where ThreadSanitizer finds the list of what it cannot follow, however the tests are started.
extern "C" const char* __tsan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return "suppressions=" TALVEK_TSAN_SUPPRESSIONS " history_size=4";
}
#endif
#endif

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // its wake-up calls cannot be followed either
    ::testing::InitGoogleTest(&argc, argv);
    qputenv("TALVEK_APPEARANCE", "light");
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QStandardPaths::setTestModeEnabled(true);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Talvek PSD Repair tests"));
    QApplication::setQuitOnLastWindowClosed(false);
    talvek::Theme::apply(application);
    return RUN_ALL_TESTS();
}
