#include "engine/SignatureSearch.h"

#include <cstring>

namespace talvek {

namespace {

/// Both compilers turn this type into the machine's vector registers, on x86-64 and on Arm.
using Lane = std::uint8_t __attribute__((vector_size(16)));
constexpr std::size_t kLaneBytes = sizeof(Lane);

Lane laneAt(const std::uint8_t* bytes)
{
    Lane lane;
    std::memcpy(&lane, bytes, sizeof(lane));
    return lane;
}

Lane allOf(char value)
{
    return Lane{} + static_cast<std::uint8_t>(value);
}

/// True if any of the 16 positions from `bytes` on may open a signature: its first byte stands
/// there, and its last three bytes further on. That is enough to rule out nearly all of a file.
bool mayHoldSignature(const std::uint8_t* bytes)
{
    const Lane first = Lane(laneAt(bytes) == allOf(kSignature.front()));
    const Lane last = Lane(laneAt(bytes + kSignature.size() - 1) == allOf(kSignature.back()));
    const Lane both = first & last;
    std::uint64_t halves[2];
    std::memcpy(halves, &both, sizeof(halves));
    return (halves[0] | halves[1]) != 0;
}

} // namespace

bool holdsAt(std::span<const std::uint8_t> bytes, std::size_t position, std::string_view text)
{
    return position <= bytes.size() && bytes.size() - position >= text.size() &&
           std::memcmp(bytes.data() + position, text.data(), text.size()) == 0;
}

std::size_t findSignature(std::span<const std::uint8_t> bytes, std::size_t from)
{
    if (bytes.size() < kSignature.size()) {
        return kNotFound;
    }
    const std::size_t lastStart = bytes.size() - kSignature.size();
    std::size_t position = from;
    while (position <= lastStart) {
        const std::size_t left = lastStart + 1 - position;
        if (left >= kLaneBytes && !mayHoldSignature(bytes.data() + position)) {
            position += kLaneBytes;
            continue;
        }
        const std::size_t stop = position + (left < kLaneBytes ? left : kLaneBytes);
        for (; position < stop; ++position) {
            if (holdsAt(bytes, position, kSignature)) {
                return position;
            }
        }
    }
    return kNotFound;
}

} // namespace talvek
