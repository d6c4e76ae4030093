#pragma once

#include "samples/Picture.h"

#include <string_view>

namespace talvek::samples {

/// Where and how large a line of lettering is, in pixels.
struct Line
{
    int top;
    int height;
    int stroke;
};

int widthOf(std::string_view words, const Line& line);

/// Writes capitals, digits, "-" and blanks; anything else is left blank.
void write(Picture& picture, std::string_view words, int left, const Line& line, Color color);

} // namespace talvek::samples
