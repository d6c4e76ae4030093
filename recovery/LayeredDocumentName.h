#pragma once

#include <string>
#include <string_view>

namespace talvek::recovery {

/// The document's name without its extension, cut between characters so that what is put behind it
/// (up to 11 bytes) still makes a name that volumes take: 255 bytes at most.
/// @param path  of the damaged document
std::string stemForNames(std::string_view path);

/// What the layered document made of the one at `path` is called.
/// @param isLarge  it is a PSB
std::string layeredDocumentName(std::string_view path, bool isLarge);

} // namespace talvek::recovery
