#include "engine/PackBits.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace talvek {

PackBitsRun packBitsRun(std::uint8_t control)
{
    constexpr std::uint8_t kNothing = 128;
    if (control == kNothing) {
        return {.packedBytes = 1, .plainBytes = 0, .repeats = false};
    }
    if (control > kNothing) {
        return {.packedBytes = 2, .plainBytes = 257U - control, .repeats = true};
    }
    return {.packedBytes = control + 2U, .plainBytes = control + 1U, .repeats = false};
}

void expandPackBitsRun(const PackBitsRun& run, std::span<const std::uint8_t> packed,
                       std::span<std::uint8_t> out)
{
    assert(out.size() >= run.plainBytes);
    if (run.repeats) {
        std::memset(out.data(), packed.size() > 1 ? packed[1] : 0, run.plainBytes);
        return;
    }
    const std::size_t there = packed.empty() ? 0 : std::min(run.plainBytes, packed.size() - 1);
    if (there > 0) {
        std::memcpy(out.data(), packed.data() + 1, there);
    }
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(there),
              out.begin() + static_cast<std::ptrdiff_t>(run.plainBytes), std::uint8_t{0});
}

PackBitsTotals expandPackBitsRuns(std::span<const std::uint8_t> packed, std::size_t opensBefore,
                                  std::span<std::uint8_t> out)
{
    assert(opensBefore <= packed.size() && out.size() >= mostPlainBytes(opensBefore));
    PackBitsTotals totals;
    while (totals.packedBytes < opensBefore) {
        const auto ahead = packed.subspan(totals.packedBytes);
        const auto room = out.subspan(totals.plainBytes);
        const PackBitsRun run = packBitsRun(ahead.front());
        // A copy of fixed size is a few instructions, one of any size a call; what it writes too
        // much is written over by the next run.
        if (ahead.size() > kMostRunBytes && room.size() >= kMostRunBytes) {
            if (run.repeats) {
                std::memset(room.data(), ahead[1], kMostRunBytes);
            } else {
                std::memcpy(room.data(), ahead.data() + 1, kMostRunBytes);
            }
        } else {
            expandPackBitsRun(run, ahead, room.first(run.plainBytes));
        }
        totals.packedBytes += run.packedBytes;
        totals.plainBytes += run.plainBytes;
    }
    return totals;
}

} // namespace talvek
