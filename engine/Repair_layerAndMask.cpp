#include "engine/Repair.h"
#include "platform/SystemLog.h"

#include <array>

namespace talvek {

namespace {

constexpr std::int64_t kHeaderBytes = 26;

// A tagged block: signature, key, length, data. Bytes from its signature.
constexpr std::int64_t kBlockLengthAt = 8;
constexpr std::int64_t kBlockDataAt = 12;

// A layer record, from its blend-mode signature on.
constexpr std::int64_t kRecordPastKey = 8;
constexpr std::int64_t kRecordExtraLengthAt = 12;
constexpr std::int64_t kRecordExtraAt = 16;

/// Documents of these colour modes have no layers.
bool isModeWithoutLayers(std::uint8_t mode)
{
    constexpr std::uint8_t kIndexed = 2;
    constexpr std::uint8_t kMultichannel = 7;
    return mode == kIndexed || mode == kMultichannel;
}

std::string unsignedDecimal(std::int64_t value)
{
    return std::to_string(static_cast<std::uint64_t>(value));
}

} // namespace

void Repair::layerAndMaskImage()
{
    constexpr std::size_t kModeLowByteAt = 25;
    sizeOFLayerAndMask = readLength(layerAndMaskOffset);
    const std::int64_t searched = filemgr.fileSizeAtPath(filePath) - kHeaderBytes;
    const std::int64_t filterMask = search_8BIMFMsk(kHeaderBytes, searched);
    if (isModeWithoutLayers(fileHeaderInformation[kModeLowByteAt])) {
        mapCompositeWithoutLayers(filterMask);
        SystemLog::write(unsignedDecimal(mainImageOffset));
        return;
    }
    layer_counter = 0;
    noOfLayer = countAndFindOffsetOf8BIMnorm(kHeaderBytes, searched);
    SystemLog::write(std::to_string(noOfLayer));
    findLayerStart(filterMask);
    postProgressAt(layerStart);
    extractLayers();
    mainImageOffset = compositeOffset(filterMask);
    postProgressAt(mainImageOffset);
    SystemLog::write(unsignedDecimal(mainImageOffset));
}

void Repair::mapCompositeWithoutLayers(std::int64_t filterMask)
{
    if (filterMask != 0) {
        // No progress here: the composite follows at once.
        mainImageOffset = endOfFilterMask(filterMask);
        offsetForProgressBar = static_cast<double>(mainImageOffset);
        return;
    }
    sizeOFLayerAndMask = readLength(layerAndMaskOffset);
    mainImageOffset = endOfLayerAndMask();
    postProgressAt(mainImageOffset);
}

/// The layers' channel data follow the last layer record: behind its last tagged block, or where
/// its own length says.
void Repair::findLayerStart(std::int64_t filterMask)
{
    if (noOfLayer == 0) {
        layerStart = 0;
        return;
    }
    const std::int64_t record = offset8BIMnorm[static_cast<std::size_t>(noOfLayer - 1)];
    // Without a filter mask the bound is the composite's start as far as it is known, which at
    // this point it never is. The length comes out negative, and the search short.
    const std::int64_t bound = filterMask != 0 ? filterMask : mainImageOffset;
    findLast8BIM(record + kRecordPastKey, bound - 1 - record - kRecordPastKey);
    layerStart = last8BIMOffset != 0
                     ? last8BIMOffset + kBlockDataAt + readLength(last8BIMOffset + kBlockLengthAt)
                     : record + kRecordExtraAt + readLength(record + kRecordExtraLengthAt);
}

void Repair::extractLayers()
{
    for (std::int64_t layer = 0; layer < noOfLayer && !isAborted(); ++layer) {
        if (isStoppedOrWaits()) {
            break;
        }
        imageOfLayer(offset8BIMnorm[static_cast<std::size_t>(layer)]);
    }
}

std::int64_t Repair::endOfFilterMask(std::int64_t filterMask)
{
    return filterMask + kBlockDataAt + readLength(filterMask + kBlockLengthAt);
}

std::int64_t Repair::endOfLayerAndMask() const
{
    return layerAndMaskOffset + sizeOFLayerAndMask + 4;
}

/// The end of the filter mask, if it is the section's end or looks like the start of image data;
/// else the section's end by its stored length.
std::int64_t Repair::compositeOffset(std::int64_t filterMask)
{
    const std::int64_t stated = endOfLayerAndMask();
    if (filterMask == 0) {
        return stated;
    }
    const std::int64_t found = endOfFilterMask(filterMask);
    std::array<std::uint8_t, 2> code = {};
    if (found == stated ||
        (fileHandle.read(found, code) == code.size() && code[0] == 0 && code[1] <= 1)) {
        return found;
    }
    return stated;
}

} // namespace talvek
