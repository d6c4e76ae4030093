#include "recovery/output/SafeName.h"

#include "recovery/output/Utf8.h"

#include <algorithm>
#include <array>

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kLongestExtension = 16;

bool isControl(char32_t point)
{
    return point < 0x20 || (point >= 0x7F && point < 0xA0) || point == 0xFEFF;
}

/// Characters that reorder what stands around them, with which "gpj.exe" can be shown as "exe.jpg".
bool turnsDirection(char32_t point)
{
    return (point >= 0x200B && point <= 0x200F && point != 0x200D && point != 0x200C) ||
           (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

bool isForbidden(char32_t point)
{
    constexpr std::u32string_view kForbidden = U"/\\:*?\"<>|";
    return isControl(point) || turnsDirection(point) ||
           kForbidden.find(point) != std::u32string_view::npos;
}

std::string lowered(std::string_view text)
{
    std::string low(text);
    std::transform(low.begin(), low.end(), low.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return low;
}

/// Where the extension begins, its point included; the end if there is none.
std::size_t extensionAt(std::string_view name)
{
    const std::size_t point = name.rfind('.');
    const bool hasOne = point != std::string_view::npos && point > 0 && point + 1 < name.size() &&
                        name.size() - point <= kLongestExtension;
    return hasOne ? point : name.size();
}

/// Names of devices on some systems, whatever their extension.
bool isReserved(std::string_view name)
{
    constexpr std::array<std::string_view, 4> kDevices = {"con", "prn", "aux", "nul"};
    const std::string stem = lowered(name.substr(0, name.find('.')));
    if (std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end()) {
        return true;
    }
    return stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) &&
           stem[3] >= '0' && stem[3] <= '9';
}

std::string withoutForbidden(std::string_view name)
{
    std::string safe;
    for (std::size_t at = 0; at < name.size();) {
        const char32_t point = nextCodePoint(name, at);
        appendCodePoint(safe, isForbidden(point) ? U'_' : point);
    }
    return safe;
}

std::string_view trimmed(std::string_view name)
{
    const std::size_t first = name.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    const std::size_t last = name.find_last_not_of(" .");
    return last == std::string_view::npos || last < first ? std::string_view{}
                                                          : name.substr(first, last - first + 1);
}

std::string shortened(std::string_view name, std::size_t mostBytes)
{
    if (name.size() <= mostBytes) {
        return std::string(name);
    }
    const std::string_view extension = name.substr(extensionAt(name));
    const std::string_view stem = beginningOf(name, mostBytes - extension.size());
    return std::string(trimmed(stem)).append(extension);
}

} // namespace

std::string safeFileName(std::string_view name, std::string_view fallback, std::size_t mostBytes)
{
    // What is cut off later need not be looked at: a damaged name can be very long.
    const std::string safe = withoutForbidden(name.substr(0, 16 * mostBytes));
    std::string result = shortened(trimmed(safe), mostBytes - 1);
    if (result.empty()) {
        return std::string(fallback);
    }
    if (result[0] == '.' || result[0] == '-' || isReserved(result)) {
        result.insert(result.begin(), '_');
    }
    return result;
}

std::string withBeforeExtension(std::string_view name, std::string_view addition)
{
    const std::size_t point = extensionAt(name);
    return std::string(name.substr(0, point)).append(addition).append(name.substr(point));
}

std::string UniqueNames::take(const std::string& name)
{
    std::string candidate = name;
    for (std::size_t number = 2; !m_taken.insert(lowered(candidate)).second; ++number) {
        candidate = withBeforeExtension(name, " (" + std::to_string(number) + ")");
    }
    return candidate;
}

} // namespace talvek::recovery::output
