#pragma once

#include "engine/SignatureMemo.h"
#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// The one way in which the engine searches a document for signatures.
///
/// A scan is a row of chunks that start 1024 bytes apart and of which each is read 1032 bytes long,
/// so that a signature across the border of two is whole in one of them. The length that is asked
/// for decides only how many chunks there are, by a division that rounds toward zero, and lengths
/// may be negative; what comes of that is part of the engine's behaviour:
///
///     length                                  chunks
///     1 .. 1024, 0, -1 .. -1023, -1025..-2047  one read of 1032 bytes from the start
///     1025 and more                           length / 1024, rounded up
///     -1024, -2048 and below                  none: nothing is found
namespace talvek {

inline constexpr std::int64_t kChunkBytes = 1024;
inline constexpr std::size_t kChunkReadBytes = 1032;

/// `length` in blocks of `blockBytes`: the quotient rounded toward zero, and one more if there is
/// a remainder of either sign. Requires: blockBytes > 0.
constexpr std::int64_t blockCount(std::int64_t length, std::int64_t blockBytes)
{
    return length / blockBytes + (length % blockBytes != 0 ? 1 : 0);
}

static_assert(blockCount(0, 1024) == 0 && blockCount(1, 1024) == 1);
static_assert(blockCount(1024, 1024) == 1 && blockCount(1025, 1024) == 2);
static_assert(blockCount(-1, 1024) == 1 && blockCount(-1023, 1024) == 1);
static_assert(blockCount(-1024, 1024) == -1 && blockCount(-1025, 1024) == 0);
static_assert(blockCount(-2047, 1024) == 0 && blockCount(-2048, 1024) == -2);

/// A scan of so many chunks is one read.
constexpr bool isSingleRead(std::int64_t chunks)
{
    return chunks == 0 || chunks == 1;
}

/// Blocks of `blockBytes` from `offset` on that can read nothing, because they start before the
/// document or behind its `size`; at most `blocks`. A block that can read something ends the row.
/// Requires: blocks >= 0, size >= 0.
std::int64_t emptyBlocks(std::int64_t offset, std::int64_t blocks, std::int64_t blockBytes,
                         std::int64_t size);

/// True if what is searched for stands at `position` of the bytes, wholly. A signature stands
/// there.
using IsMatchAt = bool (*)(std::span<const std::uint8_t> bytes, std::size_t position);

/// The most bytes that a match takes: signature, key and opacity.
inline constexpr std::size_t kMostMatchBytes = 9;

/// Scans for signatures from `start`, over as many chunks as `length` comes to.
/// @return the offset of the first that is a match, or 0
/// The result is that of a scan chunk by chunk; neighbouring chunks that the handle holds are
/// searched as one, and what the memo covers is looked up.
std::int64_t scanChunks(ReadingFileHandle& document, SignatureMemo& memo, std::int64_t start,
                        std::int64_t length, IsMatchAt isMatch);

} // namespace talvek
