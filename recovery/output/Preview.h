#pragma once

#include "recovery/output/Picture.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery::output {

/// A picture made small.
struct Preview
{
    std::int32_t width = 0; ///< pixels; 0: there is no picture
    std::int32_t height = 0;
    std::vector<std::uint8_t> png;
};

/// The picture reduced to fit a square of `mostSide` pixels; one that fits stays as it is. Lost
/// rows show as a veil of red. Time: a few rows are decoded for each row of the preview, and all
/// of them where planes allow no passing over.
/// Requires: 1 <= mostSide <= 4096.
Preview makePreview(SourceFiles& files, const PictureSource& picture, ColorConversion& conversion,
                    std::int32_t mostSide);

} // namespace talvek::recovery::output
