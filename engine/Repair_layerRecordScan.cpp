#include "engine/ChunkedScan.h"
#include "engine/Repair.h"
#include "engine/SignatureSearch.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace talvek {

namespace {

constexpr std::size_t kKeyAt = 4;
constexpr std::size_t kOpacityAt = 8;
constexpr std::string_view kNormal = "norm";

/// The blend modes whose layers are found when they are fully opaque. Darken ("dark") is left out
/// on purpose: a layer of that mode is not salvaged, and uses no number.
constexpr std::array<std::string_view, 26> kOpaqueModes = {
    "mul ", "lum ", "pLit", "over", "scrn", "hMix", "lddg", "sLit", "vLit",
    "idiv", "colr", "hue ", "lgCl", "pass", "sat ", "diss", "diff", "div ",
    "hLit", "lite", "smud", "fdiv", "fsub", "dkCl", "lbrn", "lLit"};

/// A blend mode stands behind the signature at `position`. Normal counts at any opacity, every
/// other mode only at 255.
bool isLayerRecordAt(std::span<const std::uint8_t> bytes, std::size_t position)
{
    constexpr std::uint8_t kOpaque = 255;
    if (holdsAt(bytes, position + kKeyAt, kNormal)) {
        return true;
    }
    if (bytes.size() - position <= kOpacityAt || bytes[position + kOpacityAt] != kOpaque) {
        return false;
    }
    return std::any_of(kOpaqueModes.begin(), kOpaqueModes.end(), [&](std::string_view key) {
        return holdsAt(bytes, position + kKeyAt, key);
    });
}

} // namespace

std::int64_t Repair::search_8BIMnorm(std::int64_t start, std::int64_t length)
{
    return isAborted() ? 0 : scanChunks(fileHandle, m_signatures, start, length, isLayerRecordAt);
}

std::int16_t Repair::countAndFindOffsetOf8BIMnorm(std::int64_t start, std::int64_t length)
{
    constexpr std::int64_t kPastKey = 8;
    std::size_t count = 0;
    std::int64_t match = search_8BIMnorm(start, length);
    while (match != 0 && !isAborted() && count < kMostOffsets) {
        if (isStoppedOrWaits()) {
            break;
        }
        offset8BIMnorm[count++] = match;
        // The same length again, not what is left of it: later searches run past the end.
        match = search_8BIMnorm(match + kPastKey, length);
    }
    last8BIMnormOffset = count > 0 ? offset8BIMnorm[count - 1] : 0;
    return static_cast<std::int16_t>(count);
}

} // namespace talvek
