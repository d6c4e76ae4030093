#include "recovery/output/Utf8.h"

#include <algorithm>

namespace talvek::recovery::output {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

bool isSurrogate(char32_t point)
{
    return point >= 0xD800 && point <= 0xDFFF;
}

/// Bytes of the sequence that this first byte announces; 0 for none.
std::size_t sequenceLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

} // namespace

char32_t nextCodePoint(std::string_view text, std::size_t& at)
{
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = sequenceLength(first);
    if (length == 0 || text.size() - at < length) {
        ++at;
        return kReplacement;
    }
    char32_t point = length == 1 ? first : first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[at + i])) {
            ++at;
            return kReplacement;
        }
        point = point << 6U | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
    }
    if (point < kLeast[length] || point > 0x10FFFF || isSurrogate(point)) {
        ++at;
        return kReplacement;
    }
    at += length;
    return point;
}

void appendCodePoint(std::string& text, char32_t point)
{
    if (point > 0x10FFFF || isSurrogate(point)) {
        point = kReplacement;
    }
    if (point < 0x80) {
        text += static_cast<char>(point);
        return;
    }
    const unsigned more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    text += static_cast<char>((0xF0F0E0C0U >> (8 * (more - 1)) & 0xFFU) | point >> (6 * more));
    for (unsigned i = more; i-- > 0;) {
        text += static_cast<char>(0x80U | (point >> (6 * i) & 0x3FU));
    }
}

std::string cleanUtf8(std::string_view text)
{
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        appendCodePoint(clean, nextCodePoint(text, at));
    }
    return clean;
}

std::string_view beginningOf(std::string_view text, std::size_t mostBytes)
{
    std::size_t end = std::min(text.size(), mostBytes);
    while (end > 0 && end < text.size() && isContinuation(text[end])) {
        --end;
    }
    return text.substr(0, end);
}

} // namespace talvek::recovery::output
