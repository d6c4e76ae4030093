#pragma once

#include "cli/Interruption.h"
#include "platform/FileManager.h"
#include "recovery/DeepRecovery.h"

#include <functional>
#include <string>
#include <vector>

namespace talvek {

/// The deep recovery of one document with all that it writes, as one run with one progress.
class DeepRun : public Stoppable
{
public:
    /// Called on the run's thread with what is being done and the share of the whole that is done,
    /// from 0 to 1 and never decreasing.
    using Progress = std::function<void(const std::string& status, double share)>;

    /// @param files  outlives the object
    DeepRun(FileManager& files, Progress progress);

    /// @param reference  another copy of the document; empty for none
    /// @return false if not everything could be written, or the run was stopped
    bool run(const std::string& document, const std::string& reference, const std::string& folder);

    void stopRun() override;

    /// What was found.
    [[nodiscard]] const recovery::RecoveredDocument& document() const
    {
        return m_recovery.document();
    }
    /// What was taken from the reference, a sentence each.
    [[nodiscard]] const std::vector<std::string>& fromReference() const { return m_fromReference; }

private:
    bool recoverDocument(const std::string& document, const std::string& reference,
                         const std::string& folder);
    bool writeRest(const std::string& folder);
    void tell(const std::string& status, double share);

    FileManager& m_files;
    Progress m_progress;
    recovery::DeepRecovery m_recovery;
    std::vector<std::string> m_fromReference;
    double m_share = 0;
};

} // namespace talvek
