#include "engine/FreeSpaceLedger.h"

#include <ctime>

namespace talvek {

namespace {

/// Asked before every run of a decoded picture, so the clock is the cheapest one there is; it is
/// right to a few milliseconds.
std::int64_t monotonicNanoseconds()
{
#if defined(CLOCK_MONOTONIC_COARSE)
    constexpr clockid_t kClock = CLOCK_MONOTONIC_COARSE;
#elif defined(CLOCK_MONOTONIC_RAW_APPROX)
    constexpr clockid_t kClock = CLOCK_MONOTONIC_RAW_APPROX;
#else
    constexpr clockid_t kClock = CLOCK_MONOTONIC;
#endif
    constexpr std::int64_t kPerSecond = 1'000'000'000;
    timespec now = {};
    ::clock_gettime(kClock, &now);
    return static_cast<std::int64_t>(now.tv_sec) * kPerSecond + now.tv_nsec;
}

} // namespace

FreeSpaceLedger::Volume& FreeSpaceLedger::volumeAt(const std::string& path)
{
    Volume& volume = m_volumes[path];
    volume.m_path = path;
    return volume;
}

std::uint64_t FreeSpaceLedger::freeBytes(Volume& volume, std::uint64_t coming)
{
    const std::int64_t now = monotonicNanoseconds();
    const std::uint64_t estimate = estimateOf(volume);
    const bool isFar = estimate > coming && estimate - coming >= kMargin;
    if (volume.m_isKnown && isFar && now - volume.m_takenAt < kFigureLastsNanoseconds) {
        return estimate;
    }
    takeFigure(volume, now);
    return volume.m_freeBytes;
}

bool FreeSpaceLedger::hasRoomToSpare(Volume& volume, std::uint64_t count)
{
    const std::uint64_t free = freeBytes(volume, count);
    return free > count && free - count >= kMargin;
}

std::uint64_t FreeSpaceLedger::estimateOf(const Volume& volume) const
{
    const std::uint64_t writtenSince = m_written - volume.m_writtenBefore;
    return volume.m_freeBytes > writtenSince ? volume.m_freeBytes - writtenSince : 0;
}

void FreeSpaceLedger::takeFigure(Volume& volume, std::int64_t now)
{
    for (WritingFileHandle* output : m_outputs) {
        // A failure is kept by the handle and reported by whoever writes to it.
        output->flush();
    }
    volume.m_freeBytes = m_files.freeSizeAtPath(volume.m_path).value_or(0);
    volume.m_writtenBefore = m_written;
    volume.m_takenAt = now;
    volume.m_isKnown = true;
}

} // namespace talvek
