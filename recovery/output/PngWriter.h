#pragma once

#include "recovery/output/FastDeflate.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace talvek::recovery::output {

/// What a PNG file says of its picture.
struct PngFormat
{
    struct Offset
    {
        std::int32_t x = 0;
        std::int32_t y = 0;
    };

    std::uint32_t width = 1;  ///< pixels, from 1 to 2^31 - 1
    std::uint32_t height = 1; ///< likewise
    std::uint8_t samples = 4; ///< 1 gray, 2 gray and alpha, 3 RGB, 4 RGB and alpha
    std::uint8_t depth = 8;   ///< bits a sample, 8 or 16 (then the highest byte first)
    bool isSrgb = true;       ///< the colours are sRGB, and the file says so
    std::optional<Offset> offset = std::nullopt; ///< pixels from the canvas's corner

    [[nodiscard]] std::size_t pixelBytes() const { return std::size_t{samples} * depth / 8; }
    [[nodiscard]] std::size_t rowBytes() const { return width * pixelBytes(); }
};

/// Writes a PNG row by row. Memory: five rows and about 1 MiB. One thread at a time.
class PngWriter
{
public:
    /// Receives the file's bytes, in order.
    using Sink = std::function<void(std::span<const std::uint8_t>)>;

    PngWriter(const PngFormat& format, Sink sink);
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    /// Requires: row.size() == format.rowBytes(); called exactly `height` times.
    void writeRow(std::span<const std::uint8_t> row);
    void finish();

private:
    void chunk(const char (&type)[5], std::span<const std::uint8_t> data);
    void head();

    PngFormat m_format;
    Sink m_sink;
    std::vector<std::uint8_t> m_previous;
    std::vector<std::uint8_t> m_sub;
    std::vector<std::uint8_t> m_up;
    std::vector<std::uint8_t> m_average;
    FastDeflate m_deflate;
};

} // namespace talvek::recovery::output
