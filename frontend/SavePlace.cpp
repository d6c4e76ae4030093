#include "frontend/SavePlace.h"

#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

namespace talvek {

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
    const QString inner = resolvedPath(path);
    const QString outer = resolvedPath(folder);
    return inner == outer || inner.startsWith(outer + QLatin1Char('/'));
}

bool isSameFile(const QString& path, const QString& other)
{
    // Whatever lies in folders that are not there resolves to the same place.
    if (!QFileInfo::exists(path) || !QFileInfo::exists(other)) {
        return false;
    }
    // On some volumes names that differ in case are one file's.
    std::error_code ignored;
    return resolvedPath(path) == resolvedPath(other) ||
           std::filesystem::equivalent(QFile::encodeName(path).toStdString(),
                                       QFile::encodeName(other).toStdString(), ignored);
}

} // namespace talvek
