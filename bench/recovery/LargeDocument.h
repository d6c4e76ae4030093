#pragma once

#include <cstdint>
#include <string>

namespace talvek::bench {

/// A document of many large layers, to be measured on.
struct LargeDocument
{
    int layers = 24;              ///< each of four PackBits planes, as large as the document
    std::int64_t mebibytes = 500; ///< size of the file, about
};

/// Writes it, an RGB document of 8 bits: pixels are noise between short runs, so that they pack as
/// photographs do. Memory: one plane.
/// @return bytes written; 0 if it could not be written whole
std::int64_t writeLargeDocument(const std::string& path, const LargeDocument& document);

} // namespace talvek::bench
