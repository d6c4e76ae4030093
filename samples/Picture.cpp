#include "samples/Picture.h"

#include <algorithm>

namespace talvek::samples {

namespace {

std::int64_t squared(std::int64_t value)
{
    return value * value;
}

/// How many of the pixel's points lie within the shape.
int pointsInside(const Shape& shape, int row, int column)
{
    int inside = 0;
    for (int y = 0; y < kPointsPerPixel; ++y) {
        for (int x = 0; x < kPointsPerPixel; ++x) {
            inside += shape(column * kPointsPerPixel + x, row * kPointsPerPixel + y) ? 1 : 0;
        }
    }
    return inside;
}

std::uint8_t mixed(int from, int to, int part, int whole)
{
    return static_cast<std::uint8_t>(from + (to - from) * part / whole);
}

/// Paints over a pixel that may be partly clear itself.
void cover(Pixel& pixel, Color color, int part, int whole)
{
    const int added = 255 * part / whole;
    const int opacity = pixel[3] + (255 - pixel[3]) * added / 255;
    const std::array<std::uint8_t, 3> paint = {color.red, color.green, color.blue};
    for (std::size_t channel = 0; channel < paint.size() && opacity > 0; ++channel) {
        pixel[channel] = mixed(pixel[channel], paint[channel], added, std::max(opacity, added));
    }
    pixel[3] = static_cast<std::uint8_t>(opacity);
}

} // namespace

Picture::Picture(const Rectangle& bounds)
    : m_bounds(bounds),
      m_pixels(static_cast<std::size_t>(bounds.rows()) * static_cast<std::size_t>(bounds.columns()))
{}

std::size_t Picture::index(int row, int column) const
{
    return static_cast<std::size_t>(row - m_bounds.top) *
               static_cast<std::size_t>(m_bounds.columns()) +
           static_cast<std::size_t>(column - m_bounds.left);
}

std::vector<std::uint8_t> Picture::channel(std::size_t number) const
{
    std::vector<std::uint8_t> bytes;
    bytes.reserve(m_pixels.size());
    for (const Pixel& pixel : m_pixels) {
        bytes.push_back(pixel[number]);
    }
    return bytes;
}

void fill(Picture& picture, const Shape& shape, const Paint& paint)
{
    fill(picture, picture.bounds(), shape, paint);
}

void fill(Picture& picture, const Rectangle& within, const Shape& shape, const Paint& paint)
{
    constexpr int kPoints = kPointsPerPixel * kPointsPerPixel;
    const Rectangle& bounds = picture.bounds();
    const int bottom = std::min(within.bottom, bounds.bottom);
    const int right = std::min(within.right, bounds.right);
    for (int row = std::max(within.top, bounds.top); row < bottom; ++row) {
        for (int column = std::max(within.left, bounds.left); column < right; ++column) {
            const int inside = pointsInside(shape, row, column);
            if (inside > 0) {
                cover(picture.at(row, column), paint(row, column), inside, kPoints);
            }
        }
    }
}

Color between(Color from, Color to, int part, int whole)
{
    part = std::clamp(part, 0, whole);
    return {mixed(from.red, to.red, part, whole), mixed(from.green, to.green, part, whole),
            mixed(from.blue, to.blue, part, whole)};
}

std::uint8_t noise(int x, int y, int seed)
{
    std::uint32_t mix = static_cast<std::uint32_t>(x) * 0x9E3779B1U +
                        static_cast<std::uint32_t>(y) * 0x85EBCA77U +
                        static_cast<std::uint32_t>(seed) * 0xC2B2AE3DU;
    mix = (mix ^ (mix >> 15U)) * 0x2C1B3C6DU;
    mix = (mix ^ (mix >> 12U)) * 0x297A2D39U;
    return static_cast<std::uint8_t>((mix ^ (mix >> 15U)) >> 8U);
}

int ridge(int x, int height, int period, int seed)
{
    int sum = 0;
    for (int octave = 0; octave < 4 && period > 3; ++octave, period /= 2, height /= 2) {
        const int knot = x / period;
        const std::int64_t within = x % period;
        const std::int64_t whole = period;
        // 3t^2 - 2t^3: level at the knots, so that no kink shows there.
        const std::int64_t eased = (3 * squared(within) * whole - 2 * squared(within) * within) *
                                   256 / (squared(whole) * whole);
        const int left = noise(knot, octave, seed) - 128;
        const int right = noise(knot + 1, octave, seed) - 128;
        sum += (left * 256 + (right - left) * static_cast<int>(eased)) / 256 * height / 128;
    }
    return sum;
}

Shape stroke(int fromX, int fromY, int toX, int toY, int width)
{
    return [=](int x, int y) {
        const std::int64_t alongX = toX - fromX;
        const std::int64_t alongY = toY - fromY;
        const std::int64_t length = squared(alongX) + squared(alongY);
        const std::int64_t foot =
            std::clamp<std::int64_t>((x - fromX) * alongX + (y - fromY) * alongY, 0, length);
        // Everything times the length, so that nothing is divided.
        const std::int64_t awayX = (x - fromX) * length - alongX * foot;
        const std::int64_t awayY = (y - fromY) * length - alongY * foot;
        return squared(awayX) + squared(awayY) <= squared(length * width / 2);
    };
}

Shape disc(int centerX, int centerY, int radius)
{
    return [=](int x, int y) {
        return squared(x - centerX) + squared(y - centerY) <= squared(radius);
    };
}

} // namespace talvek::samples
