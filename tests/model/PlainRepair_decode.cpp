#include "tests/model/PlainRepair.h"

#include <algorithm>

namespace talvek::model {

namespace {

constexpr std::int64_t kBlockBytes = 1024;
constexpr std::int64_t kReadBytes = 2048;

} // namespace

void PlainRepair::decode(const std::string& path, std::int64_t prefixLength)
{
    const Output file = m_files.open(path);
    const Bytes input = file ? *file : Bytes();
    const Bytes prefix = read(input, 0, prefixLength);
    const std::string workPath = m_folder + "/decode_" + lastComponent(path);
    Decoding decoding = {input, nullptr, prefixLength, 0, Bytes(kReadBytes), 0};
    if (!hasRoomFor(prefixLength)) {
        abortProgram();
    } else if (create(workPath, prefix)) {
        decoding.output = m_files.open(workPath);
    }
    const std::int64_t remaining = static_cast<std::int64_t>(input.size()) - prefixLength;
    std::int64_t blocks = remaining / kBlockBytes;
    if (remaining % kBlockBytes != 0) {
        ++blocks;
    }
    if (prefixLength < 0) {
        // The prefix was the whole file; there is nothing behind it.
    } else if (blocks == 1) {
        decodeSingleBlock(decoding);
    } else {
        decodeBlocks(decoding, remaining);
    }
    finishDecoding(path, workPath);
}

void PlainRepair::decodeBlocks(Decoding& decoding, std::int64_t remaining)
{
    while (decoding.consumed < remaining && !aborted()) {
        const Bytes got = read(decoding.input, decoding.position, kReadBytes);
        std::copy(got.begin(), got.end(), decoding.block.begin());
        decoding.index = 0;
        // Not bounded by what was read: the last block goes on into what was left there before.
        while (decoding.index < static_cast<std::size_t>(kBlockBytes) && !aborted()) {
            decodeOne(decoding);
        }
    }
}

void PlainRepair::decodeSingleBlock(Decoding& decoding)
{
    const Bytes got = read(decoding.input, decoding.position, kBlockBytes);
    std::copy(got.begin(), got.end(), decoding.block.begin());
    while (decoding.index < got.size() && !aborted()) {
        decodeOne(decoding);
    }
}

/// One control byte with its data.
void PlainRepair::decodeOne(Decoding& decoding)
{
    const auto at = decoding.block.begin() + static_cast<std::ptrdiff_t>(decoding.index);
    const int control = static_cast<std::int8_t>(*at);
    std::int64_t taken = 1;
    Bytes run;
    if (control >= 0) {
        run.assign(at + 1, at + 1 + control + 1);
        taken = control + 2;
    } else if (control != -128) {
        run.assign(static_cast<std::size_t>(1 - control), at[1]);
        taken = 2;
    }
    decoding.position += taken;
    decoding.consumed += taken;
    decoding.index += static_cast<std::size_t>(taken);
    if (control != -128) {
        writeTested(decoding.output, run);
    }
}

/// Takes place after an abort too: then the document is replaced by what was decoded of it.
void PlainRepair::finishDecoding(const std::string& path, const std::string& workPath)
{
    const std::string finalPath = folderOf(workPath) + "/" + lastComponent(path);
    m_files.remove(path);
    m_files.move(workPath, finalPath);
    (m_decodesComposite ? m_mainFiles : m_secondaryFiles).push_back(finalPath);
}

} // namespace talvek::model
