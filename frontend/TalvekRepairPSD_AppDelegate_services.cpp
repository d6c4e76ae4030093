#include "frontend/DeepRecoveryController.h"
#include "frontend/MainWindow.h"
#include "frontend/PropertyList.h"
#include "frontend/PublishedList.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "platform/PathString.h"

#include <QApplication>
#include <QFile>

#include <utility>

// Help, the way home, and the update check.

namespace talvek {

namespace {

constexpr const char* kVersionKey = "CFBundleShortVersionString";
constexpr int kUpdateRetryMilliseconds = 500;

} // namespace

void TalvekRepairPSD_AppDelegate::help(QObject* /*sender*/)
{
    m_desktop.openURL(QUrl::fromLocalFile(m_bundle.bundlePath() +
                                          QStringLiteral("/Contents/Resources/HTML/index.html")));
}

void TalvekRepairPSD_AppDelegate::askForHome(QObject* sender)
{
    if (isBusy() || !m_deep->mayLeave()) {
        return;
    }
    const bool isOnResults =
        isOnScreen(QStringLiteral("2")) || m_deep->returnScreen() == QLatin1String("2");
    const bool hasUnsaved = isOnResults && numberOfRowsInTableView(tableView) > 0;
    const AlertPanel question{tr("Leave without saving?"),
                              tr("The salvaged files have not been saved. They are deleted when "
                                 "you go home."),
                              tr("Stay"),
                              tr("Delete files"),
                              QString(),
                              AlertAnswer::Default};
    if (!hasUnsaved ||
        m_desktop.runAlertPanel(m_window.get(), question) == AlertAnswer::Alternate) {
        homeScreen(sender);
    }
}

void TalvekRepairPSD_AppDelegate::homeScreen(QObject* /*sender*/)
{
    abandonRun();
    m_deep->leave();
    m_repairWhenDrained = false;
    removeRepairedFiles();
    setupInitialVariableState();
    initialUISetup();
    showScreen(QStringLiteral("0"));
}

void TalvekRepairPSD_AppDelegate::removeRepairedFiles()
{
    const std::string folder = QFile::encodeName(m_repairedFilesPath).toStdString();
    if (m_files.existsAtPath(folder)) {
        m_files.removeItem(folder);
    }
}

void TalvekRepairPSD_AppDelegate::setUpdateTimeOut(int milliseconds)
{
    m_publishedList->setTimeOut(milliseconds);
}

void TalvekRepairPSD_AppDelegate::checkUpdate(std::function<void(bool)> answer)
{
    const std::string folder =
        m_bundle.infoString("cloudPlistUrl").value_or(QString()).toStdString();
    QString address = QString::fromStdString(appendingPathComponent(folder, "/Info.plist"));
    address.replace(QLatin1Char(' '), QLatin1String("%20"));
    const auto compare = [running = m_bundle.infoString(kVersionKey),
                          answer = std::move(answer)](const std::optional<QByteArray>& list) {
        const auto published =
            list ? PropertyList(*list).string(kVersionKey) : std::optional<QString>();
        answer(running && published && *running != *published);
    };
    m_publishedList->fetch(QUrl(address), compare);
}

void TalvekRepairPSD_AppDelegate::checkForUpdate(QObject* sender)
{
    m_isCheckingForUser = m_isCheckingForUser || sender != nullptr;
    updateControls();
    // A check that is under way, or whose alert stands, answers this one as well: never two alerts.
    if (std::exchange(m_isCheckingForUpdate, true)) {
        return;
    }
    if (!m_desktop.isConnectedToInternet()) {
        answerUpdateCheck([this] {
            runAlert(QStringLiteral("No Internet"),
                     QStringLiteral("System is not connected to internet."));
        });
        return;
    }
    checkUpdate([this](bool isOther) {
        answerUpdateCheck([this, isOther] { showUpdateAnswer(isOther); });
    });
}

/// An answer that comes late waits until no panel and no other alert is in its way.
void TalvekRepairPSD_AppDelegate::answerUpdateCheck(std::function<void()> show)
{
    if (QApplication::activeModalWidget() != nullptr) {
        QTimer::singleShot(kUpdateRetryMilliseconds, this,
                           [this, show = std::move(show)] { answerUpdateCheck(show); });
        return;
    }
    show();
    m_isCheckingForUpdate = false;
    m_isCheckingForUser = false;
    updateControls();
}

void TalvekRepairPSD_AppDelegate::showUpdateAnswer(bool isOther)
{
    if (!isOther) {
        if (m_isCheckingForUser) {
            runAlert(QStringLiteral("App Up to date"), QStringLiteral("Your app is up to date."));
        }
        return;
    }
    const AlertPanel question{QStringLiteral("A newer version of Talvek PSD Repair is available"),
                              QStringLiteral("Do you want to update?"), QStringLiteral("YES"),
                              QStringLiteral("NO"), QString()};
    if (m_desktop.runAlertPanel(m_window.get(), question) != AlertAnswer::Alternate) {
        m_desktop.launchApplication(m_bundle.containingFolder() + QStringLiteral("/.autoUpd.app"));
    }
}

} // namespace talvek
