#include "engine/ChunkedScan.h"

#include "engine/SignatureSearch.h"

#include <algorithm>

namespace talvek {

namespace {

constexpr std::size_t kChunkStep = static_cast<std::size_t>(kChunkBytes);
constexpr auto kSignatureBytes = static_cast<std::int64_t>(kSignature.size());

/// Bytes that a row of `chunks` chunks covers; as many as a window can hold at the most.
std::size_t rowBytes(std::int64_t chunks)
{
    constexpr std::int64_t kMostChunks = ReadingFileHandle::kWindowBytes / kChunkStep - 1;
    const auto steps = static_cast<std::size_t>(std::clamp<std::int64_t>(chunks, 1, kMostChunks));
    return (steps - 1) * kChunkStep + kChunkReadBytes;
}

/// Chunks that so many bytes hold whole; a short read is a chunk too.
std::size_t chunksIn(std::size_t bytes)
{
    return bytes < kChunkReadBytes ? 1 : (bytes - kChunkReadBytes) / kChunkStep + 1;
}

/// One scan, from where it stands to its end.
class Scan
{
public:
    Scan(ReadingFileHandle& document, SignatureMemo& memo, std::int64_t start, std::int64_t chunks,
         IsMatchAt isMatch)
        : m_document(document), m_memo(memo), m_start(start), m_left(chunks), m_isMatch(isMatch)
    {}

    std::int64_t run()
    {
        if (const std::int64_t match = lookUp()) {
            return match;
        }
        while (m_left > 0) {
            if (const std::int64_t match = scanRow()) {
                return match;
            }
        }
        return 0;
    }

private:
    std::int64_t lookUp();
    std::int64_t scanRow();
    std::int64_t searchRow(std::span<const std::uint8_t> row);

    void advance(std::int64_t chunks)
    {
        m_start += chunks * kChunkBytes;
        m_left -= chunks;
    }

    ReadingFileHandle& m_document;
    SignatureMemo& m_memo;
    std::int64_t m_start;
    std::int64_t m_left; ///< chunks
    IsMatchAt m_isMatch;
};

/// Tries the signatures that are known, and passes over the chunks that hold no other. A signature
/// that the last read cuts is not one, and a chunk that may hold one behind the memo's end is read.
std::int64_t Scan::lookUp()
{
    if (!m_memo.covers(m_start)) {
        return 0;
    }
    const std::int64_t end =
        m_start + (m_left - 1) * kChunkBytes + static_cast<std::int64_t>(kChunkReadBytes);
    std::int64_t offset = m_memo.firstFrom(m_start);
    while (offset != 0 && offset <= end - kSignatureBytes) {
        const auto most = static_cast<std::size_t>(
            std::min<std::int64_t>(end - offset, static_cast<std::int64_t>(kMostMatchBytes)));
        if (m_isMatch(m_document.bytesAt(offset, most, most), 0)) {
            return offset;
        }
        offset = m_memo.covers(offset + 1) ? m_memo.firstFrom(offset + 1) : 0;
    }
    constexpr std::int64_t kBehindChunk =
        static_cast<std::int64_t>(kChunkReadBytes) - kSignatureBytes + 1 - kChunkBytes;
    advance(std::min(m_left, (m_memo.end() - m_start - kBehindChunk) / kChunkBytes));
    return 0;
}

/// Searches the chunks from `m_start` on that are at hand, and passes over them.
std::int64_t Scan::scanRow()
{
    const auto bytes = m_document.bytesAt(m_start, kChunkReadBytes, rowBytes(m_left));
    if (bytes.empty()) {
        advance(std::max<std::int64_t>(
            1, emptyBlocks(m_start, m_left, kChunkBytes, m_document.size())));
        return 0;
    }
    const std::size_t chunks = chunksIn(bytes.size());
    const std::size_t used = (chunks - 1) * kChunkStep + kChunkReadBytes;
    const std::int64_t match = searchRow(bytes.first(std::min(used, bytes.size())));
    advance(static_cast<std::int64_t>(chunks));
    return match;
}

std::int64_t Scan::searchRow(std::span<const std::uint8_t> row)
{
    const bool remembers = m_memo.beginsOrContinuesAt(m_start);
    std::size_t position = findSignature(row);
    for (; position != kNotFound; position = findSignature(row, position + 1)) {
        const std::int64_t offset = m_start + static_cast<std::int64_t>(position);
        if (remembers) {
            m_memo.add(offset);
        }
        if (m_isMatch(row, position)) {
            return offset;
        }
    }
    if (remembers && row.size() >= kSignature.size()) {
        m_memo.extendTo(m_start + static_cast<std::int64_t>(row.size() - kSignature.size()) + 1);
    }
    return 0;
}

} // namespace

std::int64_t emptyBlocks(std::int64_t offset, std::int64_t blocks, std::int64_t blockBytes,
                         std::int64_t size)
{
    if (offset >= size) {
        return blocks;
    }
    if (offset >= 0) {
        return 0;
    }
    return std::min(blocks, blockCount(-offset, blockBytes));
}

std::int64_t scanChunks(ReadingFileHandle& document, SignatureMemo& memo, std::int64_t start,
                        std::int64_t length, IsMatchAt isMatch)
{
    const std::int64_t chunks = blockCount(length, kChunkBytes);
    return Scan(document, memo, start, isSingleRead(chunks) ? 1 : chunks, isMatch).run();
}

} // namespace talvek
