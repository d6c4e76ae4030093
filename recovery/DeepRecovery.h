#pragma once

#include "platform/FileManager.h"
#include "platform/NotificationCenter.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"

#include <functional>
#include <string>
#include <utility>

namespace talvek::recovery {

/// The deep recovery of one document: everything that survives, back as one layered document.
///
/// One object serves one run at a time. A run works wholly on the caller's thread and posts
/// `kNotification` on the default notification centre with "status" (words) and "progress" (a
/// percentage), and `kFoundNotification` with what has been found so far (see `Findings`). The
/// document is opened read-only. Nothing throws, nothing is printed; any bytes whatever lead to a
/// defined end, in memory that does not grow with the document.
class DeepRecovery
{
public:
    static constexpr const char* kNotification = "deep";
    static constexpr const char* kFoundNotification = "deep.found";

    /// @param files  the file system to work on; outlives the object
    explicit DeepRecovery(FileManager& files = FileManager::defaultManager());

    /// Recovers the document at `path` into the folder at `folder`, which is made if it is
    /// missing: the layered document "NAME_layers.psd" (or ".psb"), where NAME is the file's name
    /// without its extension, and report.json.
    /// @return false if the output could not be written whole, or the run was stopped
    bool recoverFileAtPath_andSaveAtPath(const std::string& path, const std::string& folder);

    /// Called on the run's thread when all has been found and nothing written yet; may fill in what
    /// the document lost.
    void setAmend(std::function<void(RecoveredDocument&, const RunControl&)> amend)
    {
        m_amend = std::move(amend);
    }

    /// What the last run found.
    [[nodiscard]] const RecoveredDocument& document() const { return m_document; }

    /// From any thread, during a run.
    void setPauseRepair(bool pause) { m_control.setPause(pause); }
    void setStopflag(bool stop) { m_control.setStop(stop); }
    /// Both flags, for what is to pause and stop together with this.
    [[nodiscard]] const RunControl& control() const { return m_control; }

private:
    void post(const std::string& status, double share);
    bool writeAll(const std::string& path, const std::string& folder);

    FileManager& m_files;
    RunControl m_control;
    RecoveredDocument m_document;
    std::function<void(RecoveredDocument&, const RunControl&)> m_amend;
    int m_lastPercent = -1;
    std::string m_lastStatus;
};

} // namespace talvek::recovery
