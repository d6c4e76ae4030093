#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace talvek {

/// The most plain bytes that one run makes.
inline constexpr std::size_t kMostRunBytes = 128;

/// What one PackBits run takes and makes.
struct PackBitsRun
{
    std::size_t packedBytes = 0; ///< taken from the stream, the control byte included
    std::size_t plainBytes = 0;  ///< made, 0 to 128
    bool repeats = false;        ///< one byte over and over, not bytes copied

    bool operator==(const PackBitsRun&) const = default;
};

/// The run that a control byte opens. Total: every byte is defined.
/// Format: control 0..127 copies n+1 bytes; 129..255 repeats one byte 257-n times; 128 is nothing.
PackBitsRun packBitsRun(std::uint8_t control);

/// Expands `run`, which the first byte of `packed` opened.
/// @param packed  from the control byte on; bytes that it lacks count as zero
/// @param out     receives `run.plainBytes` bytes
/// Requires: out.size() >= run.plainBytes. No allocation, no state; any thread.
void expandPackBitsRun(const PackBitsRun& run, std::span<const std::uint8_t> packed,
                       std::span<std::uint8_t> out);

/// What several runs took and made.
struct PackBitsTotals
{
    std::size_t packedBytes = 0;
    std::size_t plainBytes = 0;

    bool operator==(const PackBitsTotals&) const = default;
};

/// The most that runs opening within `packedBytes` bytes can make: a run takes two bytes at least.
constexpr std::size_t mostPlainBytes(std::size_t packedBytes)
{
    return (packedBytes / 2 + 1) * kMostRunBytes;
}

/// Expands every run that opens before `opensBefore`, one behind the other; the last may end behind
/// it. As `expandPackBitsRun` run by run, but that `out` may be written on behind what they make.
/// Requires: opensBefore <= packed.size(), out.size() >= mostPlainBytes(opensBefore).
PackBitsTotals expandPackBitsRuns(std::span<const std::uint8_t> packed, std::size_t opensBefore,
                                  std::span<std::uint8_t> out);

} // namespace talvek
