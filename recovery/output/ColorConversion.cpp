#include "recovery/output/ColorConversion.h"

#include "recovery/HeaderFinder.h"
#include "recovery/output/ProfileTransform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kPaletteEntries = 256;
constexpr double kMost16 = 65535.0;

/// Samples of one bit are black and white whatever a damaged header says of the mode, and only
/// samples of 8 bits can be looked up in a palette.
ColorMode soundMode(const ColorFacts& facts)
{
    if (facts.depth == 1) {
        return ColorMode::Bitmap;
    }
    const bool needsOtherDepth =
        facts.mode == ColorMode::Bitmap || (facts.mode == ColorMode::Indexed && facts.depth != 8);
    return needsOtherDepth ? ColorMode::Grayscale : facts.mode;
}

double encodeSrgb(double light)
{
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

std::vector<std::uint16_t> makeEncodeTable(bool isLight)
{
    std::vector<std::uint16_t> table(65536);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double share = static_cast<double>(i) / kMost16;
        const double code = isLight ? encodeSrgb(share) : share;
        table[i] = static_cast<std::uint16_t>(std::lround(std::clamp(code, 0.0, 1.0) * kMost16));
    }
    return table;
}

std::uint16_t from32(const std::uint8_t* at)
{
    const std::uint32_t stored = std::uint32_t{at[0]} << 24U | std::uint32_t{at[1]} << 16U |
                                 std::uint32_t{at[2]} << 8U | at[3];
    const auto value = std::bit_cast<float>(stored);
    // Not a number compares with nothing, and becomes black.
    return !(value > 0) ? 0
           : value >= 1 ? 65535
                        : static_cast<std::uint16_t>(std::lround(double{value} * kMost16));
}

template <typename Sample>
Sample multiplied(Sample a, Sample b)
{
    constexpr std::uint32_t kMost = std::numeric_limits<Sample>::max();
    return static_cast<Sample>((std::uint32_t{a} * b + kMost / 2) / kMost);
}

} // namespace

int planesOf(ColorMode mode, int channels)
{
    constexpr int kMostInks = 4;
    return mode == ColorMode::Multichannel ? std::clamp(channels, 1, kMostInks)
                                           : std::max(1, colorsOf(mode));
}

/// Holds the transform away from the header, which needs no colour library.
struct ColorConversion::Transform : ProfileTransform
{
    using ProfileTransform::ProfileTransform;
};

ColorConversion::ColorConversion(const ColorFacts& facts)
    : m_mode(soundMode(facts)), m_depth(facts.depth), m_planes(planesOf(m_mode, facts.colors))
{
    openProfile(facts);
    if (m_depth == 32) {
        // Light is what a profile makes of the numbers; without one they count as sRGB's own.
        m_encode = makeEncodeTable(m_usesProfile && !facts.areAmounts);
    }
    if (m_mode == ColorMode::Indexed) {
        readPalette(facts);
    }
}

ColorConversion::~ColorConversion() = default;

void ColorConversion::openProfile(const ColorFacts& facts)
{
    if (m_mode == ColorMode::Bitmap || m_mode == ColorMode::Multichannel) {
        return;
    }
    // A palette's colours are RGB, 8 bits each, whatever else the document says.
    const ColorMode meaning = m_mode == ColorMode::Indexed   ? ColorMode::Rgb
                              : m_mode == ColorMode::Duotone ? ColorMode::Grayscale
                                                             : m_mode;
    auto transform =
        std::make_unique<Transform>(facts.profile, meaning, m_depth > 8 ? 16 : 8, m_depth == 32);
    m_usesProfile = transform->usesProfile();
    if (transform->isNeeded()) {
        m_transform = std::move(transform);
    }
}

