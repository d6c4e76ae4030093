#pragma once

#include "samples/Picture.h"

#include <string>

namespace talvek::samples {

/// The picture as a baseline JPEG file without subsampling; opacity is left out. Its width and
/// height are multiples of 8.
std::string jpegOf(const Picture& picture);

} // namespace talvek::samples
