#pragma once

#include "recovery/SourceBytes.h"

#include <string>

namespace talvek::recovery {

/// What another kind of file the bytes begin like, with its article ("a PNG picture"); empty if
/// like none that is known here. Files are often given the wrong ending.
std::string otherKindOf(SourceBytes& source);

} // namespace talvek::recovery
