#include "engine/RevisitDetector.h"

namespace talvek {

bool RevisitDetector::isRevisit(std::int64_t place)
{
    if (m_started && place == m_remembered) {
        return true;
    }
    if (!m_started || ++m_stepsSince == m_stepsToRenewal) {
        m_stepsToRenewal *= m_started ? 2U : 1U;
        m_started = true;
        m_remembered = place;
        m_stepsSince = 0;
    }
    return false;
}

} // namespace talvek
