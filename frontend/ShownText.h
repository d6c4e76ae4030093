#pragma once

#include <QString>

namespace talvek {

/// Names and paths as they may be shown. They come from damaged documents and from anybody, so they
/// are never markup, never break a line and never turn the direction of writing. Any thread.

/// For a label that shows plain text, a message or a table: control characters, line breaks and
/// marks that turn the direction stand as escapes, "\n" or "\u202E".
QString shownName(const QString& name);

/// For a tool tip, which would otherwise take whatever looks like a tag for one.
QString shownInToolTip(const QString& name);

/// What stands beside a bar: the share that is done and the time that it took, as in "40 %, 1:05".
QString shownProgress(double percent, qint64 milliseconds);

/// For a window's title, in which Qt gives "[*]" a meaning of its own.
QString shownInTitle(const QString& name);

} // namespace talvek
