#include "tests/model/PlainRepair.h"

#include <algorithm>

namespace talvek::model {

namespace {

constexpr std::int64_t kStep = 4096;
constexpr std::size_t kBufferBytes = 4102;

/// The buffer may hold bytes of an earlier read behind those of the last: they count.
bool thumbnailStartsAt(const Bytes& buffer, std::size_t at)
{
    static const Bytes kSignature = {'8', 'B', 'I', 'M', 0x04, 0x0C};
    return at + kSignature.size() <= buffer.size() &&
           std::equal(kSignature.begin(), kSignature.end(),
                      buffer.begin() + static_cast<std::ptrdiff_t>(at));
}

} // namespace

void PlainRepair::thumbnailStage()
{
    const std::int64_t found = searchThumbnail(m_resourcesOffset, m_resourcesSize);
    postProgress(static_cast<double>(found));
    if (found != 0) {
        const std::int64_t dataLength = lengthAt(found + 8);
        copyThumbnail(found + 40, dataLength - 28);
        m_layerAndMaskOffset = m_resourcesOffset + m_resourcesSize + 4;
    } else {
        m_layerAndMaskOffset = m_resourcesOffset;
    }
    postProgress(static_cast<double>(m_layerAndMaskOffset));
}

std::int64_t PlainRepair::searchThumbnail(std::int64_t start, std::int64_t length) const
{
    std::int64_t chunks = length / kStep;
    if (length % kStep != 0) {
        ++chunks;
    }
    const bool single = chunks == 0 || chunks == 1;
    Bytes buffer(kBufferBytes);
    for (std::int64_t chunk = 0; chunk < (single ? 1 : chunks); ++chunk) {
        const Bytes got = read(start, kBufferBytes);
        std::copy(got.begin(), got.end(), buffer.begin());
        for (std::size_t at = 0; at < got.size(); ++at) {
            // Only a search that takes a single read can be stopped.
            if (single && m_stopFlag) {
                return 0;
            }
            if (thumbnailStartsAt(buffer, at)) {
                return start + static_cast<std::int64_t>(at);
            }
        }
        start += kStep;
    }
    return 0;
}

void PlainRepair::copyThumbnail(std::int64_t offset, std::int64_t length)
{
    const std::string path = m_folder + "/" + m_fileName + "_thumbnail.jpg";
    create(path, {});
    const Output output = m_files.open(path);
    std::int64_t copied = 0;
    std::int64_t blocks = length / 1024;
    while (blocks > 0 && !aborted()) {
        const Bytes got = read(offset, 1024);
        writeTested(output, got);
        offset += 1024;
        copied += 1024;
        --blocks;
        if (got.empty() && !aborted()) {
            const std::int64_t skipped = emptyReads(offset, 1024, blocks);
            offset += skipped * 1024;
            copied += skipped * 1024;
            blocks -= skipped;
        }
    }
    // The one write that nothing is asked before.
    write(output, read(offset, length - copied));
    m_secondaryFiles.push_back(path);
}

} // namespace talvek::model
