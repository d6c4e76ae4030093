#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace talvek::recovery {

/// Pause and stop of a run, and what every long loop calls between its steps.
///
/// The flags may be set from any thread; a change that is seen late delays the effect by a step.
class RunControl
{
public:
    void setPause(bool pause) { m_pause.store(pause, std::memory_order_relaxed); }
    [[nodiscard]] bool pause() const { return m_pause.load(std::memory_order_relaxed); }
    void setStop(bool stop) { m_stop.store(stop, std::memory_order_relaxed); }
    [[nodiscard]] bool stop() const { return m_stop.load(std::memory_order_relaxed); }

    /// Holds while the run is paused. @return true if it is to end
    [[nodiscard]] bool isStoppedAfterPause() const
    {
        while (pause() && !stop()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return stop();
    }

private:
    std::atomic<bool> m_pause{false};
    std::atomic<bool> m_stop{false};
};

} // namespace talvek::recovery
