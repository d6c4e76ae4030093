#include "engine/ChunkedScan.h"
#include "engine/PackBits.h"
#include "engine/Repair.h"
#include "engine/Repair_outputs.h"
#include "platform/PathString.h"

#include <array>
#include <optional>
#include <utility>

namespace talvek {

namespace {

/// A run that opens within the first 1024 bytes of the buffer ends within its 2048, so every run is
/// whole in one buffer and the next read starts at the next control byte.
constexpr std::size_t kBlockBytes = 1024;
using BlockBuffer = std::array<std::uint8_t, 2 * kBlockBytes>;

} // namespace

void Repair::decodeImage(const std::string& path, std::int64_t prefixLength)
{
    const std::string workPath = workPathFor(path);
    ReadingFileHandle input;
    if (!isInRootFolder(path)) {
        input = filemgr.openForReading(path);
    }
    decodeToWorkFile(input, prefixLength, workPath);
    replaceByDecoded(path, workPath);
}

std::string Repair::workPathFor(const std::string& path) const
{
    return recoverFileLocationField + "/decode_" + lastPathComponent(path);
}

void Repair::decodeToWorkFile(ByteSource& input, std::int64_t prefixLength,
                              const std::string& workPath)
{
    if (hasRoomForStated(outputVolume(), prefixLength)) {
        createOutput(workPath, {});
    } else {
        abortProgram();
    }
    OpenOutput output(*this, workPath);
    copyOneRead(input, 0, prefixLength, output.handle());
    const std::int64_t remaining = prefixLength < 0 ? 0 : input.size() - prefixLength;
    if (blockCount(remaining, static_cast<std::int64_t>(kBlockBytes)) == 1) {
        decodeSingleBlock(input, prefixLength, output.handle());
    } else {
        decodeManyBlocks(input, prefixLength, remaining, output.handle());
    }
}

/// As `decodeImage`, of a document that was not written to `path`.
/// @return false, with nothing done, if the draft could not be read: then it has to be written
bool Repair::decodeDraft(PackedDraft& draft, const std::string& path, std::int64_t prefixLength)
{
    const std::string workPath = workPathFor(path);
    decodeToWorkFile(draft, prefixLength, workPath);
    if (draft.hasFailed() && !isAborted()) {
        filemgr.removeItem(workPath);
        return false;
    }
    replaceByDecoded(path, workPath);
    return true;
}

/// The loop goes by the buffer, not by what the last read returned: behind a short read it decodes
/// what earlier reads left in the buffer. What that makes trails the picture, behind the planes
/// that the header tells a viewer to take.
void Repair::decodeManyBlocks(ByteSource& input, std::int64_t position, std::int64_t remaining,
                              WritingFileHandle& output)
{
    Volume& volume = outputVolume();
    BlockBuffer buffer = {};
    std::int64_t consumed = 0;
    std::optional<std::int64_t> skipped; // where the block began that the buffer was spared
    while (consumed < remaining && !isAborted()) {
        const std::int64_t start = position + consumed;
        std::span<const std::uint8_t> block = input.inPlace(start, buffer.size());
        if (!block.empty()) {
            skipped = start;
        } else {
            if (skipped) {
                input.read(*std::exchange(skipped, std::nullopt), buffer);
            }
            input.read(start, buffer);
            block = buffer;
        }
        consumed += static_cast<std::int64_t>(decodeBlock(block, volume, output));
    }
}

/// A short stream is decoded by the bytes that it has. Its room is looked for on the applications'
/// volume, not on the output's.
void Repair::decodeSingleBlock(ByteSource& input, std::int64_t position, WritingFileHandle& output)
{
    Volume& volume = applicationsVolume();
    BlockBuffer buffer = {};
    const std::size_t read = input.read(position, std::span(buffer).first(kBlockBytes));
    decodeRuns(buffer, read, volume, output);
}

/// Decodes the runs that open before `opensBefore`, each after its test for room.
/// @return the packed bytes that they take
std::size_t Repair::decodeRuns(std::span<const std::uint8_t> packed, std::size_t opensBefore,
                               Volume& volume, WritingFileHandle& output)
{
    std::size_t taken = 0;
    while (taken < opensBefore && !isAborted()) {
        taken += decodeRun(packed.subspan(taken), volume, output);
    }
    return taken;
}

/// As `decodeRuns` over a block. Where whatever it makes fits with room to spare, one test stands
/// for those of all its runs.
std::size_t Repair::decodeBlock(std::span<const std::uint8_t> packed, Volume& volume,
                                WritingFileHandle& output)
{
    constexpr std::size_t kMost = mostPlainBytes(kBlockBytes);
    if (!m_ledger->hasRoomToSpare(volume, kMost)) {
        return decodeRuns(packed, kBlockBytes, volume, output);
    }
    const PackBitsTotals totals = expandPackBitsRuns(packed, kBlockBytes, output.room(kMost));
    output.commit(totals.plainBytes);
    noteWritten(output, totals.plainBytes);
    return totals.packedBytes;
}

/// Expands the run at the start of `packed` into the output, if there is room for it.
/// @return the packed bytes that it takes
std::size_t Repair::decodeRun(std::span<const std::uint8_t> packed, Volume& volume,
                              WritingFileHandle& output)
{
    const PackBitsRun run = packBitsRun(packed.front());
    if (run.plainBytes == 0) {
        return run.packedBytes;
    }
    if (hasRoomFor(volume, run.plainBytes)) {
        expandPackBitsRun(run, packed, output.room(run.plainBytes));
        output.commit(run.plainBytes);
        noteWritten(output, run.plainBytes);
    } else {
        abortProgram();
    }
    return run.packedBytes;
}

/// After an abort too: the decoded document, as far as it goes, takes the place of the packed one.
void Repair::replaceByDecoded(const std::string& path, const std::string& workPath)
{
    const std::string finalPath =
        appendingPathComponent(deletingLastPathComponent(workPath), lastPathComponent(path));
    if (!isInRootFolder(path)) {
        filemgr.removeItem(path);
    }
    if (!isInRootFolder(workPath)) {
        filemgr.moveItem(workPath, finalPath);
    }
    (boolValue ? mainFileArray : mutableStringArray).push_back(finalPath);
}

} // namespace talvek
