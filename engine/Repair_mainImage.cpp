#include "engine/ChunkedScan.h"
#include "engine/Repair.h"
#include "engine/Repair_outputs.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace talvek {

namespace {

using CompressionCode = std::array<std::uint8_t, 2>;
constexpr CompressionCode kRaw = {0, 0};
constexpr CompressionCode kPackBits = {0, 1};
constexpr std::int64_t kCodeBytes = 2;

/// The height in the header. It passes through the field of all lengths, like any other.
constexpr std::ptrdiff_t kRowsAt = 14;

/// Header and colour-mode length field, which stand before the colour-mode data.
constexpr std::int64_t kHeadBytes = 30;

} // namespace

void Repair::mainImage()
{
    CompressionCode code = {};
    fileHandle.read(mainImageOffset, code);
    const std::int64_t colorModeLength = readLength(ColorModeOffset);
    const std::string path = recoverFileLocationField + "/" + fileName + "_repaired.psd";
    startRebuiltDocument(path, kHeadBytes + colorModeLength);
    std::copy_n(fileHeaderInformation.begin() + kRowsAt, temporary.size(), temporary.begin());
    if (code == kPackBits) {
        decodePackedComposite(path, colorModeLength);
        postProgressAt(fileSize);
    } else if (code == kRaw) {
        offsetForProgressBar = static_cast<double>(mainImageOffset + kCodeBytes);
        copyComposite(path, mainImageOffset + kCodeBytes);
        postProgress();
        offsetForProgressBar = static_cast<double>(fileSize);
        mainFileArray.push_back(path);
    }
    // Any other code leaves a document without a picture, which is not listed.
}

/// Creates the document with the damaged one's first `headBytes` bytes and empty sections.
void Repair::startRebuiltDocument(const std::string& path, std::int64_t headBytes)
{
    Volume& volume = outputVolume();
    const std::int64_t readable = readableBytes(fileHandle, 0, headBytes);
    const bool fits = hasRoomFor(volume, static_cast<std::uint64_t>(readable));
    if (fits) {
        createOutput(path, {});
    } else {
        abortProgram();
    }
    OpenOutput output(*this, path);
    if (fits) {
        copyOneRead(fileHandle, 0, headBytes, output.handle());
    }
    if (hasRoomFor(volume, kEmptySections.size())) {
        append(output.handle(), kEmptySections);
    } else {
        abortProgram();
    }
}

std::int64_t Repair::packedCompositeOffset() const
{
    constexpr std::size_t kChannelsAt = 12;
    constexpr std::int64_t kRowCountBytes = 2;
    const std::span<const std::uint8_t> header = fileHeaderInformation;
    const std::int64_t channels = sizeOfLength(header.subspan(kChannelsAt), 2);
    const std::int64_t rows = sizeOfLength(temporary, 4);
    // The row table is skipped: the rebuilt document declares raw data.
    return mainImageOffset + kCodeBytes + rows * channels * kRowCountBytes;
}

void Repair::decodePackedComposite(const std::string& path, std::int64_t colorModeLength)
{
    const std::int64_t start = packedCompositeOffset();
    postProgressAt(start);
    boolValue = true;
    if (!decodeDraftOfComposite(path, colorModeLength, start)) {
        copyComposite(path, start);
        decodeImage(path, colorModeLength + kSalvagedHeadBytes);
    }
}

/// Decodes the composite from where it stands, without a packed copy of it.
/// @return false, with nothing done, if the volume may not have room for that copy, or if the
/// composite cannot be read without a gap
bool Repair::decodeDraftOfComposite(const std::string& path, std::int64_t colorModeLength,
                                    std::int64_t start)
{
    const std::int64_t packed = readableBytes(fileHandle, start, -1);
    if (isAborted() || start < 0 ||
        !m_ledger->hasRoomToSpare(outputVolume(), static_cast<std::uint64_t>(packed))) {
        return false;
    }
    PackedDraft draft(fileHandle);
    draft.appendRange(0, kHeadBytes + colorModeLength);
    draft.appendOwn(kEmptySections);
    draft.appendRange(start, packed);
    countUnwritten(packed);
    if (!decodeDraft(draft, path, colorModeLength + kSalvagedHeadBytes)) {
        return false;
    }
    SystemLog::write(std::to_string(static_cast<std::uint64_t>(start)));
    return true;
}

/// Appends everything from `start` on to the document that was begun at `path`.
void Repair::copyComposite(const std::string& path, std::int64_t start)
{
    OpenOutput output(*this, path);
    readDAtaUptoEndFileAndStoreForMainImage(fileHandle, start, output.handle());
}

void Repair::readDAtaUptoEndFileAndStoreForMainImage(ReadingFileHandle& input, std::int64_t start,
                                                     WritingFileHandle& output)
{
    constexpr std::size_t kBlockBytes = 4096;
    const std::int64_t remaining = filemgr.fileSizeAtPath(filePath) - start;
    SystemLog::write(std::to_string(static_cast<std::uint64_t>(start)));
    copyBlocks(input, start, blockCount(remaining, kBlockBytes), kBlockBytes, output);
}

} // namespace talvek
