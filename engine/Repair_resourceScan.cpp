#include "engine/ChunkedScan.h"
#include "engine/Repair.h"
#include "engine/RevisitDetector.h"
#include "engine/SignatureSearch.h"

#include <array>

namespace talvek {

namespace {

constexpr std::int64_t kLengthAt = 8;
constexpr std::int64_t kDataAt = 12;

/// Blocks that a walk over tagged blocks has seen.
///
/// A block's own bytes decide where the walk goes next, so a circle of such blocks is told by one
/// remembered place. Only a block whose length field reaches past the end of the document takes
/// part of the length from the block before; signatures are 4 bytes long, so two of those at the
/// most can stand there, and they are remembered one by one.
class VisitedBlocks
{
public:
    explicit VisitedBlocks(std::int64_t documentSize) : m_documentSize(documentSize) {}

    bool isRevisit(std::int64_t block)
    {
        if (block <= m_documentSize - kDataAt) {
            return m_detector.isRevisit(block);
        }
        for (std::int64_t& seen : m_atTheEnd) {
            if (seen == block) {
                return true;
            }
            if (seen == 0) {
                seen = block;
                return false;
            }
        }
        // Reached only if the document grows during the walk.
        return true;
    }

private:
    std::int64_t m_documentSize;
    RevisitDetector m_detector;
    std::array<std::int64_t, 2> m_atTheEnd = {};
};

bool isAnySignature(std::span<const std::uint8_t> /*bytes*/, std::size_t /*position*/)
{
    return true;
}

} // namespace

std::int64_t Repair::search_8BIMOffset(std::int64_t start, std::int64_t length)
{
    return isAborted() ? 0 : scanChunks(fileHandle, m_signatures, start, length, isAnySignature);
}

/// Reads the length of the tagged block into `length`; true if its end is followed by a channel's
/// compression code that the engine knows, raw or PackBits.
bool Repair::endsBeforeImageData(std::int64_t block, LengthField& length)
{
    std::array<std::uint8_t, 2> code = {};
    const bool hasLength = fileHandle.read(block + kLengthAt, length) == length.size();
    const std::int64_t end = block + kDataAt + sizeOfLength(length, 4);
    return hasLength && fileHandle.read(end, code) == code.size() && code[0] == 0 && code[1] <= 1;
}

void Repair::findLast8BIM(std::int64_t start, std::int64_t length)
{
    LengthField blockLength = {};
    last8BIMOffset = 0;
    VisitedBlocks visited(fileHandle.size());
    std::int64_t block = search_8BIMOffset(start, length);
    // A negative length can lead the walk back to a block that it has left: it would go round for
    // ever, and finds nothing.
    while (block != 0 && !visited.isRevisit(block)) {
        if (endsBeforeImageData(block, blockLength)) {
            last8BIMOffset = block;
            return;
        }
        if (isAborted() || isStoppedOrWaits()) {
            return;
        }
        const std::int64_t next = block + kDataAt + sizeOfLength(blockLength, 4);
        // The length less an offset, not less what was walked: this is what bounds the walk.
        block = search_8BIMOffset(next, length - next);
    }
}

} // namespace talvek
