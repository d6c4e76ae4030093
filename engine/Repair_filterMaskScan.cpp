#include "engine/ChunkedScan.h"
#include "engine/Repair.h"
#include "engine/SignatureSearch.h"

#include <array>
#include <string_view>

namespace talvek {

namespace {

constexpr std::string_view kFilterMask = "8BIMFMsk";
constexpr std::string_view kReferencePoint = "8BIMfxrp";

bool isFilterMaskAt(std::span<const std::uint8_t> bytes, std::size_t position)
{
    return holdsAt(bytes, position, kFilterMask);
}

bool isReferencePointAt(std::span<const std::uint8_t> bytes, std::size_t position)
{
    return holdsAt(bytes, position, kReferencePoint);
}

} // namespace

std::int64_t Repair::search_8BIMFMsk(std::int64_t start, std::int64_t length)
{
    if (!isSingleRead(blockCount(length, kChunkBytes))) {
        return isAborted() ? 0
                           : scanChunks(fileHandle, m_signatures, start, length, isFilterMaskAt);
    }
    // Only the search of a single read looks at the flags, before every position.
    std::array<std::uint8_t, kChunkReadBytes> buffer = {};
    const auto bytes = std::span(buffer).first(fileHandle.read(start, buffer));
    for (std::size_t position = 0; position < bytes.size() && !isAborted(); ++position) {
        if (isStoppedOrWaits()) {
            return 0;
        }
        if (isFilterMaskAt(bytes, position)) {
            return start + static_cast<std::int64_t>(position);
        }
    }
    return 0;
}

std::int64_t Repair::search_8BIMfxrp(std::int64_t start, std::int64_t length)
{
    return isAborted() ? 0
                       : scanChunks(fileHandle, m_signatures, start, length, isReferencePointAt);
}

std::int16_t Repair::countAndFindOffsetOf8BIMfxrp(std::int64_t start, std::int64_t length)
{
    constexpr std::int64_t kPastKey = 8;
    std::size_t count = 0;
    std::int64_t match = search_8BIMfxrp(start, length);
    while (match != 0 && !isAborted() && count < kMostOffsets) {
        offset8BIMfxrp[count++] = match;
        match = search_8BIMfxrp(match + kPastKey, length);
    }
    last8BIMfxrpOffset = count > 0 ? offset8BIMfxrp[count - 1] : 0;
    return static_cast<std::int16_t>(count);
}

} // namespace talvek
