#include "recovery/output/Html.h"

#include "recovery/output/Utf8.h"

#include <algorithm>
#include <array>

namespace talvek::recovery::output {

namespace {

/// Marks that reorder what follows could make a name run over the words around it.
bool isUnfit(char32_t point)
{
    return (point < 0x20 && point != '\t' && point != '\n') || (point >= 0x7F && point < 0xA0) ||
           (point >= 0x202A && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

void appendEscaped(std::string& html, char32_t point)
{
    switch (point) {
    case '&':
        html += "&amp;";
        break;
    case '<':
        html += "&lt;";
        break;
    case '>':
        html += "&gt;";
        break;
    case '"':
        html += "&quot;";
        break;
    case '\'':
        html += "&#39;";
        break;
    default:
        appendCodePoint(html, isUnfit(point) ? char32_t{0xFFFD} : point);
    }
}

} // namespace

std::string escaped(std::string_view text, std::size_t mostBytes)
{
    std::string html;
    std::size_t at = 0;
    while (at < text.size() && at < mostBytes) {
        appendEscaped(html, nextCodePoint(text, at));
    }
    return at < text.size() ? html + "\xE2\x80\xA6" : html;
}

std::string asLink(std::string_view path)
{
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/.-_";
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string link;
    for (const char c : path) {
        if (kPlain.find(c) != std::string_view::npos) {
            link += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            link += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
    }
    return link;
}

std::string dataUri(std::string_view type, std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view kLetters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string uri = "data:" + std::string(type) + ";base64,";
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t held = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t three = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            three = three << 8U | (k < held ? bytes[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            uri += k <= held ? kLetters[three >> (18 - 6 * k) & 63U] : '=';
        }
    }
    return uri;
}

std::string grouped(std::int64_t number)
{
    std::string text = std::to_string(number);
    const std::size_t first = number < 0 ? 1 : 0;
    for (std::size_t at = text.size(); at > first + 3;) {
        at -= 3;
        text.insert(at, 1, ',');
    }
    return text;
}

std::string sizeInWords(std::int64_t bytes)
{
    constexpr std::array<const char*, 5> kUnits = {" KB", " MB", " GB", " TB", " PB"};
    if (bytes < 1000) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    std::int64_t tenths = bytes / 100;
    std::size_t unit = 0;
    for (; tenths >= 10000 && unit + 1 < kUnits.size(); ++unit) {
        tenths /= 1000;
    }
    const std::string whole = std::to_string(tenths / 10);
    return (tenths < 1000 ? whole + "." + std::to_string(tenths % 10) : whole) + kUnits[unit];
}

} // namespace talvek::recovery::output
