#pragma once

#include "frontend/DeepResults.h"
#include "frontend/StoppableSystem.h"
#include "recovery/DeepRecovery.h"
#include "recovery/Findings.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace talvek {

/// How a deep recovery ended.
struct DeepEnding
{
    enum class Kind : std::uint8_t
    {
        Finished,
        Stopped,
        Failed, ///< its files could not be written whole
    };

    Kind kind = Kind::Failed;
    std::shared_ptr<const DeepResults> results; ///< of a finished one
};

/// One deep recovery with all that it writes, running on a thread of its own from construction on.
/// Main thread, but for what it calls: that runs on the run's thread, in order, `ended` last of
/// all.
class DeepRun
{
public:
    struct Listener
    {
        /// @param percent  from 0 to 100, never less than before
        std::function<void(const std::string& status, double percent)> progress;
        std::function<void(const recovery::Findings& findings)> found;
        std::function<void(const DeepEnding& ending)> ended;
    };

    /// @param system  outlives the run
    /// @param folder  that it writes into; nothing of it is deleted, not even after a stop
    DeepRun(SystemCalls& system, std::string document, std::string folder, Listener listener);
    /// Stops the run and waits for its end.
    ~DeepRun();
    DeepRun(const DeepRun&) = delete;
    DeepRun& operator=(const DeepRun&) = delete;

    void setPause(bool pause) { m_recovery.setPauseRepair(pause); }
    /// Makes the run end soon, paused or not.
    void stop();

private:
    DeepEnding work(const std::string& document, const std::string& folder);

    StoppableSystem m_system;
    FileManager m_files;
    recovery::DeepRecovery m_recovery;
    Listener m_listener;
    int m_progressObserver = 0;
    int m_foundObserver = 0;
    std::thread m_thread;
};

} // namespace talvek
