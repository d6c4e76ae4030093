#pragma once

#include "recovery/RecoveredDocument.h"

#include <QColor>
#include <QIcon>
#include <QString>

/// How states are shown: by a word, a shape and a colour, so that none of the three is needed to
/// tell them apart. Main thread.
namespace talvek::StateMark {

/// "Whole", "Unproved", "Partial", "Lost".
QString word(recovery::State state);
/// Readable as text on the window's grounds.
QColor color(recovery::State state, bool isDark);
/// A disc with a check, a ring with a point, a half disc, a ring with a cross.
QIcon icon(recovery::State state, bool isDark);

} // namespace talvek::StateMark
