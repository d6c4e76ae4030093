#pragma once

#include "recovery/SourceBytes.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace talvek::recovery {

/// True if the `packed` bytes at `offset` are one PackBits row of exactly `width` bytes.
/// Time: linear in `packed`. No memory.
/// Format: control 0..127 copies n+1 bytes; 129..255 repeats one byte 257-n times; 128 is nothing.
bool rowFits(SourceBytes& source, std::int64_t offset, std::int64_t packed, std::int64_t width);

/// How many bytes at `offset` make up one PackBits row of exactly `width` bytes; -1 if a run
/// crosses the row's end or the row reaches beyond `limit` (an offset).
/// @param looked  receives over how many bytes it went, whether they are a row or not; may be null
std::int64_t rowLengthByWidth(SourceBytes& source, std::int64_t offset, std::int64_t limit,
                              std::int64_t width, std::int64_t* looked = nullptr);

/// The width of the PackBits row that takes exactly `packed` bytes; -1 if there is none.
std::int64_t widthOfRow(SourceBytes& source, std::int64_t offset, std::int64_t packed);

/// The row is nothing but literals of one or two bytes, which an encoder would have joined: what is
/// read as a row is something else, such as a row table. Looks at the first 64 KiB.
bool isWastefulRow(SourceBytes& source, std::int64_t offset, std::int64_t packed);

/// Expands a row of which all bytes are in `packed`.
/// @return true if it takes all of `packed` and fills all of `row`; else `row` is undefined
bool unpackRow(std::span<const std::uint8_t> packed, std::span<std::uint8_t> row);

/// The fewest and most bytes that a sane encoder makes of a row; the most allows for one that
/// writes every byte as a literal of its own.
std::int64_t leastPacked(std::int64_t width);
std::int64_t mostPacked(std::int64_t width);

/// Packs a row of `width` bytes of one value into the beginning of `into`.
/// Requires: into.size() >= packedFillLength(width).
void packFill(std::int64_t width, std::uint8_t value, std::span<std::uint8_t> into);
/// Bytes that `packFill` makes.
std::int64_t packedFillLength(std::int64_t width);

} // namespace talvek::recovery
