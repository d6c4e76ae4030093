#include "cli/TerminalText.h"

#include <array>

namespace talvek {

namespace {

struct CodePoint
{
    char32_t value = 0;
    std::size_t bytes = 0; ///< 0 if no well-formed character stands here
};

std::size_t lengthByLeadByte(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 2;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 3;
    }
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

/// Longer forms than needed, surrogates, and what lies past the last character of all.
bool isForbidden(CodePoint point)
{
    return (point.bytes == 3 && point.value < 0x800) ||
           (point.bytes == 4 && point.value < 0x10000) ||
           (point.value >= 0xD800 && point.value <= 0xDFFF) || point.value > 0x10FFFF;
}

CodePoint codePointAt(std::string_view text)
{
    static constexpr std::array<unsigned char, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
    const auto lead = static_cast<unsigned char>(text.front());
    CodePoint point{0, lengthByLeadByte(lead)};
    if (point.bytes == 0 || point.bytes > text.size()) {
        return {};
    }
    point.value = lead & kLeadBits[point.bytes];
    for (const char next : text.substr(1, point.bytes - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xC0U) != 0x80) {
            return {};
        }
        point.value = (point.value << 6U) | (byte & 0x3FU);
    }
    return isForbidden(point) ? CodePoint{} : point;
}

/// Marks that turn the direction of writing can make "gpj.exe" of "exe.jpg".
bool turnsDirection(char32_t value)
{
    return value == 0x061C || value == 0x200E || value == 0x200F ||
           (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

bool isHarmless(char32_t value)
{
    const bool control = value < 0x20 || (value >= 0x7F && value <= 0x9F);
    const bool breaksLine = value == 0x2028 || value == 0x2029;
    return !control && !breaksLine && !turnsDirection(value) && value != 0xFEFF;
}

void appendEscaped(std::string& to, std::string_view bytes)
{
    for (const char byte : bytes) {
        if (byte == '\t' || byte == '\n') {
            to += byte == '\t' ? "\\t" : "\\n";
            continue;
        }
        static constexpr std::string_view kDigits = "0123456789ABCDEF";
        const auto value = static_cast<unsigned char>(byte);
        to += "\\x";
        to += kDigits[value >> 4U];
        to += kDigits[value & 0xFU];
    }
}

bool startsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80;
}

} // namespace

std::string safeForTerminal(std::string_view text)
{
    std::string safe;
    while (!text.empty()) {
        const CodePoint point = codePointAt(text);
        const std::string_view bytes = text.substr(0, point.bytes == 0 ? 1 : point.bytes);
        if (point.bytes > 0 && isHarmless(point.value)) {
            safe += bytes;
        } else {
            appendEscaped(safe, bytes);
        }
        text.remove_prefix(bytes.size());
    }
    return safe;
}

std::string quotedName(std::string_view name)
{
    return "'" + safeForTerminal(name) + "'";
}

std::size_t characterCount(std::string_view text)
{
    std::size_t count = 0;
    for (const char byte : text) {
        count += startsCharacter(byte) ? 1U : 0U;
    }
    return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t count)
{
    std::size_t end = 0;
    while (end < text.size() && (count > 0 || !startsCharacter(text[end]))) {
        count -= startsCharacter(text[end]) ? 1U : 0U;
        ++end;
    }
    return text.substr(0, end);
}

std::string readableSize(std::uint64_t bytes)
{
    static constexpr std::array<const char*, 5> kUnits = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    if (bytes < 1024) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    // In tenths, rounded down, so that a size just below the next unit keeps its own.
    constexpr unsigned kBitsOfUnit = 10;
    std::size_t unit = 0;
    while (bytes >> (2 * kBitsOfUnit) > 0 && unit + 1 < kUnits.size()) {
        bytes >>= kBitsOfUnit;
        ++unit;
    }
    const std::uint64_t tenths = (bytes & 1023U) * 10 / 1024;
    return std::to_string(bytes >> kBitsOfUnit) + "." + std::to_string(tenths) + " " + kUnits[unit];
}

} // namespace talvek
