#pragma once

#include <cstdint>
#include <cstdlib>

namespace talvek::test {

/// TALVEK_THOROUGH=1 in the environment: take minutes, not seconds.
inline bool isThorough()
{
    const char* wish = std::getenv("TALVEK_THOROUGH");
    return wish != nullptr && *wish == '1';
}

/// Sanitizers slow a test down several times; then it makes fewer rounds.
inline constexpr bool kIsSlowBuild =
#ifdef TALVEK_SLOW_BUILD
    true;
#else
    false;
#endif

/// How many random documents both engines are set upon.
inline int documentsOfDifferentials()
{
    return isThorough() ? 400'000 : kIsSlowBuild ? 4'000 : 20'000;
}

/// How many times each real document is damaged in each of several ways.
inline int roundsOfCorpus()
{
    return isThorough() ? 200 : 3;
}

/// From one size of a volume to the next.
inline std::uint64_t stepOfSweeps()
{
    return kIsSlowBuild && !isThorough() ? 7 : 1;
}

} // namespace talvek::test
