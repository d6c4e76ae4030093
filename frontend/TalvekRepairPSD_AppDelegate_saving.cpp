#include "frontend/MainWindow.h"
#include "frontend/ProgressBar.h"
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
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

// Saving the salvaged files into a folder of the user's choice.

namespace talvek {

/// What came of copying.
struct TalvekRepairPSD_AppDelegate::CopyResult
{
    bool wasCancelled = false;
    QStringList incompleteFiles = {};
};

namespace {

constexpr std::int64_t kCopyUnitBytes = 1024;
constexpr int kMostNamesShown = 8;

std::string encoded(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/// Until all files are whole they have names of their own, so that a save that is cancelled takes
/// nothing away that was there before.
std::string partPath(const std::string& folder, const std::string& source)
{
    return appendingPathComponent(folder, "." + lastPathComponent(source) + ".part");
}

std::string finalPath(const std::string& folder, const std::string& source)
{
    return appendingPathComponent(folder, lastPathComponent(source));
}

/// The path with its links resolved; what does not exist yet, at its end, is kept as it is.
QString resolvedPath(const QString& path)
{
    const QFileInfo info(path);
    QString whole = info.canonicalFilePath();
    if (!whole.isEmpty()) {
        return whole;
    }
    const QString parent = QFileInfo(info.absolutePath()).canonicalFilePath();
    return parent + QLatin1Char('/') + info.fileName();
}

bool isOrLiesIn(const QString& path, const QString& folder)
{
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

} // namespace

std::int64_t TalvekRepairPSD_AppDelegate::chunksOf(std::int64_t bytes)
{
    return (bytes >> 10) + ((bytes & (kCopyUnitBytes - 1)) != 0 ? 1 : 0);
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
    const bool isDoomed = isOrLiesIn(resolvedPath(folder), resolvedPath(m_repairedFilesPath));
    if (isDoomed || !m_files.isWritableAtPath(deletingLastPathComponent(encoded(folder)))) {
        runDiskNotWritable();
        return false;
    }
    if (!m_files.isFolder(encoded(folder))) {
        return true;
    }
    const AlertPanel question{
        tr("\"%1\" already exists").arg(shownName(QFileInfo(folder).fileName())),
        tr("The salvaged files are put into it. Files of the same names in it are replaced."),
        tr("Save There"), tr("Cancel")};
    return m_desktop.runAlertPanel(m_window.get(), question) != AlertAnswer::Alternate;
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
        CopyResult result = copyFiles(path, records, folderIsNew);
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)] { savingEnded(result); },
            Qt::QueuedConnection);
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
TalvekRepairPSD_AppDelegate::CopyResult
TalvekRepairPSD_AppDelegate::copyFiles(const std::string& folder,
                                       const std::vector<FileRecord>& records, bool folderIsNew)
{
    CopyResult result;
    std::int32_t counter = 0;
    for (const FileRecord& record : records) {
        if (m_savingAbort) {
            break;
        }
        const bool isWhole =
            saveFileAtPath_fromPath(partPath(folder, record.filePath), record.filePath);
        if (!isWhole) {
            result.incompleteFiles << QFile::decodeName(lastPathComponent(record.filePath).c_str());
        }
        ++counter;
        QMetaObject::invokeMethod(
            this, [this, counter] { showFilesSaved(counter); }, Qt::QueuedConnection);
    }
    // Decided here once: from now on it is too late to cancel.
    result.wasCancelled = m_savingAbort;
    if (result.wasCancelled) {
        discardCopies(folder, records, folderIsNew);
    } else {
        nameCopies(folder, records, result);
    }
    return result;
}

bool TalvekRepairPSD_AppDelegate::saveFileAtPath_fromPath(const std::string& destination,
                                                          const std::string& source)
{
    if (!m_files.createFile(destination, {})) {
        return false;
    }
    WritingFileHandle output = m_files.openForWriting(destination);
    ReadingFileHandle input = m_files.openForReading(source);
    const std::int64_t size = m_files.fileSizeAtPath(source);
    const bool isRead = input.isOpen() && copyChunks(input, size, output);
    const bool isWritten = output.isOpen() && output.close();
    return isRead && isWritten && m_files.fileSizeAtPath(destination) == size;
}

/// A chunk that cannot be read is left out; the rest goes on. One that is short because the file
/// has come to end earlier than it did is no error: what there is of it is copied.
bool TalvekRepairPSD_AppDelegate::copyChunks(ReadingFileHandle& input, std::int64_t size,
                                             WritingFileHandle& output) const
{
    std::array<std::uint8_t, kCopyUnitBytes> buffer = {};
    bool isWhole = true;
    for (std::int64_t chunk = 0; chunk < chunksOf(size); ++chunk) {
        if (m_savingAbort) {
            return false;
        }
        const std::int64_t offset = chunk * kCopyUnitBytes;
        const auto wanted = static_cast<std::size_t>(std::min(kCopyUnitBytes, size - offset));
        const auto bytes = std::span(buffer).first(wanted);
        const std::size_t count = input.read(offset, bytes);
        isWhole = isWhole && count == wanted;
        const bool endsHere = offset + static_cast<std::int64_t>(count) >= input.size();
        if (count == wanted || endsHere) {
            output.append(bytes.first(count));
        }
    }
    return isWhole;
}

/// Gives the copies their names. One that is not whole never takes the place of a file that is
/// there; where there is none, it is better than nothing.
void TalvekRepairPSD_AppDelegate::nameCopies(const std::string& folder,
                                             const std::vector<FileRecord>& records,
                                             CopyResult& result)
{
    for (const FileRecord& record : records) {
        const std::string part = partPath(folder, record.filePath);
        const std::string named = finalPath(folder, record.filePath);
        const QString name = QFile::decodeName(lastPathComponent(record.filePath).c_str());
        const bool isWhole = !result.incompleteFiles.contains(name);
        if (!isWhole && m_files.existsAtPath(named)) {
            m_files.removeItem(part);
            continue;
        }
        std::error_code error;
        std::filesystem::rename(part, named, error);
        if (error && isWhole) {
            m_files.removeItem(part);
            result.incompleteFiles << name;
        }
    }
}

void TalvekRepairPSD_AppDelegate::discardCopies(const std::string& folder,
                                                const std::vector<FileRecord>& records,
                                                bool folderIsNew)
{
    if (folderIsNew) {
        m_files.removeItem(folder);
        return;
    }
    for (const FileRecord& record : records) {
        m_files.removeItem(partPath(folder, record.filePath));
    }
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
    m_desktop.beginAlertSheet(m_window.get(), alert, [this, names = result.incompleteFiles] {
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
