#include "frontend/preview/PixelColours.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace talvek {

namespace {

constexpr std::uint16_t kFull = 65535;
constexpr std::size_t kInkChannels = 4;
constexpr std::size_t kBlackInk = 3;

int toByte(std::uint32_t sample)
{
    return static_cast<int>((sample + 128U - ((sample + 128U) >> 8U)) >> 8U);
}

QRgb gray(std::uint16_t sample)
{
    const int value = toByte(sample);
    return qRgb(value, value, value);
}

/// Light that two layers of ink let through, one behind the other.
std::uint32_t through(std::uint32_t first, std::uint32_t second)
{
    return (first * second + kFull / 2) / kFull;
}

std::vector<QRgb> makePalette(std::span<const std::uint8_t> bytes)
{
    std::vector<QRgb> palette(256);
    const std::size_t entries = bytes.size() / 3;
    for (std::size_t i = 0; i < palette.size(); ++i) {
        // Where the palette is lost, its indexes at least tell the shapes.
        const auto index = static_cast<int>(i);
        palette[i] = i < entries ? qRgb(bytes[i], bytes[entries + i], bytes[2 * entries + i])
                                 : qRgb(index, index, index);
    }
    return palette;
}

/// The sRGB curve over 4096 steps of linear light; a power for every pixel would be slow.
int srgbByte(double linear)
{
    constexpr int kSteps = 4096;
    static const std::vector<std::uint8_t> curve = [] {
        std::vector<std::uint8_t> bytes(kSteps + 1);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const double light = static_cast<double>(i) / kSteps;
            const double shown =
                light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
            bytes[i] = static_cast<std::uint8_t>(std::lround(shown * 255.0));
        }
        return bytes;
    }();
    const double clamped = std::clamp(linear, 0.0, 1.0);
    return curve[static_cast<std::size_t>(std::lround(clamped * kSteps))];
}

double labInverse(double t)
{
    constexpr double kDelta = 6.0 / 29.0;
    return t > kDelta ? t * t * t : 3.0 * kDelta * kDelta * (t - 4.0 / 29.0);
}

/// Lab of the graphic arts (D50), through XYZ adapted to the screen's white, to sRGB.
/// @param lightness  0 to 100
/// @param a, b       -128 to 128
QRgb labColour(double lightness, double a, double b)
{
    const double fy = (lightness + 16.0) / 116.0;
    const double x = 0.96422 * labInverse(fy + a / 500.0);
    const double y = labInverse(fy);
    const double z = 0.82521 * labInverse(fy - b / 200.0);
    return qRgb(srgbByte(3.1338561 * x - 1.6168667 * y - 0.4906146 * z),
                srgbByte(-0.9787684 * x + 1.9161415 * y + 0.0334540 * z),
                srgbByte(0.0719453 * x - 0.2289914 * y + 1.4052427 * z));
}

/// The premultiplied colour of a pixel that is partly transparent.
QRgb seenThrough(QRgb colour, int alpha, Transparency transparency)
{
    if (transparency == Transparency::Plain) {
        return qPremultiply(qRgba(qRed(colour), qGreen(colour), qBlue(colour), alpha));
    }
    const auto lessWhite = [&](int value) { return std::max(0, value + alpha - 255); };
    return qRgba(lessWhite(qRed(colour)), lessWhite(qGreen(colour)), lessWhite(qBlue(colour)),
                 alpha);
}

QRgb inkColour(std::span<const ChannelRow> inks, std::size_t x)
{
    std::array<std::uint32_t, kInkChannels> light = {kFull, kFull, kFull, kFull};
    for (std::size_t i = 0; i < std::min(inks.size(), light.size()); ++i) {
        light[i] = inks[i].samples[x];
    }
    const std::uint32_t black = light[kBlackInk];
    return qRgb(toByte(through(light[0], black)), toByte(through(light[1], black)),
                toByte(through(light[2], black)));
}

} // namespace

PixelColours::PixelColours(const PsdLayout& layout, Transparency transparency)
    : m_mode(layout.depth == 1 ? ColourMode::Bitmap : layout.mode),
      m_transparency(transparency),
      m_colourless(layout.depth == 16 ? 128 * 256 : 128 * 257)
{
    if (m_mode == ColourMode::Indexed) {
        m_palette = makePalette(layout.palette);
    }
}

/// A lost sample becomes what shows the others best: another channel's (one plane alone is then
/// shown as the gray picture that it is), no ink for black, no colour for a and b.
void PixelColours::fillGaps(std::span<ChannelRow> colours, std::size_t count) const
{
    const auto most = std::max_element(
        colours.begin(),
        colours.begin() +
            static_cast<std::ptrdiff_t>(std::min<std::size_t>(colours.size(), kBlackInk)),
        [](const ChannelRow& one, const ChannelRow& other) { return one.present < other.present; });
    for (std::size_t channel = 0; channel < colours.size(); ++channel) {
        ChannelRow& row = colours[channel];
        const bool isNeutral = m_mode == ColourMode::Lab && channel > 0;
        for (std::size_t x = row.present; x < count; ++x) {
            const bool canCopy = channel < kBlackInk && x < most->present;
            row.samples[x] = isNeutral ? m_colourless : canCopy ? most->samples[x] : kFull;
        }
    }
}

QRgb PixelColours::indexedAt(std::uint16_t sample) const
{
    return m_palette[static_cast<std::size_t>(toByte(sample))];
}

/// Steps of a and b are a 256th of the range at 16 bits and a 255th at 8, so that both have a
/// sample for no colour.
QRgb PixelColours::labAt(Row colours, std::size_t x) const
{
    const double step = m_colourless / 128.0;
    const auto shade = [&](std::size_t channel) {
        return channel < colours.size() ? colours[channel].samples[x] / step - 128.0 : 0.0;
    };
    return labColour(colours[0].samples[x] * 100.0 / kFull, shade(1), shade(2));
}

QRgb PixelColours::colourAt(Row colours, std::size_t x) const
{
    const auto sample = [&](std::size_t channel) {
        return colours[std::min(channel, colours.size() - 1)].samples[x];
    };
    switch (m_mode) {
    case ColourMode::Indexed:
        return indexedAt(sample(0));
    case ColourMode::Rgb:
        return qRgb(toByte(sample(0)), toByte(sample(1)), toByte(sample(2)));
    case ColourMode::Multichannel:
        return colours.size() == 1 ? gray(sample(0)) : inkColour(colours, x);
    case ColourMode::Cmyk:
        return inkColour(colours, x);
    case ColourMode::Lab:
        return labAt(colours, x);
    case ColourMode::Bitmap:
    case ColourMode::Grayscale:
    case ColourMode::Duotone:
        break;
    }
    return gray(sample(0));
}

void PixelColours::convert(std::span<ChannelRow> colours, const ChannelRow* alpha,
                           std::span<QRgb> pixels) const
{
    std::size_t shown = 0;
    for (const ChannelRow& row : colours) {
        shown = std::max(shown, row.present);
    }
    fillGaps(colours, shown);
    for (std::size_t x = 0; x < shown; ++x) {
        const QRgb opaque = colourAt(colours, x);
        const bool hasAlpha = alpha != nullptr && x < alpha->present;
        pixels[x] =
            hasAlpha ? seenThrough(opaque, toByte(alpha->samples[x]), m_transparency) : opaque;
    }
    std::fill(pixels.begin() + static_cast<std::ptrdiff_t>(shown), pixels.end(), 0U);
}

} // namespace talvek
