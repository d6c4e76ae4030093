// The run, in order:
//  1. everything that survives is found
//  2. a reference, if there is one, fills in what is lost
//  3. the layered document and report.json are written
//  4. pictures, embedded files, texts and the report's page are written

#include "cli/DeepRun.h"

#include "platform/NotificationCenter.h"
#include "recovery/output/RecoveryOutput.h"
#include "recovery/output/Reference.h"

#include <algorithm>
#include <utility>

namespace talvek {

namespace {

/// Making the pictures takes most of the time.
constexpr double kShareOfDocument = 0.25;

/// Where finding ends and writing begins, of the recovery's own percentage.
constexpr double kShareWhenFound = 0.7 * kShareOfDocument;

/// Hears a recovery's notifications while it lives.
class RecoveryObserver
{
public:
    explicit RecoveryObserver(NotificationCenter::Observer observer)
        : m_token(NotificationCenter::defaultCenter().addObserver(
              recovery::DeepRecovery::kNotification, std::move(observer)))
    {}
    ~RecoveryObserver() { NotificationCenter::defaultCenter().removeObserver(m_token); }
    RecoveryObserver(const RecoveryObserver&) = delete;
    RecoveryObserver& operator=(const RecoveryObserver&) = delete;

private:
    int m_token;
};

} // namespace

DeepRun::DeepRun(FileManager& files, Progress progress)
    : m_files(files), m_progress(std::move(progress)), m_recovery(files)
{}

bool DeepRun::run(const std::string& document, const std::string& reference,
                  const std::string& folder)
{
    if (!recoverDocument(document, reference, folder) || !writeRest(folder)) {
        return false;
    }
    tell("Done", 1);
    return true;
}

bool DeepRun::recoverDocument(const std::string& document, const std::string& reference,
                              const std::string& folder)
{
    const RecoveryObserver observer([this](const UserInfo& info) {
        const double share = std::get<double>(info.at("progress")) / 100;
        // The recovery is done with its part then, and the run is not.
        if (share < 1) {
            tell(std::get<std::string>(info.at("status")), kShareOfDocument * share);
        }
    });
    if (!reference.empty()) {
        m_recovery.setAmend(
            [&](recovery::RecoveredDocument& found, const recovery::RunControl& control) {
                tell("Looking into the reference", kShareWhenFound);
                m_fromReference =
                    recovery::output::fillFromReference(m_files, found, reference, control);
            });
    }
    return m_recovery.recoverFileAtPath_andSaveAtPath(document, folder);
}

bool DeepRun::writeRest(const std::string& folder)
{
    recovery::output::OutputOptions options;
    options.fromReference = m_fromReference;
    recovery::output::RecoveryOutput output(m_files, m_recovery.control(), std::move(options));
    const auto progress = [this](const std::string& status, double share) {
        if (share < 1) {
            tell(status, kShareOfDocument + (1 - kShareOfDocument) * share);
        }
    };
    return output.write(m_recovery.document(), folder, progress) ==
           recovery::output::OutputResult::Written;
}

void DeepRun::tell(const std::string& status, double share)
{
    m_share = std::max(m_share, share);
    m_progress(status, m_share);
}

void DeepRun::stopRun()
{
    m_recovery.setStopflag(true);
}

} // namespace talvek
