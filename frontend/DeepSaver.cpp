#include "frontend/DeepSaver.h"

#include "frontend/SavePlace.h"
#include "frontend/ShownText.h"
#include "platform/PathString.h"
#include "recovery/LayeredDocumentName.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace talvek {

namespace {

constexpr int kMostNamesShown = 8;

std::string encoded(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

QString stemOf(const QString& path)
{
    return QFile::decodeName(recovery::stemForNames(encoded(path)).c_str());
}

/// A document without its ending would be opened by nothing.
QString withEnding(const QString& name, const QString& like)
{
    const QString ending = QLatin1Char('.') + QFileInfo(like).suffix();
    return name.endsWith(ending, Qt::CaseInsensitive) ? name : name + ending;
}

QString shownNames(const CopyResult& result)
{
    QStringList names;
    for (const std::string& name : result.incompleteFiles) {
        if (names.size() == kMostNamesShown) {
            names << DeepSaver::tr("and %n more", nullptr,
                                   static_cast<int>(result.incompleteFiles.size()) -
                                       kMostNamesShown);
            break;
        }
        names << shownName(QFile::decodeName(name.c_str()));
    }
    return names.join(QLatin1Char('\n'));
}

} // namespace

/// Where everything goes.
struct DeepSaver::Plan
{
    QString path; ///< the file, or the folder
    std::vector<FileCopy> copies;
    std::string newFolder; ///< is made by the save, and may be deleted whole
    qint64 bytes = 0;
};

DeepSaver::DeepSaver(Desktop& desktop, SystemCalls& system, QWidget* window, QObject* parent)
    : QObject(parent), m_desktop(desktop), m_system(system), m_files(system), m_window(window)
{
    m_pool.setMaxThreadCount(1);
}

DeepSaver::~DeepSaver()
{
    m_cancel = true;
    m_pool.waitForDone();
}

SavePanel DeepSaver::panelFor(What what, const DeepResults& results)
{
    switch (what) {
    case What::LayeredDocument:
        return {tr("Save"), results.layeredDocument, tr("Save the layered document"),
                tr("Name of the document")};
    case What::Pictures:
        return {tr("Save"), tr("%1 layers").arg(stemOf(results.document)),
                tr("Save the layers as PNG in a new folder"), tr("Name of the new folder")};
    case What::Everything:
        break;
    }
    return {tr("Save"), tr("%1 recovered").arg(stemOf(results.document)),
            tr("Save everything in a new folder"), tr("Name of the new folder")};
}

void DeepSaver::save(What what, const std::shared_ptr<const DeepResults>& results,
                     const QStringList& ownFolders)
{
    if (m_isSaving || !results) {
        return;
    }
    m_ownFolders = ownFolders;
    const SavePanel panel = panelFor(what, *results);
    m_desktop.beginSavePanel(
        m_window, panel, [this, what, results](const std::optional<SaveDestination>& destination) {
            if (destination && !m_isSaving) {
                panelEnded(what, *results, *destination);
            }
        });
}

void DeepSaver::panelEnded(What what, const DeepResults& results,
                           const SaveDestination& destination)
{
    const bool isFile = what == What::LayeredDocument;
    const QString name =
        isFile ? withEnding(destination.name, results.layeredDocument) : destination.name;
    const QString path = QDir::cleanPath(destination.parentFolder + QLatin1Char('/') + name);
    if (!mayUse(path, isFile, results)) {
        return;
    }
    const Plan plan = planFor(what, results, path);
    if (!sparesDocument(plan, results) || !mayReplace(path, isFile) || !hasRoom(plan)) {
        return;
    }
    if (!isFile && !m_files.createFolders(encoded(path), FileManager::kSharedFolder)) {
        refuse();
        return;
    }
    begin(plan, what);
}

bool DeepSaver::mayUse(const QString& path, bool isFile, const DeepResults& results)
{
    bool isDoomed = false;
    for (const QString& folder : m_ownFolders) {
        isDoomed = isDoomed || isOrLiesIn(path, folder);
    }
    const QFileInfo there(path);
    const bool isOtherKind = there.exists() && there.isDir() == isFile;
    if (isDoomed || isOtherKind ||
        !m_files.isWritableAtPath(deletingLastPathComponent(encoded(path)))) {
        refuse();
        return false;
    }
    if (isFile && isSameFile(path, results.document)) {
        m_desktop.runAlertPanel(m_window, {tr("This is the damaged document"),
                                           tr("It is only read, never changed. Please choose "
                                              "another name."),
                                           QStringLiteral("OK")});
        return false;
    }
    return true;
}

/// A folder that is saved into may hold the document, under a name that recovered files have too.
bool DeepSaver::sparesDocument(const Plan& plan, const DeepResults& results)
{
    const bool isSpared =
        std::none_of(plan.copies.begin(), plan.copies.end(), [&results](const FileCopy& copy) {
            return isSameFile(QFile::decodeName(copy.destination.c_str()), results.document);
        });
    if (!isSpared) {
        refuse();
    }
    return isSpared;
}

bool DeepSaver::mayReplace(const QString& path, bool isFile)
{
    const QFileInfo there(path);
    if (!there.exists() && !there.isSymLink()) {
        return true;
    }
    const AlertPanel question{
        tr("\"%1\" already exists").arg(shownName(there.fileName())),
        isFile ? tr("It is replaced by the layered document.")
               : tr("The recovered files are put into it. Files of the same names in it are "
                    "replaced."),
        isFile ? tr("Replace") : tr("Save there"), tr("Cancel")};
    return m_desktop.runAlertPanel(m_window, question) != AlertAnswer::Alternate;
}

void DeepSaver::refuse()
{
    m_desktop.runAlertPanel(
        m_window, {QStringLiteral("! Disk is not writable"),
                   QStringLiteral("The volume you have chosen to save data is not supported."),
                   QStringLiteral("OK")});
}

DeepSaver::Plan DeepSaver::planFor(What what, const DeepResults& results, const QString& path) const
{
    Plan plan;
    plan.path = path;
    const auto add = [&](const QString& file, const QString& destination) {
        const std::string source = encoded(results.folder + QLatin1Char('/') + file);
        plan.bytes += m_files.fileSizeAtPath(source);
        plan.copies.push_back({source, encoded(destination)});
    };
    if (what == What::LayeredDocument) {
        add(results.layeredDocument, path);
        return plan;
    }
    const bool isAll = what == What::Everything;
    for (const QString& file : isAll ? results.everything : results.pictures) {
        add(file, path + QLatin1Char('/') + (isAll ? file : QFileInfo(file).fileName()));
    }
    plan.newFolder = m_files.existsAtPath(encoded(path)) ? std::string() : encoded(path);
    return plan;
}

/// Before anything is made, so that a refused place stays as it was.
bool DeepSaver::hasRoom(const Plan& plan)
{
    // A folder that is there may stand on another volume than the one that it is seen in.
    const std::string path = encoded(plan.path);
    const auto freeSize =
        m_files.freeSizeAtPath(m_files.isFolder(path) ? path : deletingLastPathComponent(path));
    if (freeSize.value_or(0) > static_cast<std::uint64_t>(plan.bytes)) {
        return true;
    }
    m_desktop.runAlertPanel(
        m_window, {QStringLiteral("! Not enough free disk space"),
                   QStringLiteral(
                       "The volume you have chosen to save data does not have enough free space to "
                       "save the repaired file."),
                   QStringLiteral("OK")});
    return false;
}

void DeepSaver::begin(const Plan& plan, What what)
{
    m_cancel = false;
    m_isSaving = true;
    m_totalBytes = plan.bytes;
    m_copiedBytes = 0;
    emit changed();
    m_pool.start([this, plan, what] {
        const auto tell = [this](const CopyProgress& done) {
            QMetaObject::invokeMethod(
                this,
                [this, bytes = done.bytes] {
                    m_copiedBytes = bytes;
                    emit changed();
                },
                Qt::QueuedConnection);
        };
        const CopyResult result =
            FileCopier(m_system, m_cancel).copyAll(plan.copies, plan.newFolder, tell);
        QMetaObject::invokeMethod(
            this, [this, result, what, path = plan.path] { ended(result, what, path); },
            Qt::QueuedConnection);
    });
}

void DeepSaver::ended(const CopyResult& result, What what, const QString& path)
{
    m_isSaving = false;
    m_cancel = false;
    AlertSheet alert{QStringLiteral("Saving Process completed."), QStringLiteral("Ok"),
                     QStringLiteral("info_64"), shownName(QDir::toNativeSeparators(path))};
    if (result.wasCancelled) {
        alert.messageText = QStringLiteral("Saving process aborted.");
        alert.informativeText = {};
    } else if (!result.incompleteFiles.empty()) {
        alert = {tr("Some files could not be saved whole."), QStringLiteral("OK"),
                 QStringLiteral("info_64"),
                 shownNames(result) + tr("\n\nThe recovered files are still here. Save them again "
                                         "in another place.")};
    } else {
        emit saved(what);
    }
    emit changed();
    m_desktop.beginAlertSheet(m_window, alert, [] {});
}

void DeepSaver::cancel()
{
    if (m_isSaving) {
        m_cancel = true;
        emit changed();
    }
}

} // namespace talvek
