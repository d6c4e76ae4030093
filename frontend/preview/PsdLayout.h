#pragma once

#include "platform/FileHandle.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek {

/// The colour modes of the PSD format.
enum class ColourMode
{
    Bitmap = 0,
    Grayscale = 1,
    Indexed = 2,
    Rgb = 3,
    Cmyk = 4,
    Multichannel = 7,
    Duotone = 8,
    Lab = 9
};

/// Where a PSD document keeps its composite picture, as far as its head can be believed.
struct PsdLayout
{
    /// The largest width or height that is taken for one; a salvaged layer with negative bounds
    /// states a far larger one.
    static constexpr std::int64_t kMostPixels = 300000;

    /// Reads the head of `file`, a version 1 document.
    /// @return nothing if there is no picture to show: another signature or version, an empty or
    ///         impossible size, a depth, mode or compression that this program cannot show
    static std::optional<PsdLayout> read(ReadingFileHandle& file);

    ColourMode mode = ColourMode::Rgb;
    int depth = 8;              ///< bits a sample: 1, 8, 16 or 32
    int declaredChannels = 0;   ///< 0 to 65535; damage and a layer without colour give any
    std::int64_t width = 0;     ///< 1 to kMostPixels
    std::int64_t height = 0;    ///< 1 to kMostPixels
    bool isPacked = false;      ///< PackBits rows behind a table of their lengths, or raw planes
    bool statesAlpha = false;   ///< the first channel beyond the mode's own is transparency
    std::int64_t dataStart = 0; ///< of the row table or the first plane; may lie past the end
    std::int64_t fileSize = 0;
    std::int64_t planeStride = 0;      ///< bytes from one raw plane to the next
    std::vector<std::uint8_t> palette; ///< reds, greens, blues of an indexed picture; 768 at most

    /// Bytes of one plain row of one channel.
    [[nodiscard]] std::int64_t rowBytes() const { return (width * depth + 7) / 8; }
    [[nodiscard]] std::int64_t planeBytes() const { return rowBytes() * height; }
    /// Channels that make the colour of the mode. A bit a sample means black and white whatever
    /// mode is stated, since the format knows it in bitmaps alone.
    [[nodiscard]] int colourChannels() const;
    /// As declared, or the mode's own if none is.
    [[nodiscard]] int channels() const
    {
        return declaredChannels > 0 ? declaredChannels : colourChannels();
    }
    /// The index of the channel that holds transparency if any does, or -1.
    [[nodiscard]] int alphaChannel() const;
};

} // namespace talvek
