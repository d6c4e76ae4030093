#include "engine/ChunkedScan.h"
#include "engine/Repair.h"
#include "engine/Repair_outputs.h"
#include "engine/SignatureSearch.h"

#include <algorithm>
#include <array>

namespace talvek {

namespace {

constexpr std::int64_t kStepBytes = 4096;

/// The search's buffer: a step and six bytes more, so that a signature across two steps is seen.
/// It is not cleared between reads, so near a short read a match may end in bytes of the read
/// before.
using Buffer = std::array<std::uint8_t, kStepBytes + 6>;

/// "8BIM" and the identifier of the thumbnail resource.
bool isThumbnailAt(const Buffer& buffer, std::size_t position)
{
    constexpr std::string_view kThumbnail("8BIM\x04\x0C", 6);
    return holdsAt(buffer, position, kThumbnail);
}

/// Position of the first match that begins within the `read` bytes of the last read.
std::size_t findThumbnail(const Buffer& buffer, std::size_t read)
{
    std::size_t position = read > 0 ? findSignature(buffer) : kNotFound;
    while (position < read && !isThumbnailAt(buffer, position)) {
        position = findSignature(buffer, position + 1);
    }
    return position < read ? position : kNotFound;
}

} // namespace

void Repair::thumbnail_Image()
{
    constexpr std::int64_t kLengthAt = 8;
    constexpr std::int64_t kJpegAt = 40;
    constexpr std::int64_t kThumbnailHeaderBytes = 28;
    offsetForProgressBar = static_cast<double>(imageResourceOffset);
    const std::int64_t resource = search_8BIM040C(imageResourceOffset, sizeOfImageResource);
    postProgressAt(resource);
    if (resource != 0) {
        const std::int64_t dataLength = readLength(resource + kLengthAt);
        thumbnailImage(resource + kJpegAt, dataLength - kThumbnailHeaderBytes);
        layerAndMaskOffset = imageResourceOffset + sizeOfImageResource + 4;
    } else {
        // Without a thumbnail the resources' length is not believed either: the walk that follows
        // starts at its field and finds the layers by their signatures.
        layerAndMaskOffset = imageResourceOffset;
    }
    postProgressAt(layerAndMaskOffset);
}

std::int64_t Repair::search_8BIM040C(std::int64_t start, std::int64_t length)
{
    Buffer buffer = {};
    const std::int64_t steps = blockCount(length, kStepBytes);
    if (isSingleRead(steps)) {
        const std::size_t read = fileHandle.read(start, buffer);
        for (std::size_t position = 0; position < read && !isAborted(); ++position) {
            if (isStoppedOrWaits()) {
                return 0;
            }
            if (isThumbnailAt(buffer, position)) {
                return start + static_cast<std::int64_t>(position);
            }
        }
        return 0;
    }
    // A search over several steps does not look at the flags: a stop takes effect in the stages
    // behind it.
    std::int64_t left = isAborted() ? 0 : steps;
    while (left > 0) {
        const std::size_t read = fileHandle.read(start, buffer);
        const std::size_t position = findThumbnail(buffer, read);
        if (position != kNotFound) {
            return start + static_cast<std::int64_t>(position);
        }
        const std::int64_t passed =
            read > 0 ? 1
                     : std::max<std::int64_t>(
                           1, emptyBlocks(start, left, kStepBytes, fileHandle.size()));
        start += passed * kStepBytes;
        left -= passed;
    }
    return 0;
}

void Repair::thumbnailImage(std::int64_t dataOffset, std::int64_t dataLength)
{
    constexpr std::size_t kBlockBytes = 1024;
    const std::string path = recoverFileLocationField + "/" + fileName + "_thumbnail.jpg";
    createOutput(path, {});
    OpenOutput output(*this, path);
    const std::int64_t end = dataOffset + dataLength;
    const std::int64_t blocks = dataLength / static_cast<std::int64_t>(kBlockBytes);
    const std::int64_t reached =
        copyBlocks(fileHandle, dataOffset, blocks, kBlockBytes, output.handle());
    // Without a test for room, and after an abort too: the last piece always follows.
    copyOneRead(fileHandle, reached, end - reached, output.handle());
    mutableStringArray.push_back(path);
}

} // namespace talvek
