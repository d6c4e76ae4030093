#pragma once

#include "tests/support/Bytes.h"

#include <string_view>

namespace talvek::test {

/// Zeros behind `bytes`, up to a multiple of `multiple`.
void padTo(Bytes& bytes, std::size_t multiple);

/// "8BIM", a key of four characters, the length of `data` once padded, and `data`.
Bytes taggedBlockOf(std::string_view key, const Bytes& data, std::size_t padding);

/// At most 255 characters of `text`, padded so that all takes a multiple of `multiple` bytes.
/// Format: a length byte, then the text.
Bytes pascalString(std::string_view text, std::size_t multiple);

} // namespace talvek::test
