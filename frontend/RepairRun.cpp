#include "frontend/RepairRun.h"

#include <utility>

namespace talvek {

void Engine::giveUp()
{
    m_system.stop();
    m_repair.setStopflag(true);
    // Last, so that an engine that wakes from its pause sees the stop.
    m_repair.setPauseRepair(false);
}

RepairRun::RepairRun(std::shared_ptr<Engine> engine, std::string document, std::string folder,
                     std::function<void()> ended)
    : m_engine(std::move(engine)),
      m_thread([engine = m_engine, document = std::move(document), folder = std::move(folder),
                ended = std::move(ended)] {
          engine->repair().repairFileAtPath_andSaveAtPath(document, folder);
          ended();
      })
{}

RepairRun::~RepairRun()
{
    abandon();
    m_thread.join();
}

void RepairRun::abandon()
{
    m_abandoned = true;
    m_engine->giveUp();
}

} // namespace talvek
