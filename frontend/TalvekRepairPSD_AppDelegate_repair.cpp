#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "frontend/ResultsModel.h"
#include "frontend/TabView.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "ui_MainWindow.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QTableView>

#include <utility>

// Choosing a document, repairing it, watching the repair and giving it up.

namespace talvek {

void TalvekRepairPSD_AppDelegate::selectCorruptFile(QObject* /*sender*/)
{
    const OpenPanel panel{{QStringLiteral("psd"), QStringLiteral("pdd")}};
    m_desktop.beginOpenPanel(m_window.get(), panel, [this](const std::optional<QString>& path) {
        if (path) {
            showChosen(*path);
        }
    });
}

/// Not while busy, and not behind a panel or an alert that waits for its answer.
bool TalvekRepairPSD_AppDelegate::acceptsDocument() const
{
    return !isBusy() && !m_repairWhenDrained && QApplication::activeModalWidget() == nullptr;
}

void TalvekRepairPSD_AppDelegate::openDocument(const QString& path)
{
    if (!acceptsDocument()) {
        return;
    }
    if (!isOnScreen(QStringLiteral("0"))) {
        askForHome(m_window.get());
    }
    if (isOnScreen(QStringLiteral("0"))) {
        showChosen(QFileInfo(path).absoluteFilePath());
    }
}

void TalvekRepairPSD_AppDelegate::openDocuments(const QStringList& paths)
{
    if (paths.size() == 1) {
        openDocument(paths.first());
    } else if (acceptsDocument()) {
        runAlert(tr("One document at a time"),
                 tr("You dropped %1 files. Drop the one that is to be repaired first.")
                     .arg(QLocale().toString(paths.size())));
    }
}

void TalvekRepairPSD_AppDelegate::showChosen(const QString& path)
{
    setCorruptFilePath(path);
    filePathTextField->setText(path);
    m_window->ui().repairButton->setFocus();
}

void TalvekRepairPSD_AppDelegate::repairFile(QObject* /*sender*/)
{
    if (m_corruptFilePath.isNull()) {
        runAlert(QStringLiteral("No File Selected"),
                 QStringLiteral("Please select a file to repair"));
        return;
    }
    if (m_run) {
        // One repair at a time has the temporary folder. A run that was given up is soon over.
        m_repairWhenDrained = m_run->isAbandoned();
        updateControls();
        return;
    }
    m_engine = std::make_shared<Engine>(m_system);
    m_repair = std::shared_ptr<Repair>(m_engine, &m_engine->repair());
    const std::string document = QFile::encodeName(m_corruptFilePath).toStdString();
    if (!m_repair->isFileValidAtPath(document) || isInTemporaryFolder(m_corruptFilePath)) {
        runAlert(QStringLiteral("Invalid File"),
                 QStringLiteral("Please select another file to repair"));
        return;
    }
    startRepair();
}

/// A repair empties the temporary folder first, and its document with it.
bool TalvekRepairPSD_AppDelegate::isInTemporaryFolder(const QString& path) const
{
    const QString folder = QFileInfo(m_repairedFilesPath).canonicalFilePath();
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return !folder.isEmpty() &&
           (resolved == folder || resolved.startsWith(folder + QLatin1Char('/')));
}

void TalvekRepairPSD_AppDelegate::startRepair()
{
    sourcePathTextField->setText(QStringLiteral("Source Path: ") + m_corruptFilePath);
    notificationTextField->setText(QString());
    repairProgressBar->setDoubleValue(0);
    showScreen(QStringLiteral("1"));
    setIsRepairing(true);
    m_run =
        std::make_unique<RepairRun>(m_engine, QFile::encodeName(m_corruptFilePath).toStdString(),
                                    QFile::encodeName(m_repairedFilesPath).toStdString(), [this] {
                                        // Queued behind everything that the run has posted.
                                        QMetaObject::invokeMethod(
                                            this, [this] { runEnded(); }, Qt::QueuedConnection);
                                    });
}

void TalvekRepairPSD_AppDelegate::updateProgress(const UserInfo& notification)
{
    QMetaObject::invokeMethod(
        this, [this, notification] { actOnNotification(notification); }, Qt::QueuedConnection);
}

void TalvekRepairPSD_AppDelegate::actOnNotification(const UserInfo& notification)
{
    if (m_run && m_run->isAbandoned()) {
        return;
    }
    if (notification.contains("status")) {
        showProgress(notification);
    } else if (notification.contains("unrepair")) {
        setIsRepairing(false);
        couldNotRepair();
    } else if (notification.contains("complete")) {
        showCompletion(notification);
    }
}

void TalvekRepairPSD_AppDelegate::showProgress(const UserInfo& notification)
{
    notificationTextField->setText(
        QString::fromStdString(valueOf<std::string>(notification, "status")));
    repairProgressBar->setDoubleValue(valueOf<double>(notification, "progress"));
    updateControls();
}

void TalvekRepairPSD_AppDelegate::showCompletion(const UserInfo& notification)
{
    withdrawAbortQuestion();
    if (notification.contains("Files")) {
        m_arrayFiles = valueOf<std::vector<FileRecord>>(notification, "Files");
        m_results->reloadData();
    }
    setIsRepairing(false);
    m_totalFilesSize = valueOf<std::uint64_t>(notification, "totalFilesSize");
    showScreen(QStringLiteral("2"));
    tableView->selectRow(0);
    tableView->setFocus();
}

void TalvekRepairPSD_AppDelegate::runEnded()
{
    const bool wasAbandoned = m_run->isAbandoned();
    m_run.reset();
    if (wasAbandoned) {
        // What it may have written after the folder was deleted on the way home.
        removeRepairedFiles();
    } else if (m_isRepairing) {
        // It has ended without a word: the document was not there any more, or no PSD document.
        setIsRepairing(false);
        couldNotRepair();
    }
    if (std::exchange(m_repairWhenDrained, false)) {
        updateControls();
        repairFile(m_window.get());
    }
}

void TalvekRepairPSD_AppDelegate::abortRepair(QObject* /*sender*/)
{
    if (!m_repair) {
        return;
    }
    m_repair->setPauseRepair(true);
    stopClock();
    showRepairTime();
    m_abortRepairWindow->show();
    m_abortRepairWindow->raise();
    m_abortRepairWindow->activateWindow();
}

void TalvekRepairPSD_AppDelegate::abortRepairOk(QObject* sender)
{
    if (m_repair) {
        m_repair->setStopflag(true);
        // Only now: a paused engine that wakes must see the stop.
        m_repair->setPauseRepair(false);
    }
    m_abortRepairWindow->hide();
    homeScreen(sender);
}

void TalvekRepairPSD_AppDelegate::abortRepairCancel(QObject* /*sender*/)
{
    if (m_repair) {
        m_repair->setPauseRepair(false);
    }
    if (m_isRepairing) {
        startClock();
        updateControls();
    }
    m_abortRepairWindow->hide();
}

/// A repair that is over cannot be stopped any more; a "yes" would only throw its results away.
void TalvekRepairPSD_AppDelegate::withdrawAbortQuestion()
{
    if (m_abortRepairWindow->isVisible()) {
        abortRepairCancel(m_abortRepairWindow.get());
    }
}

void TalvekRepairPSD_AppDelegate::couldNotRepair()
{
    withdrawAbortQuestion();
    const AlertSheet alert{QStringLiteral("File Couldn't Repaired."), QStringLiteral("OK"),
                           QStringLiteral("info_64")};
    m_desktop.beginAlertSheet(m_window.get(), alert, [this] { homeScreen(this); });
}

void TalvekRepairPSD_AppDelegate::abandonRun()
{
    if (m_run) {
        m_run->abandon();
    }
}

} // namespace talvek
