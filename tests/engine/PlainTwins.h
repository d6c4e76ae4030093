#pragma once

#include "tests/support/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace talvek::test {

// The rules, each taken one step at a time on bytes in memory: what the engine's fast ways are held
// against. Nothing here is shared with the engine.

/// True if a pattern starts at `position` of `read`; it sees only the bytes of one read.
using PlainPattern = std::function<bool(const Bytes& read, std::size_t position)>;

/// A row of reads of 1032 bytes, 1024 apart, or one read.
std::int64_t plainScan(const Bytes& document, std::int64_t start, std::int64_t length,
                       const PlainPattern& pattern);

/// "8BIM", and behind it `key` (which may be empty).
PlainPattern plainBlock(std::string_view key);
/// A blend mode that the engine looks for, opaque unless it is normal.
bool isPlainRecord(const Bytes& read, std::size_t position);

/// The search for the thumbnail, over a buffer of 4102 bytes that keeps what a short read leaves.
std::int64_t plainThumbnailSearch(const Bytes& document, std::int64_t start, std::int64_t length);

/// What the decoder makes of one packed stream, leftovers of its buffer included.
Bytes plainDecoded(const Bytes& stream);

/// The bytes that a channel, a thumbnail or the composite's rows bring: a read of `length` bytes,
/// of everything for a negative one.
Bytes plainRead(const Bytes& document, std::int64_t offset, std::int64_t length);

} // namespace talvek::test