void ColorConversion::readPalette(const ColorFacts& facts)
{
    constexpr std::size_t kStored = 3 * kPaletteEntries;
    m_palette.assign(4 * kPaletteEntries, 0xFF);
    std::vector<std::uint8_t> planar(kStored);
    for (std::size_t i = 0; i < kStored; ++i) {
        planar[i] = facts.palette.size() >= kStored
                        ? facts.palette[i]
                        : static_cast<std::uint8_t>(i % kPaletteEntries);
    }
    if (m_transform != nullptr) {
        m_transform->run(planar.data(), kPaletteEntries, kPaletteEntries, m_palette.data());
    } else {
        for (std::size_t i = 0; i < kStored; ++i) {
            m_palette[4 * (i % kPaletteEntries) + i / kPaletteEntries] = planar[i];
        }
    }
    if (facts.transparentIndex >= 0 && facts.transparentIndex < int{kPaletteEntries}) {
        m_transparentIndex = facts.transparentIndex;
        m_palette[4 * static_cast<std::size_t>(m_transparentIndex) + 3] = 0;
    }
}

void ColorConversion::lookUp(const std::uint8_t* samples, std::size_t columns,
                             std::uint8_t* rgba) const
{
    for (std::size_t x = 0; x < columns; ++x) {
        if (m_mode == ColorMode::Indexed) {
            std::memcpy(rgba + 4 * x, m_palette.data() + 4 * std::size_t{samples[x]}, 4);
        } else {
            const bool black = (samples[x / 8] >> (7 - x % 8) & 1) != 0;
            std::memset(rgba + 4 * x, black ? 0 : 0xFF, 3);
        }
    }
}

/// Brings samples of more than 8 bits into native 16-bit numbers.
void ColorConversion::widen(std::span<const std::uint8_t> samples, std::size_t stride,
                            std::size_t columns)
{
    m_wide.resize(static_cast<std::size_t>(m_planes) * columns);
    for (std::size_t plane = 0; plane < static_cast<std::size_t>(m_planes); ++plane) {
        const std::uint8_t* from = samples.data() + plane * stride;
        std::uint16_t* to = m_wide.data() + plane * columns;
        for (std::size_t x = 0; x < columns; ++x) {
            to[x] = m_depth == 16 ? static_cast<std::uint16_t>(from[2 * x] << 8U | from[2 * x + 1])
                                  : m_encode[from32(from + 4 * x)];
        }
    }
}

template <typename Sample>
void ColorConversion::convert(const Sample* samples, std::size_t stride, std::size_t columns,
                              Sample* rgba)
{
    if (m_transform != nullptr) {
        m_transform->run(samples, stride, columns, rgba);
        return;
    }
    constexpr Sample kMost = std::numeric_limits<Sample>::max();
    const bool isGray = m_planes == 1;
    const Sample* red = samples;
    const Sample* green = isGray ? red : samples + stride;
    const Sample* blue = isGray ? red : m_planes > 2 ? samples + 2 * stride : nullptr;
    for (std::size_t x = 0; x < columns; ++x) {
        rgba[4 * x] = red[x];
        rgba[4 * x + 1] = green[x];
        rgba[4 * x + 2] = blue != nullptr ? blue[x] : kMost;
    }
    if (m_planes == 4) {
        const Sample* black = samples + 3 * stride;
        for (std::size_t x = 0; x < columns; ++x) {
            for (std::size_t i = 4 * x; i < 4 * x + 3; ++i) {
                rgba[i] = multiplied(rgba[i], black[x]);
            }
        }
    }
}

void ColorConversion::convertRow(std::span<const std::uint8_t> samples, std::size_t stride,
                                 std::size_t columns, std::span<std::uint8_t> rgba)
{
    std::fill(rgba.begin(), rgba.end(), std::uint8_t{0xFF});
    if (m_depth == 1 || m_mode == ColorMode::Indexed) {
        lookUp(samples.data(), columns, rgba.data());
    } else if (m_depth == 8) {
        convert(samples.data(), stride, columns, rgba.data());
    } else {
        widen(samples, stride, columns);
        m_result.assign(4 * columns, 0xFFFF);
        convert(m_wide.data(), columns, columns, m_result.data());
        for (std::size_t i = 0; i < m_result.size(); ++i) {
            rgba[2 * i] = static_cast<std::uint8_t>(m_result[i] >> 8U);
            rgba[2 * i + 1] = static_cast<std::uint8_t>(m_result[i]);
        }
    }
}

} // namespace talvek::recovery::output
