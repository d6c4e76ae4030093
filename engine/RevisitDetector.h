#pragma once

#include <cstdint>

namespace talvek {

/// Tells, in constant memory, that a walk has come back to a place where it was before.
///
/// Brent's method: the walk is compared with one earlier place, which is renewed at every power of
/// two of steps. A walk of which each place decides the next is told at the latest after three
/// times as many steps as lead into its circle and once around it.
class RevisitDetector
{
public:
    /// Takes the next place of the walk. @return true if it is known to have been visited before
    bool isRevisit(std::int64_t place);

private:
    std::int64_t m_remembered = 0;
    std::uint64_t m_stepsSince = 0;
    std::uint64_t m_stepsToRenewal = 1;
    bool m_started = false;
};

} // namespace talvek
