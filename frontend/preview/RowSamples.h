#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvek {

/// Which source positions (columns or rows) make the pixels of a reduced picture.
struct Sampling
{
    /// More samples a pixel make no difference that an eye can see, but cost time.
    static constexpr std::int64_t kMostPerPixel = 4;

    /// Spreads samples evenly over `length` positions from `first` on, for `target` pixels.
    /// Requires: 1 <= target <= length.
    static Sampling over(std::int64_t first, std::int64_t length, std::int64_t target);

    std::vector<std::int32_t> positions; ///< ascending, `perPixel` for each pixel
    std::int32_t perPixel = 1;
};

/// How the bytes of a row are to be read.
enum class SampleKind
{
    Bit,        ///< 1 is black
    Byte,       ///< 8 bits
    Word,       ///< 16 bits
    LinearReal, ///< 32-bit real number of linear light, shown on the sRGB curve
    PlainReal   ///< 32-bit real number, shown as it is
};

/// Picks the samples of some columns out of a row whose bytes come in pieces.
///
/// Total: any bytes, in pieces of any size. No allocation.
class RowPicker
{
public:
    /// @param columns  ascending; outlives the object
    /// @param into     receives a sample of 0 to 65535 for each column; as long as `columns`
    RowPicker(SampleKind kind, std::span<const std::int32_t> columns,
              std::span<std::uint16_t> into);

    /// Takes the next bytes of the row, in their order.
    void feed(std::span<const std::uint8_t> bytes);
    /// Takes `count` times the same byte.
    void feedRepeated(std::uint8_t byte, std::size_t count);

    /// Columns whose samples are whole, from the first on.
    [[nodiscard]] std::size_t picked() const { return m_picked; }
    [[nodiscard]] bool isDone() const { return m_picked == m_columns.size(); }
    /// The row's first byte that is looked at, and the first one behind the last.
    [[nodiscard]] std::int64_t firstByte() const;
    [[nodiscard]] std::int64_t endByte() const;
    /// Says that the next bytes start here instead. Requires: no byte that is needed is left out.
    void skipTo(std::int64_t byteOfRow) { m_position = byteOfRow; }

private:
    [[nodiscard]] std::int64_t byteOf(std::int32_t column) const;
    void finishSample();

    SampleKind m_kind;
    std::span<const std::int32_t> m_columns;
    std::span<std::uint16_t> m_into;
    std::size_t m_picked = 0;
    std::int64_t m_position = 0; ///< of the next byte fed, in the row
    std::uint32_t m_value = 0;   ///< the bytes of a sample so far
    std::int64_t m_held = 0;     ///< how many they are
    std::int64_t m_sampleBytes = 1;
};

/// Expands one packed row into `picker`, until either ends.
/// @param packed  from the row's first control byte on; may be short or damaged
/// Format: control 0..127 copies n+1 bytes; 129..255 repeats one byte 257-n times; 128 is nothing.
void expandPackedRow(std::span<const std::uint8_t> packed, RowPicker& picker);

/// Packed bytes that expand to exactly `rowBytes` plain ones, from the start of `packed`.
/// @return -1 if a run crosses the row's end or `packed` ends before
std::int64_t packedRowLength(std::span<const std::uint8_t> packed, std::int64_t rowBytes);

} // namespace talvek
