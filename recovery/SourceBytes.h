#pragma once

#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvek::recovery {

/// The big-endian number in the first `count` bytes.
/// Requires: count <= bytes.size(), count <= 8.
std::uint64_t bigEndian(std::span<const std::uint8_t> bytes, std::size_t count);

/// Looks at any place of a file, in memory that does not grow with it.
///
/// The last few blocks looked at are kept, so that following a row table here and its rows there
/// costs no read of its own for each row. What lies outside the file reads as nothing (views) or
/// zero (numbers). One thread at a time. The handle outlives the source.
class SourceBytes
{
public:
    /// The longest view.
    static constexpr std::size_t kMostView = 64U << 10U;

    explicit SourceBytes(ReadingFileHandle& handle);
    /// A part of another source as if it were a file of its own: offsets count from `start`. What
    /// of it lies outside the other source is left away. The other source's handle outlives it.
    SourceBytes(const SourceBytes& whole, std::int64_t start, std::int64_t length);

    /// As it was when the source was made, in bytes.
    [[nodiscard]] std::int64_t size() const { return m_size; }

    /// Up to `count` bytes at `offset`, fewer only at the end of the file or before bytes that
    /// cannot be read. Good until the next call of any function here.
    /// Requires: count <= kMostView.
    std::span<const std::uint8_t> at(std::int64_t offset, std::size_t count);

    std::uint8_t u8(std::int64_t offset) { return static_cast<std::uint8_t>(number(offset, 1)); }
    std::uint16_t u16(std::int64_t offset) { return static_cast<std::uint16_t>(number(offset, 2)); }
    std::uint32_t u32(std::int64_t offset) { return static_cast<std::uint32_t>(number(offset, 4)); }
    std::uint64_t u64(std::int64_t offset) { return number(offset, 8); }
    std::int16_t i16(std::int64_t offset) { return static_cast<std::int16_t>(u16(offset)); }
    std::int32_t i32(std::int64_t offset) { return static_cast<std::int32_t>(u32(offset)); }
    /// `count` bytes, highest first; 0 where they do not all lie in the file.
    std::uint64_t number(std::int64_t offset, std::size_t count);

    /// The first offset at or behind `offset` that is not known to be in a hole of the file.
    [[nodiscard]] std::int64_t nextData(std::int64_t offset) const
    {
        return m_handle.nextData(m_start + offset) - m_start;
    }

private:
    /// A block overlaps the next one by a view's length, so that no view crosses a border.
    static constexpr std::int64_t kStep = 256 << 10;
    static constexpr std::size_t kBlockBytes = kStep + kMostView;
    static constexpr std::size_t kBlocks = 48;

    struct Block
    {
        std::int64_t index = -1;
        std::uint64_t used = 0;
        std::size_t held = 0;
        std::vector<std::uint8_t> bytes;
    };

    Block& blockOf(std::int64_t index);

    ReadingFileHandle& m_handle;
    std::int64_t m_start = 0; ///< in the handle's file
    std::int64_t m_size;
    std::uint64_t m_clock = 0;
    std::size_t m_last = 0;
    std::vector<Block> m_blocks;
};

} // namespace talvek::recovery
