#include "frontend/DeepFolder.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace talvek {

namespace {

constexpr const char* kMarkName = ".talvek-deep-recovery";
constexpr const char* kRunning = "running";
constexpr const char* kUnsaved = "unsaved";
constexpr const char* kSaved = "saved";
constexpr int kMostFolders = 1000;

QString markIn(const QString& folder)
{
    return folder + QLatin1Char('/') + QLatin1String(kMarkName);
}

} // namespace

DeepFolder::DeepFolder(SystemCalls& system, QString parent)
    : m_system(system), m_parent(std::move(parent))
{}

bool DeepFolder::isOurs(const QString& path) const
{
    const QFileInfo mark(markIn(path));
    return !QFileInfo(path).isSymLink() && mark.isFile() && !mark.isSymLink();
}

QString DeepFolder::path() const
{
    const QString first = m_parent + QStringLiteral("/Deep recovery");
    QString path = first;
    const auto isFree = [this](const QString& at) {
        return isOurs(at) || (!QFileInfo::exists(at) && !QFileInfo(at).isSymLink());
    };
    for (int number = 2; !isFree(path) && number < kMostFolders; ++number) {
        path = QStringLiteral("%1 %2").arg(first).arg(number);
    }
    return path;
}

bool DeepFolder::hasUnsavedResults() const
{
    QFile mark(markIn(path()));
    return isOurs(path()) && mark.open(QIODevice::ReadOnly) &&
           mark.readLine(sizeof "unsaved" + 1).trimmed() == kUnsaved;
}

bool DeepFolder::prepare()
{
    remove();
    const QString folder = path();
    if (QFileInfo::exists(folder) || !QDir().mkpath(m_parent) ||
        !FileManager(m_system).createFolder(QFile::encodeName(folder).toStdString(),
                                            FileManager::kPrivateFolder)) {
        return false;
    }
    QFile mark(markIn(folder));
    if (!mark.open(QIODevice::WriteOnly)) {
        return false;
    }
    mark.close();
    this->mark(kRunning);
    return isOurs(folder);
}

void DeepFolder::mark(const char* state)
{
    const QString folder = path();
    QFile mark(markIn(folder));
    if (isOurs(folder) && mark.open(QIODevice::WriteOnly)) {
        mark.write(
            QByteArray(state) +
            "\nThis folder belongs to Talvek PSD Repair. The next deep recovery empties it.\n"
            "Save from within the program what you want to keep.\n");
    }
}

void DeepFolder::markUnsaved()
{
    mark(kUnsaved);
}

void DeepFolder::markSaved()
{
    mark(kSaved);
}

void DeepFolder::remove()
{
    const QString folder = path();
    if (isOurs(folder)) {
        FileManager(m_system).removeItem(QFile::encodeName(folder).toStdString());
    }
}

} // namespace talvek
