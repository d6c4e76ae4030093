#include "frontend/DeepRun.h"

#include <utility>

namespace talvek {

namespace {

/// Recovering and writing the pictures take about the same time.
constexpr double kRecovered = 0.5;

} // namespace

DeepRun::DeepRun(SystemCalls& system, std::string document, std::string folder, Listener listener)
    : m_system(system), m_files(m_system), m_recovery(m_files), m_listener(std::move(listener))
{
    auto& center = NotificationCenter::defaultCenter();
    m_progressObserver =
        center.addObserver(recovery::DeepRecovery::kNotification, [this](const UserInfo& info) {
            const double percent = kRecovered * valueOf<double>(info, "progress");
            const auto status = valueOf<std::string>(info, "status");
            // "Done" is said by the recovery, and its pictures are still to come.
            if (percent < 100 * kRecovered) {
                m_listener.progress(status, percent);
            }
        });
    m_foundObserver = center.addObserver(
        recovery::DeepRecovery::kFoundNotification,
        [this](const UserInfo& info) { m_listener.found(recovery::findingsFrom(info)); });
    m_thread = std::thread([this, document = std::move(document), folder = std::move(folder)] {
        m_listener.ended(work(document, folder));
    });
}

DeepRun::~DeepRun()
{
    stop();
    m_thread.join();
    NotificationCenter::defaultCenter().removeObserver(m_progressObserver);
    NotificationCenter::defaultCenter().removeObserver(m_foundObserver);
}

void DeepRun::stop()
{
    m_recovery.setStopflag(true);
    m_system.stop();
    // Last, so that a run that wakes sees the stop.
    m_recovery.setPauseRepair(false);
}

DeepEnding DeepRun::work(const std::string& document, const std::string& folder)
{
    using recovery::output::OutputResult;
    const recovery::RunControl& control = m_recovery.control();
    const auto unfinished = [&control] {
        return DeepEnding{control.stop() ? DeepEnding::Kind::Stopped : DeepEnding::Kind::Failed,
                          nullptr};
    };
    if (!m_recovery.recoverFileAtPath_andSaveAtPath(document, folder)) {
        return unfinished();
    }
    recovery::output::RecoveryOutput output(m_files, control);
    const auto tell = [this](const std::string& status, double share) {
        m_listener.progress(status, 100 * (kRecovered + (1 - kRecovered) * share));
    };
    if (output.write(m_recovery.document(), folder, tell) != OutputResult::Written ||
        control.stop()) {
        return unfinished();
    }
    return {DeepEnding::Kind::Finished, std::make_shared<DeepResults>(resultsOf(
                                            m_recovery.document(), output, m_files, folder))};
}

} // namespace talvek
