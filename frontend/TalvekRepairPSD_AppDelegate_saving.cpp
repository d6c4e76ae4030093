#include "frontend/DeepRecoveryController.h"
#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
#include "frontend/SavePlace.h"
#include "frontend/ShownText.h"
#include "frontend/TabView.h"
#include "frontend/TalvekRepairPSD_AppDelegate.h"
#include "platform/PathString.h"
#include "platform/SystemLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

// Saving the salvaged files into a folder of the user's choice.

namespace talvek {

namespace {

constexpr int kMostNamesShown = 8;

std::string encoded(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

std::vector<FileCopy> copiesInto(const std::string& folder, const std::vector<FileRecord>& records)
{
    std::vector<FileCopy> copies;
    copies.reserve(records.size());
    for (const FileRecord& record : records) {
        copies.push_back(
            {record.filePath, appendingPathComponent(folder, lastPathComponent(record.filePath))});
    }
    return copies;
}

QStringList namesOf(const CopyResult& result)
{
    QStringList names;
    for (const std::string& name : result.incompleteFiles) {
        names << QFile::decodeName(name.c_str());
    }
    return names;
}

} // namespace

std::int64_t TalvekRepairPSD_AppDelegate::chunksOf(std::int64_t bytes)
{
    return FileCopier::chunksOf(bytes);
}

void TalvekRepairPSD_AppDelegate::saveFile(QObject* /*sender*/)
{
    const SavePanel panel{QStringLiteral("Save"), QStringLiteral("Repaired PSD Files")};
    m_desktop.beginSavePanel(m_window.get(), panel,
                             [this](const std::optional<SaveDestination>& destination) {
                                 if (destination && !isBusy()) {
                                     savePanelEnded(*destination);
                                 }
                             });
}

void TalvekRepairPSD_AppDelegate::savePanelEnded(const SaveDestination& destination)
{
    const QString folder =
        QDir::cleanPath(destination.parentFolder + QLatin1Char('/') + destination.name);
    if (mayUseFolder(folder)) {
        saveInto(folder);
    }
}

bool TalvekRepairPSD_AppDelegate::mayUseFolder(const QString& folder)
{
    // The temporary folder is deleted on the way home, and a save inside it with it.
    // So is the deep recovery's folder, when the next one begins.
    const bool isDoomed =
        isOrLiesIn(folder, m_repairedFilesPath) || isOrLiesIn(folder, m_deep->workingFolder());
    if (isDoomed || wouldReplaceDocument(folder) ||
        !m_files.isWritableAtPath(deletingLastPathComponent(encoded(folder)))) {
        runDiskNotWritable();
        return false;
    }
    if (!m_files.isFolder(encoded(folder))) {
        return true;
    }
    const AlertPanel question{
        tr("\"%1\" already exists").arg(shownName(QFileInfo(folder).fileName())),
        tr("The salvaged files are put into it. Files of the same names in it are replaced."),
        tr("Save there"), tr("Cancel")};
    return m_desktop.runAlertPanel(m_window.get(), question) != AlertAnswer::Alternate;
}

/// A salvaged file that is repaired once more is called like those that come of it.
bool TalvekRepairPSD_AppDelegate::wouldReplaceDocument(const QString& folder) const
{
    const auto copies =
        copiesInto(encoded(folder), m_arrayFiles.value_or(std::vector<FileRecord>()));
    return std::any_of(copies.begin(), copies.end(), [this](const FileCopy& copy) {
        return isSameFile(QFile::decodeName(copy.destination.c_str()), m_corruptFilePath);
    });
}

void TalvekRepairPSD_AppDelegate::runDiskNotWritable()
{
    runAlert(QStringLiteral("! Disk is not writable"),
             QStringLiteral("The volume you have chosen to save data is not supported."));
}

void TalvekRepairPSD_AppDelegate::saveInto(const QString& folder)
{
    const std::string path = encoded(folder);
    m_folderIsNew = !m_files.existsAtPath(path);
    const std::uint64_t freeSize = freeSizeAfterMaking(path);
    if (freeSize <= m_totalFilesSize) {
        runAlert(QStringLiteral("! Not enough free disk space"),
                 QStringLiteral("The volume you have chosen to save data does not have enough free "
                                "space to save the repaired file."));
        return;
    }
    if (!m_files.isFolder(path)) {
        runDiskNotWritable();
        return;
    }
    saveFileAtPath_fromFileArray(folder, m_arrayFiles.value_or(std::vector<FileRecord>()));
}

/// Makes the folder and tells the bytes free where it stands, 0 if that cannot be told. One error
/// serves both steps and is not cleared between them, so that one in the first is logged twice.
std::uint64_t TalvekRepairPSD_AppDelegate::freeSizeAfterMaking(const std::string& folder)
{
    std::string error;
    if (!m_files.createFolders(folder, FileManager::kSharedFolder)) {
        error = std::strerror(errno);
        SystemLog::write("Error While Creating Directory:" + error);
    }
    const std::optional<std::uint64_t> freeSize = m_files.freeSizeAtPath(folder);
    if (!freeSize) {
        error = std::strerror(errno);
    }
    if (!error.empty()) {
        SystemLog::write("Error While Getting system attributes:" + error);
    }
    return freeSize.value_or(0);
}

void TalvekRepairPSD_AppDelegate::saveFileAtPath_fromFileArray(
    const QString& folder, const std::vector<FileRecord>& records)
{
    setSavePath(folder);
    beginSaving(folder, static_cast<int>(records.size()));
    const bool folderIsNew = std::exchange(m_folderIsNew, false);
    savingQueue.start([this, path = encoded(folder), records, folderIsNew] {
        const CopyResult result = copyFiles(path, records, folderIsNew);
        QMetaObject::invokeMethod(
            this, [this, result] { savingEnded(result); }, Qt::QueuedConnection);
    });
}

void TalvekRepairPSD_AppDelegate::beginSaving(const QString& folder, int files)
{
    saveProgressBar->setDoubleValue(0);
    saveProgressBar->setMaxValue(files);
    savingNotificationLabel->setText(QStringLiteral("Saving in progress.."));
    saveDestinationPath->setText(folder);
    setIsSaving(true);
    showScreen(QStringLiteral("3"));
}

/// Works on the thread that copies, like all that it calls.
CopyResult TalvekRepairPSD_AppDelegate::copyFiles(const std::string& folder,
                                                  const std::vector<FileRecord>& records,
                                                  bool folderIsNew)
{
    return FileCopier(m_system, m_savingAbort)
        .copyAll(copiesInto(folder, records), folderIsNew ? folder : std::string(),
                 [this, shown = 0](const CopyProgress& done) mutable {
                     if (std::exchange(shown, done.files) != done.files) {
                         QMetaObject::invokeMethod(
                             this, [this, files = done.files] { showFilesSaved(files); },
                             Qt::QueuedConnection);
                     }
                 });
}

bool TalvekRepairPSD_AppDelegate::saveFileAtPath_fromPath(const std::string& destination,
                                                          const std::string& source)
{
    return FileCopier(m_system, m_savingAbort).copyFile({source, destination});
}

void TalvekRepairPSD_AppDelegate::showFilesSaved(int files)
{
    saveProgressBar->setDoubleValue(files);
    updateControls();
}

void TalvekRepairPSD_AppDelegate::savingEnded(const CopyResult& result)
{
    AlertSheet alert{QStringLiteral("Saving process aborted."), QStringLiteral("Ok"),
                     QStringLiteral("info_64")};
    if (result.wasCancelled) {
        m_desktop.beginAlertSheet(m_window.get(), alert, [this] { homeScreen(this); });
        return;
    }
    savingNotificationLabel->setText(QStringLiteral("Save Completed"));
    cancelSave->setEnabled(false);
    alert.messageText = QStringLiteral("Saving Process completed.");
    m_desktop.beginAlertSheet(m_window.get(), alert, [this, names = namesOf(result)] {
        if (names.isEmpty()) {
            homeScreen(this);
        } else {
            warnOfIncomplete(names);
        }
    });
}

/// Going home would delete the only whole copies there are.
void TalvekRepairPSD_AppDelegate::warnOfIncomplete(const QStringList& names)
{
    QStringList shown;
    for (const QString& name : names.mid(0, kMostNamesShown)) {
        shown << shownName(name);
    }
    if (names.size() > shown.size()) {
        shown << tr("and %n more", nullptr, static_cast<int>(names.size() - shown.size()));
    }
    m_savingAbort = false;
    setIsSaving(false);
    showScreen(QStringLiteral("2"));
    m_desktop.beginAlertSheet(
        m_window.get(),
        {tr("Some files could not be saved whole."), QStringLiteral("OK"),
         QStringLiteral("info_64"),
         shown.join(QLatin1Char('\n')) +
             tr("\n\nThe salvaged files are still here. Save them again in another place.")},
        [] {});
}

void TalvekRepairPSD_AppDelegate::cancelSaving(QObject* /*sender*/)
{
    m_savingAbort = true;
    updateControls();
}

} // namespace talvek
