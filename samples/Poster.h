#pragma once

#include "samples/PsdWriter.h"

namespace talvek::samples {

/// A poster for a winter festival: sky, stars, a group with moon, mountains and trees, northern
/// lights behind a mask, and lettering.
Document poster();

} // namespace talvek::samples
