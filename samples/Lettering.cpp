#include "samples/Lettering.h"

namespace talvek::samples {

namespace {

/// A letter's strokes on a grid 4 wide and 6 high: two digits a point, points joined in pairs.
std::string_view strokesOf(char letter)
{
    switch (letter) {
    case 'B':
        return "0006 0030 3041 4132 3203 3243 4345 4536 3606";
    case 'C':
        return "4130 3010 1001 0105 0516 1636 3645";
    case 'D':
        return "0006 0020 2042 4244 4426 2606";
    case 'E':
        return "0006 0040 0333 0646";
    case 'G':
        return "4130 3010 1001 0105 0516 1636 3645 4543 4323";
    case 'H':
        return "0006 4046 0343";
    case 'I':
        return "2026";
    case 'L':
        return "0006 0646";
    case 'M':
        return "0600 0023 2340 4046";
    case 'N':
        return "0600 0046 4640";
    case 'R':
        return "0600 0030 3041 4142 4233 3303 2346";
    case 'T':
        return "0040 2026";
    case 'W':
        return "0016 1623 2336 3640";
    case '1':
        return "1220 2026";
    case '2':
        return "0110 1030 3041 4142 4206 0646";
    case '4':
        return "3036 3004 0444";
    case '-':
        return "0343";
    default:
        return "";
    }
}

constexpr int kGridColumns = 4;
constexpr int kGridRows = 6;

/// From one letter to the next.
int advanceOf(char letter, const Line& line)
{
    const int columns = letter == ' ' ? 2 : kGridColumns;
    return columns * line.height / kGridRows + line.stroke * 2;
}

int digit(char letter)
{
    return letter - '0';
}

} // namespace

int widthOf(std::string_view words, const Line& line)
{
    int width = -line.stroke * 2;
    for (const char letter : words) {
        width += advanceOf(letter, line);
    }
    return width;
}

void write(Picture& picture, std::string_view words, int left, const Line& line, Color color)
{
    const auto grid = [&](char place) {
        return digit(place) * line.height * kPointsPerPixel / kGridRows;
    };
    for (const char letter : words) {
        const std::string_view strokes = strokesOf(letter);
        for (std::size_t next = 0; next + 4 <= strokes.size(); next += 5) {
            const int x = left * kPointsPerPixel;
            const int y = line.top * kPointsPerPixel;
            fill(picture,
                 stroke(x + grid(strokes[next]), y + grid(strokes[next + 1]),
                        x + grid(strokes[next + 2]), y + grid(strokes[next + 3]),
                        line.stroke * kPointsPerPixel),
                 [color](int, int) { return color; });
        }
        left += advanceOf(letter, line);
    }
}

} // namespace talvek::samples
