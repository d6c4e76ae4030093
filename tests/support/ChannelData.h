#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/Document.h"
#include "tests/support/Random.h"

namespace talvek::test {

/// The extent of one channel.
struct Plane
{
    std::int64_t rows = 0;
    std::int64_t columns = 0;
    int depth = 8; ///< bits a sample: 1, 8, 16 or 32

    [[nodiscard]] std::size_t rowBytes() const;
};

/// What follows the compression code of `planes` planes that are stored as one: a layer's channel
/// (one plane) or the composite (all of them). PackBits has its table of row lengths in front.
/// @param pixels  `planes` times the rows of `plane`, plain
Bytes storedPlanes(const Bytes& pixels, const Plane& plane, int planes, Packing packing,
                   Random& random);

/// zlib's form of `plain`.
Bytes deflated(const Bytes& plain);

} // namespace talvek::test
