#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talvek::recovery::output {

/// The code point that begins at `at`, and `at` moved behind it; U+FFFD for each byte that begins
/// none. Requires: at < text.size().
char32_t nextCodePoint(std::string_view text, std::size_t& at);

/// Appends a code point; U+FFFD for a surrogate and what lies beyond U+10FFFF.
void appendCodePoint(std::string& text, char32_t point);

/// The text with U+FFFD in place of what is not UTF-8.
std::string cleanUtf8(std::string_view text);

/// The longest beginning of at most `mostBytes` bytes that cuts no code point.
/// Requires: UTF-8.
std::string_view beginningOf(std::string_view text, std::size_t mostBytes);

} // namespace talvek::recovery::output
