#include "recovery/Text.h"

#include <array>

namespace talvek::recovery {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// The upper half of Mac OS Roman.
constexpr std::array<char16_t, 128> kMacRoman = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

void appendUtf8(std::string& text, char32_t letter)
{
    const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (letter < 0x80) {
        add(letter);
    } else if (letter < 0x800) {
        add(0xC0 | letter >> 6U);
        add(0x80 | (letter & 0x3F));
    } else if (letter < 0x10000) {
        add(0xE0 | letter >> 12U);
        add(0x80 | (letter >> 6U & 0x3F));
        add(0x80 | (letter & 0x3F));
    } else {
        add(0xF0 | letter >> 18U);
        add(0x80 | (letter >> 12U & 0x3F));
        add(0x80 | (letter >> 6U & 0x3F));
        add(0x80 | (letter & 0x3F));
    }
}

bool isHigh(char32_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLow(char32_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

char32_t unitAt(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return at + 1 < bytes.size() ? static_cast<char32_t>(bytes[at] << 8U | bytes[at + 1]) : 0;
}

} // namespace

std::string utf8OfUtf16(std::span<const std::uint8_t> bytes)
{
    std::size_t size = bytes.size() & ~std::size_t{1};
    while (size > 0 && unitAt(bytes, size - 2) == 0) {
        size -= 2;
    }
    std::string text;
    for (std::size_t at = 0; at < size; at += 2) {
        const char32_t unit = unitAt(bytes, at);
        if (isHigh(unit) && at + 2 < size && isLow(unitAt(bytes, at + 2))) {
            at += 2;
            appendUtf8(text, 0x10000 + ((unit - 0xD800) << 10U) + unitAt(bytes, at) - 0xDC00);
        } else {
            appendUtf8(text, isHigh(unit) || isLow(unit) ? kReplacement : unit);
        }
    }
    return text;
}

std::string utf8OfMacRoman(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        appendUtf8(text, byte < 0x80 ? char32_t{byte} : char32_t{kMacRoman[byte - 0x80U]});
    }
    return text;
}

std::u16string utf16OfUtf8(const std::string& text)
{
    std::u16string units;
    std::size_t at = 0;
    while (at < text.size()) {
        const auto first = static_cast<std::uint8_t>(text[at++]);
        const int more = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        char32_t letter = more == 0 ? first : first & (0x3FU >> static_cast<unsigned>(more));
        for (int i = 0; i < more && at < text.size(); ++i) {
            letter = letter << 6U | (static_cast<std::uint8_t>(text[at++]) & 0x3FU);
        }
        if (letter < 0x10000) {
            units += static_cast<char16_t>(letter);
        } else {
            letter = (letter - 0x10000) & 0xFFFFF;
            units += static_cast<char16_t>(0xD800 + (letter >> 10U));
            units += static_cast<char16_t>(0xDC00 + (letter & 0x3FF));
        }
    }
    return units;
}

void Utf8Check::add(std::span<const std::uint8_t> bytes)
{
    for (const std::uint8_t byte : bytes) {
        const bool continues = (byte & 0xC0U) == 0x80U;
        if (continues != (m_wanted > 0)) {
            m_isText = false;
            m_wanted = 0;
        } else if (continues) {
            --m_wanted;
        } else if (byte >= 0xC0) {
            m_wanted = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
            m_isText = m_isText && byte < 0xF5;
        } else if (byte < ' ' || byte == 0x7F) {
            m_isText = m_isText && (byte == '\t' || byte == '\n' || byte == '\r');
        }
    }
}

} // namespace talvek::recovery
