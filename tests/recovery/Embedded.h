#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <string_view>

namespace talvek::test {

/// One entry of a block of embedded files.
/// @param stated  the length of the data as the entry states it
Bytes entryOf(std::string_view name, const Bytes& data, std::uint64_t stated);
Bytes entryOf(std::string_view name, const Bytes& data);

/// A block of such entries, with something in front of it.
Bytes blockOf(const Bytes& entries, std::size_t stated);

} // namespace talvek::test
