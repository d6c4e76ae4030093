#pragma once

#include "engine/Repair.h"
#include "frontend/StoppableSystem.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace talvek {

/// An engine together with the file system that it works on.
class Engine
{
public:
    explicit Engine(SystemCalls& system) : m_system(system), m_files(m_system), m_repair(m_files) {}

    Repair& repair() { return m_repair; }
    /// Makes a run end soon and without a trace. Any thread.
    void giveUp();

private:
    StoppableSystem m_system;
    FileManager m_files;
    Repair m_repair;
};

/// One repair, running on a thread of its own from construction on. Main thread, but for `ended`,
/// which is called once, last of all, on the repair's thread.
class RepairRun
{
public:
    RepairRun(std::shared_ptr<Engine> engine, std::string document, std::string folder,
              std::function<void()> ended);
    /// Gives the run up and waits for its end.
    ~RepairRun();
    RepairRun(const RepairRun&) = delete;
    RepairRun& operator=(const RepairRun&) = delete;

    /// Nobody wants its results any more: it is to end soon.
    void abandon();
    [[nodiscard]] bool isAbandoned() const { return m_abandoned; }

private:
    std::shared_ptr<Engine> m_engine;
    bool m_abandoned = false;
    std::thread m_thread;
};

} // namespace talvek
