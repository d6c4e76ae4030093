#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/Random.h"

#include <span>

namespace talvek::test {

/// The PackBits form of `plain`: runs of three and more as repeats, the rest as literals.
/// Format: control 0..127 copies n+1 bytes; 129..255 repeats one byte 257-n times; 128 is nothing.
Bytes packBits(std::span<const std::uint8_t> plain);

/// Every form that a writer may choose: short and long literals, repeats of two bytes, cut runs,
/// controls that do nothing in between.
Bytes packBitsAtRandom(std::span<const std::uint8_t> plain, Random& random);

/// A stream that nobody wrote: about `count` bytes of random controls with their data, cut
/// anywhere.
Bytes randomPackedStream(std::size_t count, Random& random);

/// Picture-like bytes: flat stretches, ramps and noise.
Bytes randomPixels(std::size_t count, Random& random);

} // namespace talvek::test
