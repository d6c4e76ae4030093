#pragma once

#include "platform/FileManager.h"

#include <QString>

namespace talvek {

/// The program's own folder for what a deep recovery gives: "Deep recovery" in a folder that others
/// use as well.
///
/// A hidden file in it says whose it is and whether its results were saved; the folder stays until
/// the next recovery replaces it. A folder of that name without that file is somebody else's, and
/// is left alone: then "Deep recovery 2" is used, and so on. Main thread.
class DeepFolder
{
public:
    /// @param parent  the folder that holds it; need not exist yet
    DeepFolder(SystemCalls& system, QString parent);

    /// Where results stand or are to be put.
    [[nodiscard]] QString path() const;
    /// Results of a finished recovery are in it, and nobody has saved them.
    [[nodiscard]] bool hasUnsavedResults() const;
    /// Deletes what an earlier recovery left, and makes the folder anew for one that begins.
    bool prepare();
    void markUnsaved();
    void markSaved();
    /// Deletes the folder with all it holds, if it is ours.
    void remove();

private:
    [[nodiscard]] bool isOurs(const QString& path) const;
    void mark(const char* state);

    SystemCalls& m_system;
    QString m_parent;
};

} // namespace talvek
