#pragma once

#include <cstdint>
#include <span>

namespace talvek::recovery {

/// The bytes are what text layers carry for the text engine: dictionaries "<<...>>" and lists
/// "[...]" that balance, and in them names, numbers, "true", "false" and strings in brackets.
/// Time: linear. Memory: a byte for each level of nesting.
bool isEngineText(std::span<const std::uint8_t> bytes);

} // namespace talvek::recovery
