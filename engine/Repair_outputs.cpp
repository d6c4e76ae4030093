#include "engine/Repair_outputs.h"

#include "engine/ChunkedScan.h"
#include "platform/PathString.h"

#include <algorithm>
#include <array>

namespace talvek {

bool isInRootFolder(const std::string& path)
{
    return deletingLastPathComponent(path) == "/";
}

Repair::OpenOutput::OpenOutput(Repair& repair, const std::string& path) : m_repair(repair)
{
    if (!isInRootFolder(path)) {
        m_handle = repair.filemgr.openForWriting(path);
    }
    repair.m_ledger->addOutput(m_handle);
}

Repair::OpenOutput::~OpenOutput()
{
    m_repair.m_ledger->removeOutput(m_handle);
    m_repair.reportFailure(!m_handle.close());
}

Repair::Volume& Repair::outputVolume()
{
    return m_ledger->volumeAt(deletingLastPathComponent(tempLocation));
}

/// The applications' folder, where there is one.
Repair::Volume& Repair::applicationsVolume()
{
    constexpr const char* kApplications = "/Applications";
    return filemgr.existsAtPath(kApplications) ? m_ledger->volumeAt(kApplications) : outputVolume();
}

bool Repair::hasRoomFor(Volume& volume, std::uint64_t count)
{
    fileAttributes.systemFreeSize = m_ledger->freeBytes(volume, count);
    freeSpace = fileAttributes.systemFreeSize;
    return freeSpace > count;
}

/// Against a length as the document states it: a negative one is less than any free space.
bool Repair::hasRoomForStated(Volume& volume, std::int64_t length)
{
    return length < 0 || hasRoomFor(volume, static_cast<std::uint64_t>(length));
}

bool Repair::createOutput(const std::string& path, std::span<const std::uint8_t> contents)
{
    if (isInRootFolder(path) || !filemgr.createFile(path, contents)) {
        return false;
    }
    m_ledger->noteWritten(contents.size());
    return true;
}

void Repair::append(WritingFileHandle& output, std::span<const std::uint8_t> bytes)
{
    output.append(bytes);
    noteWritten(output, bytes.size());
}

void Repair::noteWritten(const WritingFileHandle& output, std::size_t count)
{
    if (output.isOpen()) {
        m_ledger->noteWritten(count);
        reportFailure(output.hasFailed());
    }
}

/// Bytes of a document that is not written, because it would be decoded and deleted at once. They
/// count all the same: a volume that is nearly full must stop the run at the same place.
void Repair::countUnwritten(std::int64_t count)
{
    filemgr.system().bytesAccepted(static_cast<std::uint64_t>(count));
    m_ledger->noteWritten(static_cast<std::uint64_t>(count));
}

/// A write failed although its test passed: the run aborts, and says so once.
void Repair::reportFailure(bool failed)
{
    if (failed && !m_writeFailureReported) {
        m_writeFailureReported = true;
        abortProgram();
    }
}

/// Appends what one read of `count` bytes at `offset` returns, to the end of `input` for a negative
/// count. It goes in blocks, so that no length takes memory.
void Repair::copyOneRead(ByteSource& input, std::int64_t offset, std::int64_t count,
                         WritingFileHandle& output)
{
    std::array<std::uint8_t, 64U << 10U> block;
    std::int64_t left = readableBytes(input, offset, count);
    while (left > 0) {
        const auto wanted =
            static_cast<std::size_t>(std::min(left, static_cast<std::int64_t>(block.size())));
        const std::size_t read = input.read(offset, std::span(block).first(wanted));
        append(output, std::span(block).first(read));
        if (read < wanted) {
            return;
        }
        offset += static_cast<std::int64_t>(read);
        left -= static_cast<std::int64_t>(read);
    }
}

/// Appends `blocks` blocks, each after its own test for room; an abort ends the row.
/// @return the offset behind the last block that was tried
std::int64_t Repair::copyBlocks(ReadingFileHandle& input, std::int64_t offset, std::int64_t blocks,
                                std::size_t blockBytes, WritingFileHandle& output)
{
    std::array<std::uint8_t, 4096> buffer;
    const auto block = std::span(buffer).first(blockBytes);
    const auto step = static_cast<std::int64_t>(blockBytes);
    Volume& volume = outputVolume();
    while (blocks > 0 && !isAborted()) {
        const std::size_t read = input.read(offset, block);
        std::int64_t done = 1;
        if (!hasRoomFor(volume, read)) {
            abortProgram();
        } else if (read > 0) {
            append(output, block.first(read));
        } else {
            // The test that has just passed stands for every block of the row: none writes.
            done = std::max<std::int64_t>(1, emptyBlocks(offset, blocks, step, input.size()));
        }
        offset += done * step;
        blocks -= done;
    }
    return offset;
}

void Repair::layerImages(WritingFileHandle& output, std::int64_t offset, std::int64_t length)
{
    constexpr std::size_t kBlockBytes = 1024;
    const std::int64_t end = offset + length;
    const std::int64_t blocks = length / static_cast<std::int64_t>(kBlockBytes);
    const std::int64_t reached = copyBlocks(fileHandle, offset, blocks, kBlockBytes, output);
    // After an abort too: what is left is one read more, written if there is room for all of it.
    const std::int64_t left = readableBytes(fileHandle, reached, end - reached);
    if (!hasRoomFor(outputVolume(), static_cast<std::uint64_t>(left))) {
        abortProgram();
        return;
    }
    copyOneRead(fileHandle, reached, end - reached, output);
}

} // namespace talvek
