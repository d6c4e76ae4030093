#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace talvek::recovery::output {

/// Text for HTML, in elements and in quoted attributes: what could end it is escaped, what is not
/// UTF-8 and control characters become U+FFFD, and all behind `mostBytes` becomes an ellipsis.
std::string escaped(std::string_view text, std::size_t mostBytes = 300);

/// A relative path as a link: everything but letters, digits, "/", ".", "-" and "_" in percents.
std::string asLink(std::string_view path);

/// "data:TYPE;base64,..."
std::string dataUri(std::string_view type, std::span<const std::uint8_t> bytes);

/// 1234567 as "1,234,567".
std::string grouped(std::int64_t number);

/// A count of bytes for people: "12 bytes", "3.4 KB", "5.6 MB", in powers of 1000.
std::string sizeInWords(std::int64_t bytes);

} // namespace talvek::recovery::output
