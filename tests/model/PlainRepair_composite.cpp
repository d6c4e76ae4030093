#include "tests/model/PlainRepair.h"

#include <algorithm>

namespace talvek::model {

void PlainRepair::compositeStage()
{
    static const Bytes kFixed = {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const std::int64_t colourModeLength = lengthAt(26);
    const Bytes head = read(0, colourModeLength + 30);
    const std::string path = m_folder + "/" + m_fileName + "_repaired.psd";
    if (!hasRoomFor(static_cast<std::int64_t>(head.size()))) {
        abortProgram();
    } else {
        create(path, head);
    }
    const Output output = m_files.open(path);
    writeTested(output, kFixed);
    const std::int64_t channels = sizeOfLength(m_header.data() + 12, 2);
    const std::int64_t rows = sizeOfLength(m_header.data() + 14, 4);
    Bytes code = read(m_compositeOffset, 2);
    code.resize(2); // what cannot be read is zero
    if (code == Bytes{0, 1}) {
        const std::int64_t start = m_compositeOffset + 2 + rows * channels * 2;
        postProgress(static_cast<double>(start));
        copyToEnd(start, output);
        m_decodesComposite = true;
        decode(path, colourModeLength + 48);
        postProgress(static_cast<double>(m_fileSize));
    } else if (code == Bytes{0, 0}) {
        copyToEnd(m_compositeOffset + 2, output);
        postProgress(static_cast<double>(m_compositeOffset + 2));
        m_mainFiles.push_back(path);
    }
}

void PlainRepair::copyToEnd(std::int64_t start, const Output& output)
{
    const std::int64_t remaining = m_fileSize - start;
    std::int64_t blocks = remaining / 4096;
    if (remaining % 4096 != 0) {
        ++blocks;
    }
    while (blocks > 0 && !aborted()) {
        const Bytes got = read(start, 4096);
        writeTested(output, got);
        start += 4096;
        --blocks;
        if (got.empty() && !aborted()) {
            const std::int64_t skipped = emptyReads(start, 4096, blocks);
            start += skipped * 4096;
            blocks -= skipped;
        }
    }
}

} // namespace talvek::model
