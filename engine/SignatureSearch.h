#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace talvek {

/// What a search gives when there is no match.
inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

/// The signature that opens image resources, layer records and tagged blocks.
inline constexpr std::string_view kSignature = "8BIM";

/// Position of the first "8BIM" at or behind `from` that lies wholly within `bytes`, or
/// `kNotFound`. Looks at 16 positions at a time. No allocation, no state; any thread.
std::size_t findSignature(std::span<const std::uint8_t> bytes, std::size_t from = 0);

/// True if `bytes` holds `text` at `position`, wholly.
bool holdsAt(std::span<const std::uint8_t> bytes, std::size_t position, std::string_view text);

} // namespace talvek
