#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace talvek::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

inline void append(Bytes& to, const Bytes& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

inline void append(Bytes& to, std::string_view text)
{
    to.insert(to.end(), text.begin(), text.end());
}

/// The low 16 bits of `value`, most significant byte first.
inline void appendU16(Bytes& to, std::uint32_t value)
{
    to.push_back(static_cast<std::uint8_t>(value >> 8U));
    to.push_back(static_cast<std::uint8_t>(value));
}

inline void appendU32(Bytes& to, std::uint32_t value)
{
    appendU16(to, value >> 16U);
    appendU16(to, value);
}

/// For lengths and bounds, which may be negative: the low 32 bits.
inline void appendI32(Bytes& to, std::int64_t value)
{
    appendU32(to, static_cast<std::uint32_t>(value));
}

} // namespace talvek::test
