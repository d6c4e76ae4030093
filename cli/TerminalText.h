#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Text that comes from file names and damaged documents, made fit to be shown.
namespace talvek {

/// The text with everything escaped that could steer a terminal or deceive its reader: control
/// characters, the marks that turn the direction of writing, and bytes that are not UTF-8. A tab
/// becomes \t, a line end \n, anything else \xHH for each of its bytes.
std::string safeForTerminal(std::string_view text);

/// `safeForTerminal` between single quotes, as names stand in messages.
std::string quotedName(std::string_view name);

/// How many characters the text has. Combining and double-width characters count as one each.
std::size_t characterCount(std::string_view text);

/// The first `count` characters of the text.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// A size in the largest unit of 1024 that leaves a figure before the point: "17 bytes", "3.4 MiB".
std::string readableSize(std::uint64_t bytes);

} // namespace talvek
