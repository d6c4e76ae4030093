#pragma once

#include <QString>

namespace talvek {

/// The path with its links resolved; what does not exist yet, at its end, is kept as it is.
QString resolvedPath(const QString& path);

/// Links resolved on both sides. A folder that does not exist holds nothing.
bool isOrLiesIn(const QString& path, const QString& folder);

} // namespace talvek
