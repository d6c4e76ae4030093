#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace talvek::recovery {

/// UTF-8 from big-endian UTF-16; what is no character becomes U+FFFD. Zeros at the end are left
/// out, because many writers count the terminator as a letter.
std::string utf8OfUtf16(std::span<const std::uint8_t> bytes);
/// UTF-8 from Mac OS Roman, in which the format holds names that are not Unicode.
std::string utf8OfMacRoman(std::span<const std::uint8_t> bytes);
/// Tells whether bytes, given piece by piece, are UTF-8 text without control characters but tabs
/// and ends of lines.
class Utf8Check
{
public:
    void add(std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool isText() const { return m_isText && m_wanted == 0; }

private:
    int m_wanted = 0; ///< continuation bytes of the character begun
    bool m_isText = true;
};

/// Big-endian UTF-16 from UTF-8.
std::u16string utf16OfUtf8(const std::string& text);

} // namespace talvek::recovery
