#pragma once

#include <string_view>

namespace talvek::recovery {

/// What a blend mode makes of a sample and the one below it, both from 0 (black) to 1 (white).
using Blend = float (*)(float below, float above);

/// The formula of a blend mode of the PSD format. Modes that look at all colours of a pixel at once
/// or leave something to chance, and letters that are no mode, count as normal.
Blend blendOf(std::string_view letters);

/// `blendOf` knows the mode's own formula.
bool isBlendKnown(std::string_view letters);

} // namespace talvek::recovery
