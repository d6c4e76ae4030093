#include "frontend/SavePlace.h"

#include <QFileInfo>

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

} // namespace talvek
