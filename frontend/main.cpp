#include "frontend/MainWindow.h"
#include "frontend/QtDesktop.h"
#include "frontend/SingleInstance.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "frontend/Theme.h"

#include <QApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

namespace {

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
    if (!instance.claimOrNotify(document)) {
        return 0;
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
