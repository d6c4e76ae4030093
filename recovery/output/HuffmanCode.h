#pragma once

#include <cstdint>
#include <span>

namespace talvek::recovery::output {

/// Lengths in bits of a prefix code for symbols of these frequencies; 0 for a symbol that does not
/// occur. At least two symbols get a code, because decoders reject a code of one.
/// Requires: counts.size() == lengths.size(), 2 <= counts.size() <= 288, 2^mostBits >= symbols.
/// Time: sorting. No allocation; any thread.
void codeLengths(std::span<const std::uint32_t> counts, int mostBits,
                 std::span<std::uint8_t> lengths);

/// The canonical code of these lengths, each with its first bit lowest, as deflate sends it.
/// Requires: lengths of at most 15 that form a prefix code; codes.size() == lengths.size().
void canonicalCodes(std::span<const std::uint8_t> lengths, std::span<std::uint16_t> codes);

} // namespace talvek::recovery::output
