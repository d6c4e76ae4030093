#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

namespace talvek::recovery::output {

/// What a descriptor's topmost items hold that is text or raw data; the rest is passed over.
struct DescriptorItems
{
    std::map<std::string, std::string> texts;                     ///< by key, UTF-8
    std::map<std::string, std::span<const std::uint8_t>> rawData; ///< by key, in the input
    std::size_t length = 0;                                       ///< bytes read
    bool isWhole = false; ///< read to its end; else what stands before the damage
    bool isOdd = false;   ///< holds values that no writer makes, as changed bytes do
};

/// Reads a descriptor from its class name on.
/// Total: every input is defined. Memory and time: linear; depth and counts are bounded.
/// Format: a name, a class, a count, and items of a key, a type of four letters and a value.
DescriptorItems readDescriptor(std::span<const std::uint8_t> bytes);

} // namespace talvek::recovery::output
