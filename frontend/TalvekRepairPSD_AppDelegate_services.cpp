#include "frontend/MainWindow.h"
#include "frontend/PropertyList.h"
#include "frontend/PublishedList.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "platform/PathString.h"

#include <QFile>

#include <utility>

// Help, the way home, and the update check.

namespace talvek {

namespace {

constexpr const char* kVersionKey = "CFBundleShortVersionString";

} // namespace

void TalvekRepairPSD_AppDelegate::help(QObject* /*sender*/)
{
    m_desktop.openURL(QUrl::fromLocalFile(m_bundle.bundlePath() +
                                          QStringLiteral("/Contents/Resources/HTML/index.html")));
}

void TalvekRepairPSD_AppDelegate::askForHome(QObject* sender)
{
    if (isBusy()) {
        return;
    }
    const bool hasUnsaved =
        isOnScreen(QStringLiteral("2")) && numberOfRowsInTableView(tableView) > 0;
    const AlertPanel question{tr("Leave without saving?"),
                              tr("The salvaged files have not been saved. They are deleted when "
                                 "you go home."),
                              tr("Stay"),
                              tr("Delete Files"),
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
    if (!m_desktop.isConnectedToInternet()) {
        runAlert(QStringLiteral("No Internet"),
                 QStringLiteral("System is not connected to internet."));
        return;
    }
    const bool userAsked = sender != nullptr;
    m_isCheckingForUser = m_isCheckingForUser || userAsked;
    updateControls();
    checkUpdate([this, userAsked](bool isOther) {
        m_isCheckingForUser = m_isCheckingForUser && !userAsked;
        updateControls();
        answerUpdateCheck(isOther, userAsked);
    });
}

void TalvekRepairPSD_AppDelegate::answerUpdateCheck(bool isOther, bool userAsked)
{
    if (!isOther) {
        if (userAsked) {
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
