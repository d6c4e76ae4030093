#include "samples/Poster.h"

#include "samples/Lettering.h"

#include <algorithm>
#include <utility>

namespace talvek::samples {

namespace {

constexpr int kRows = 800;
constexpr int kColumns = 600;
constexpr Rectangle kCanvas{0, 0, kRows, kColumns};
constexpr int kThumbnailShare = 5;
constexpr int kPoints = kPointsPerPixel;

constexpr Color kNight{13, 20, 48};
constexpr Color kDusk{72, 84, 140};
constexpr Color kGlow{236, 150, 120};
constexpr Color kSnow{232, 238, 250};

/// Colours change every few rows, as a hand that likes flat areas would have it.
constexpr int kBandRows = 4;

Color skyAt(int row)
{
    const int band = row / kBandRows * kBandRows;
    constexpr int kMiddle = 380;
    constexpr int kHorizon = 600;
    return band < kMiddle ? between(kNight, kDusk, band, kMiddle)
                          : between(kDusk, kGlow, band - kMiddle, kHorizon - kMiddle);
}

Layer sky()
{
    Picture picture(kCanvas);
    fill(
        picture, [](int, int) { return true; }, [](int row, int) { return skyAt(row); });
    return {.name = "Sky", .picture = std::move(picture), .clear = false};
}

Layer stars()
{
    Picture picture({20, 20, 340, 580});
    constexpr int kReach = 3;
    for (int star = 0; star < 90; ++star) {
        const int x = 30 + noise(star, 1, 7) * 540 / 255;
        const int y = 30 + noise(star, 2, 7) * 300 / 255;
        const int radius = 2 + noise(star, 3, 7) * 5 / 255;
        fill(picture, {y - kReach, x - kReach, y + kReach, x + kReach},
             disc(x * kPoints, y * kPoints, radius), [](int, int) { return kSnow; });
    }
    return {.name = "Stars", .picture = std::move(picture), .blendMode = "scrn"};
}

/// Grain and craters; no two pixels alike, so PackBits would only make it larger.
Color moonAt(int row, int column)
{
    int light = 214 + noise(column, row, 3) * 24 / 255;
    static constexpr std::array<std::array<int, 3>, 5> kCraters = {
        {{130, 440, 12}, {160, 470, 17}, {172, 428, 9}, {118, 476, 7}, {190, 462, 8}}};
    for (const auto& [y, x, radius] : kCraters) {
        const int away = (row - y) * (row - y) + (column - x) * (column - x);
        light -= away < radius * radius ? 34 : 0;
    }
    const auto shade = [light](int less) {
        return static_cast<std::uint8_t>(std::clamp(light - less, 0, 255));
    };
    return {shade(0), shade(6), shade(26)};
}

Layer moon()
{
    const Rectangle bounds{92, 392, 216, 516};
    Picture picture(bounds);
    // The clear corners have the moon's colour too, as a painter leaves them who paints freely and
    // cuts out afterwards.
    for (int row = bounds.top; row < bounds.bottom; ++row) {
        for (int column = bounds.left; column < bounds.right; ++column) {
            const Color color = moonAt(row, column);
            picture.at(row, column) = {color.red, color.green, color.blue, 0};
        }
    }
    fill(picture, disc(454 * kPoints, 154 * kPoints, 60 * kPoints), moonAt);
    return {.name = "Moon", .picture = std::move(picture), .raw = true};
}

struct Range
{
    const char* name;
    int top;
    int level;
    int height;
    int period;
    Color peak;
    Color foot;
};

Layer mountains(const Range& range, int seed)
{
    Picture picture({range.top, 0, kRows, kColumns});
    const Shape shape = [&](int x, int y) {
        return y > range.level * kPoints - ridge(x, range.height * kPoints, range.period, seed);
    };
    fill(picture, shape, [&](int row, int) {
        return between(range.peak, range.foot, row / kBandRows * kBandRows - range.top,
                       kRows - range.top);
    });
    return {.name = range.name, .picture = std::move(picture)};
}

/// A fir of four tiers, each wider than the one above it.
Shape fir(int x, int foot, int height)
{
    return [=](int pointX, int pointY) {
        const int down = pointY - (foot - height) * kPoints;
        if (down < 0 || pointY > foot * kPoints) {
            return false;
        }
        const int tier = std::min(3, down * 4 / (height * kPoints));
        const int within = down - tier * height * kPoints / 4;
        const int away = pointX < x * kPoints ? x * kPoints - pointX : pointX - x * kPoints;
        return away * 2 < within + tier * height * kPoints / 10;
    };
}

Layer trees()
{
    Picture picture({600, 0, kRows, kColumns});
    const Paint paint = [](int row, int) {
        return between({22, 34, 58}, {8, 12, 26}, row / kBandRows * kBandRows - 600, 200);
    };
    for (int tree = 0; tree < 15; ++tree) {
        const int x = 20 + tree * 40 + noise(tree, 4, 11) / 10;
        const int foot = 748 + noise(tree, 5, 11) / 9;
        fill(picture, fir(x, foot, 70 + noise(tree, 6, 11) / 3), paint);
    }
    return {.name = "Firs", .picture = std::move(picture), .blendMode = "mul "};
}

/// Three curtains of light, and a mask that lets them fade out below.
Layer northernLights()
{
    const Rectangle bounds{60, 0, 420, kColumns};
    Picture picture(bounds);
    static constexpr std::array<Color, 3> kLights = {
        {{70, 214, 160}, {120, 232, 190}, {96, 150, 220}}};
    for (int curtain = 0; curtain < 3; ++curtain) {
        const int level = (190 + 70 * curtain) * kPoints;
        const Shape shape = [=](int x, int y) {
            const int edge = level + ridge(x, 60 * kPoints, 700, 20 + curtain);
            return y < edge && y > edge - (90 - 20 * curtain) * kPoints;
        };
        const Color light = kLights[static_cast<std::size_t>(curtain)];
        fill(picture, shape, [light](int, int) { return light; });
    }
    std::vector<std::uint8_t> mask;
    for (int row = bounds.top; row < bounds.bottom; ++row) {
        const int open = 200 - (row - bounds.top) / kBandRows * kBandRows * 200 / bounds.rows();
        mask.insert(mask.end(), static_cast<std::size_t>(bounds.columns()),
                    static_cast<std::uint8_t>(open));
    }
    return {.name = "Northern lights",
            .picture = std::move(picture),
            .blendMode = "scrn",
            .mask = std::move(mask)};
}

Layer lettering(const char* name, const char* words, const Line& line, Color color)
{
    const int width = widthOf(words, line);
    const Rectangle bounds{line.top - line.stroke, (kColumns - width) / 2 - line.stroke,
                           line.top + line.height + line.stroke,
                           (kColumns + width) / 2 + line.stroke};
    Picture picture(bounds);
    write(picture, words, (kColumns - width) / 2, line, color);
    return {.name = name, .picture = std::move(picture)};
}

Layer group(const char* name, Role role)
{
    return {.name = name, .blendMode = role == Role::groupTop ? "pass" : "norm", .role = role};
}

std::uint8_t blended(const std::string& mode, int below, int above)
{
    if (mode == "scrn") {
        return static_cast<std::uint8_t>(255 - (255 - below) * (255 - above) / 255);
    }
    return static_cast<std::uint8_t>(mode == "mul " ? below * above / 255 : above);
}

void lay(Picture& composite, const Layer& layer)
{
    const Rectangle& bounds = layer.picture.bounds();
    std::size_t place = 0;
    for (int row = bounds.top; row < bounds.bottom; ++row) {
        for (int column = bounds.left; column < bounds.right; ++column, ++place) {
            const Pixel& above = layer.picture.at(row, column);
            const int opacity = layer.mask.empty() ? above[3] : above[3] * layer.mask[place] / 255;
            Pixel& below = composite.at(row, column);
            for (std::size_t color = 0; color < 3; ++color) {
                const int full = blended(layer.blendMode, below[color], above[color]);
                below[color] =
                    static_cast<std::uint8_t>(below[color] + (full - below[color]) * opacity / 255);
            }
        }
    }
}

/// Each pixel is the mean of a square.
Picture reduced(const Picture& picture)
{
    Picture small({0, 0, kRows / kThumbnailShare, kColumns / kThumbnailShare});
    for (int row = 0; row < small.bounds().rows(); ++row) {
        for (int column = 0; column < small.bounds().columns(); ++column) {
            for (std::size_t color = 0; color < 3; ++color) {
                int sum = 0;
                for (int place = 0; place < kThumbnailShare * kThumbnailShare; ++place) {
                    sum += picture.at(row * kThumbnailShare + place / kThumbnailShare,
                                      column * kThumbnailShare + place % kThumbnailShare)[color];
                }
                small.at(row, column)[color] =
                    static_cast<std::uint8_t>(sum / (kThumbnailShare * kThumbnailShare));
            }
        }
    }
    return small;
}

std::vector<Layer> layersOfPoster()
{
    std::vector<Layer> layers;
    layers.push_back(sky());
    layers.push_back(stars());
    layers.push_back(group("</Layer group>", Role::groupBottom));
    layers.push_back(moon());
    layers.push_back(
        mountains({"Far mountains", 380, 540, 150, 640, {150, 160, 205}, {92, 96, 150}}, 31));
    layers.push_back(
        mountains({"Near mountains", 500, 660, 110, 420, {62, 74, 124}, {24, 30, 62}}, 32));
    layers.push_back(trees());
    layers.push_back(group("Landscape", Role::groupTop));
    layers.push_back(northernLights());
    layers.push_back(lettering("Title", "WINTER LIGHT", {256, 48, 7}, kSnow));
    layers.push_back(lettering("Date", "12-14 DECEMBER", {336, 22, 3}, kGlow));
    return layers;
}

} // namespace

Document poster()
{
    Document document{Picture(kCanvas), Picture(kCanvas), layersOfPoster()};
    for (const Layer& layer : document.layers) {
        lay(document.composite, layer);
    }
    document.thumbnail = reduced(document.composite);
    return document;
}

} // namespace talvek::samples
