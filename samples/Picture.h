#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/// Drawing with whole numbers alone, so that every machine draws the same picture to the last bit.
namespace talvek::samples {

struct Color
{
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

struct Rectangle
{
    int top = 0;
    int left = 0;
    int bottom = 0;
    int right = 0;

    [[nodiscard]] int rows() const { return bottom - top; }
    [[nodiscard]] int columns() const { return right - left; }
};

/// A pixel's four channels: red, green, blue, opacity.
using Pixel = std::array<std::uint8_t, 4>;

/// Pixels within a rectangle of the canvas; outside of it there is nothing.
class Picture
{
public:
    explicit Picture(const Rectangle& bounds);

    [[nodiscard]] const Rectangle& bounds() const { return m_bounds; }
    /// Row and column count from the canvas's corner; the pixel is within the bounds.
    [[nodiscard]] const Pixel& at(int row, int column) const
    {
        return m_pixels[index(row, column)];
    }
    [[nodiscard]] Pixel& at(int row, int column) { return m_pixels[index(row, column)]; }
    /// One channel's bytes, row after row.
    [[nodiscard]] std::vector<std::uint8_t> channel(std::size_t number) const;

private:
    [[nodiscard]] std::size_t index(int row, int column) const;

    Rectangle m_bounds;
    std::vector<Pixel> m_pixels;
};

/// Shapes are asked about points a quarter of a pixel apart.
constexpr int kPointsPerPixel = 4;
using Shape = std::function<bool(int x, int y)>;
using Paint = std::function<Color(int row, int column)>;

/// Paints the shape, its edge smoothed, over what is there.
void fill(Picture& picture, const Shape& shape, const Paint& paint);
/// The same for a shape of which nothing lies outside `within`, which saves asking there.
void fill(Picture& picture, const Rectangle& within, const Shape& shape, const Paint& paint);

/// The colour `part` of `whole` of the way from one to the other.
Color between(Color from, Color to, int part, int whole);

/// A number from 0 to 255 that looks random and is always the same for the same place.
std::uint8_t noise(int x, int y, int seed);

/// A smooth random curve around 0, between -`height` and `height`. @param x  in quarter pixels
int ridge(int x, int height, int period, int seed);

/// A thick line with round ends, in quarter pixels.
Shape stroke(int fromX, int fromY, int toX, int toY, int width);
Shape disc(int centerX, int centerY, int radius);

} // namespace talvek::samples
