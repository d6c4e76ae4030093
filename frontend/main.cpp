#include "frontend/MainWindow.h"
#include "frontend/QtDesktop.h"
#include "frontend/SingleInstance.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "frontend/Theme.h"

#include <QApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include <cstdio>
#include <cstdlib>

namespace {

using Claim = talvek::SingleInstance::Claim;

/// The document that the desktop wants opened: the last argument that is no option.
QString documentIn(const QStringList& arguments)
{
    const QString last = arguments.size() > 1 ? arguments.last() : QString();
    return last.isEmpty() || last.startsWith(QLatin1Char('-')) ? QString()
                                                               : QFileInfo(last).absoluteFilePath();
}

void comeForward(QWidget* window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

/// Never without a word: whoever started the application waits for its window.
int refuse(talvek::Desktop& desktop)
{
    const QString title = QApplication::translate("main", "Talvek PSD Repair is in use");
    const QString message = QApplication::translate(
        "main", "It is open already, here or with another user of this computer, and does not "
                "answer. Go on there, try again when it has been quit, or copy the application "
                "into a folder of your own.");
    std::fprintf(stderr, "%s. %s\n", qPrintable(title), qPrintable(message));
    desktop.runAlertPanel(nullptr, {title, message, QStringLiteral("OK")});
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Talvek PSD Repair"));
    QApplication::setApplicationVersion(QStringLiteral(TALVEK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("talvek-psd-repair"));
    QApplication::setQuitOnLastWindowClosed(false);
    QTranslator platformTexts;
    if (platformTexts.load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
                           QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QApplication::installTranslator(&platformTexts);
    }

    const talvek::Bundle bundle = talvek::Bundle::mainBundle();
    QApplication::setWindowIcon(bundle.imageNamed(QStringLiteral("application")));
    talvek::Theme::apply(application);
    talvek::QtDesktop desktop(bundle);
    talvek::TalvekRepairPSD_AppDelegate controller(desktop, bundle);

    const QString document = documentIn(QApplication::arguments());
    talvek::SingleInstance instance(controller.repairedFilesPath(), nullptr);
    const auto claim = instance.claimOrNotify(document);
    if (claim != Claim::First) {
        return claim == Claim::HandedOver ? 0 : refuse(desktop);
    }
    const auto open = [&controller](const QString& path) {
        comeForward(controller.window());
        if (!path.isEmpty()) {
            controller.openDocument(path);
        }
    };
    instance.setOtherStarted(open);
    application.installEventFilter(&controller);
    open(document);
    controller.applicationDidFinishLaunching();
    return QApplication::exec();
}
