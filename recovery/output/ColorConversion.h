#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace talvek::recovery::output {

/// What a document's samples mean.
struct ColorFacts
{
    ColorMode mode = ColorMode::Rgb;
    int depth = 8;  ///< bits a sample: 1, 8, 16 or 32
    int colors = 3; ///< colour channels at hand; matters for multichannel alone
    std::vector<std::uint8_t> profile = {}; ///< ICC, as stored and perhaps damaged; empty: none
    std::vector<std::uint8_t> palette = {}; ///< 256 reds, greens, blues; anything else: none
    int transparentIndex = -1;              ///< of an indexed picture; -1: none
    bool areAmounts = false;                ///< 32-bit samples are shares of one and not light
};

/// Colour channels that a picture of the mode is made of, 1 to 4.
/// @param channels  at hand; matters for multichannel alone
int planesOf(ColorMode mode, int channels);

/// Turns rows of stored samples into sRGB.
///
/// A profile that can be read, and that is of the document's mode, is followed (relative
/// colorimetric, black points matched). Without one RGB and gray count as sRGB; the inks of CMYK
/// and multichannel documents multiply; Lab is seen under D50; an indexed picture without its
/// palette is shown as gray. 32-bit samples are amounts of light in the colours of a profile, and
/// without one they count as sRGB like any others; what is brighter than white is white. One thread
/// at a time.
class ColorConversion
{
public:
    explicit ColorConversion(const ColorFacts& facts);
    ~ColorConversion();
    ColorConversion(const ColorConversion&) = delete;
    ColorConversion& operator=(const ColorConversion&) = delete;

    /// Colour channels that a row is made of: 1 to 4.
    [[nodiscard]] int planes() const { return m_planes; }
    /// Bits of a result's sample: 8, or 16 for deeper documents.
    [[nodiscard]] int resultDepth() const { return m_depth > 8 ? 16 : 8; }
    [[nodiscard]] bool usesProfile() const { return m_usesProfile; }
    /// Some results are transparent by their colour alone.
    [[nodiscard]] bool makesTransparency() const { return m_transparentIndex >= 0; }

    /// @param samples  `planes()` rows as they are stored, each `stride` bytes behind the last
    /// @param rgba     receives 4 samples a pixel, opaque, 16-bit ones the highest byte first
    /// Requires: rgba.size() == columns * resultDepth() / 2.
    void convertRow(std::span<const std::uint8_t> samples, std::size_t stride, std::size_t columns,
                    std::span<std::uint8_t> rgba);

private:
    struct Transform;

    void openProfile(const ColorFacts& facts);
    void readPalette(const ColorFacts& facts);
    void widen(std::span<const std::uint8_t> samples, std::size_t stride, std::size_t columns);
    template <typename Sample>
    void convert(const Sample* samples, std::size_t stride, std::size_t columns, Sample* rgba);
    void lookUp(const std::uint8_t* samples, std::size_t columns, std::uint8_t* rgba) const;

    ColorMode m_mode;
    int m_depth;
    int m_planes;
    bool m_usesProfile = false;
    int m_transparentIndex = -1;
    std::vector<std::uint8_t> m_palette; ///< RGBA, 256 entries
    std::vector<std::uint16_t> m_encode; ///< light in 16 bits to sRGB
    std::vector<std::uint16_t> m_wide;   ///< a row's samples as native numbers, plane by plane
    std::vector<std::uint16_t> m_result;
    std::unique_ptr<Transform> m_transform; ///< null: the samples are sRGB already
};

} // namespace talvek::recovery::output
