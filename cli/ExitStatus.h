#pragma once

namespace talvek {

/// What the program tells the shell when it ends.
enum class ExitStatus
{
    salvaged = 0,
    cannotRepair = 1,
    wrongUsage = 2,
    cannotWrite = 3,
    damaged = 4, ///< recovered, but for what is lost
    interrupted = 130,
};

/// The graver, the higher.
constexpr int gravity(ExitStatus status)
{
    switch (status) {
    case ExitStatus::salvaged:
        return 0;
    case ExitStatus::damaged:
        return 1;
    case ExitStatus::cannotRepair:
        return 2;
    case ExitStatus::wrongUsage:
        return 3;
    case ExitStatus::cannotWrite:
        return 4;
    case ExitStatus::interrupted:
        return 5;
    }
    return 0;
}

/// The one of the two that a run over several documents ends with.
constexpr ExitStatus worseOf(ExitStatus one, ExitStatus other)
{
    return gravity(one) > gravity(other) ? one : other;
}

} // namespace talvek
