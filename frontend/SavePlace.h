#pragma once

#include <QString>

namespace talvek {

/// The path with its links resolved; what does not exist yet, at its end, is kept as it is.
QString resolvedPath(const QString& path);

/// Links resolved on both sides. A folder that does not exist holds nothing.
bool isOrLiesIn(const QString& path, const QString& folder);

/// Both lead to the same file, by whatever links or ways of writing its name. Never where nothing
/// is there.
bool isSameFile(const QString& path, const QString& other);

} // namespace talvek
