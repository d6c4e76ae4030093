#include "frontend/FileCopier.h"

#include "platform/PathString.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

namespace talvek {

namespace {

constexpr std::int64_t kCopyUnitBytes = 1024;
/// Often enough for a bar that moves, and seldom enough for an event loop.
constexpr std::int64_t kChunksBetweenWords = 1024;

/// Leaves room for what is put around the name, on volumes that take 255 bytes.
constexpr std::size_t kMostOfName = 200;

/// A name that nothing has: what the user calls so is neither overwritten nor taken away.
std::string freePartPath(const FileManager& files, const std::string& destination)
{
    const std::string start = appendingPathComponent(
        deletingLastPathComponent(destination),
        "." + cutToBytes(lastPathComponent(destination), kMostOfName) + ".part");
    std::int64_t number = 1;
    while (files.existsAtPath(start + std::to_string(number))) {
        ++number;
    }
    return start + std::to_string(number);
}

} // namespace

std::int64_t FileCopier::chunksOf(std::int64_t bytes)
{
    return (bytes >> 10) + ((bytes & (kCopyUnitBytes - 1)) != 0 ? 1 : 0);
}

CopyResult FileCopier::copyAll(const std::vector<FileCopy>& files, const std::string& newFolder,
                               const Progress& progress)
{
    m_progress = progress;
    m_done = {};
    m_madeFolders.clear();
    m_parts.assign(files.size(), {});
    std::vector<bool> isWhole(files.size(), false);
    for (std::size_t index = 0; index < files.size() && !m_cancel; ++index) {
        isWhole[index] = copyPart(files[index], m_parts[index]);
        ++m_done.files;
        tell();
    }
    // Decided here once: from now on it is too late to cancel.
    CopyResult result{m_cancel};
    if (result.wasCancelled) {
        discard(newFolder);
        return result;
    }
    for (std::size_t index = 0; index < files.size(); ++index) {
        giveName({m_parts[index], files[index].destination}, isWhole[index], result);
    }
    return result;
}

void FileCopier::tell() const
{
    if (m_progress) {
        m_progress(m_done);
    }
}

bool FileCopier::copyPart(const FileCopy& file, std::string& part)
{
    makeFolderOf(file.destination);
    part = freePartPath(m_files, file.destination);
    const bool isWhole = copyFile({file.source, part});
    if (!m_files.existsAtPath(part)) {
        // The next file may be given that very name, and is not this one.
        part.clear();
    }
    return isWhole && !part.empty();
}

/// Notes the folders that are missing, so that they can go again if the copying is cancelled.
void FileCopier::makeFolderOf(const std::string& destination)
{
    const std::string folder = deletingLastPathComponent(destination);
    std::vector<std::string> missing;
    for (std::string at = folder; !at.empty() && !m_files.existsAtPath(at);
         at = deletingLastPathComponent(at)) {
        missing.push_back(at);
    }
    // So that in the end those that lie within others come before them.
    m_madeFolders.insert(m_madeFolders.begin(), missing.begin(), missing.end());
    if (!missing.empty()) {
        m_files.createFolders(folder, FileManager::kSharedFolder);
    }
}

bool FileCopier::copyFile(const FileCopy& file)
{
    if (!m_files.createFile(file.destination, {})) {
        return false;
    }
    WritingFileHandle output = m_files.openForWriting(file.destination);
    ReadingFileHandle input = m_files.openForReading(file.source);
    const std::int64_t size = m_files.fileSizeAtPath(file.source);
    const bool isRead = input.isOpen() && copyChunks(input, size, output);
    const bool isWritten = output.isOpen() && output.close();
    return isRead && isWritten && m_files.fileSizeAtPath(file.destination) == size;
}

/// A chunk that cannot be read is left out; the rest goes on. One that is short because the file
/// has come to end earlier than it did is no error: what there is of it is copied.
bool FileCopier::copyChunks(ReadingFileHandle& input, std::int64_t size, WritingFileHandle& output)
{
    std::array<std::uint8_t, kCopyUnitBytes> buffer = {};
    bool isWhole = true;
    for (std::int64_t chunk = 0; chunk < chunksOf(size); ++chunk) {
        if (m_cancel) {
            return false;
        }
        const std::int64_t offset = chunk * kCopyUnitBytes;
        const auto wanted = static_cast<std::size_t>(std::min(kCopyUnitBytes, size - offset));
        const auto bytes = std::span(buffer).first(wanted);
        const std::size_t count = input.read(offset, bytes);
        isWhole = isWhole && count == wanted;
        if (count == wanted || offset + static_cast<std::int64_t>(count) >= input.size()) {
            output.append(bytes.first(count));
        }
        m_done.bytes += static_cast<std::int64_t>(wanted);
        if (chunk % kChunksBetweenWords == kChunksBetweenWords - 1) {
            tell();
        }
    }
    return isWhole;
}

/// @param part  its source is the copy so far; empty if none could be made
void FileCopier::giveName(const FileCopy& part, bool isWhole, CopyResult& result)
{
    if (!isWhole) {
        result.incompleteFiles.push_back(lastPathComponent(part.destination));
        if (part.source.empty()) {
            return;
        }
        if (m_files.existsAtPath(part.destination)) {
            m_files.removeItem(part.source);
            return;
        }
    }
    std::error_code error;
    std::filesystem::rename(part.source, part.destination, error);
    if (error && isWhole) {
        m_files.removeItem(part.source);
        result.incompleteFiles.push_back(lastPathComponent(part.destination));
    }
}

void FileCopier::discard(const std::string& newFolder)
{
    if (!newFolder.empty()) {
        m_files.removeItem(newFolder);
        return;
    }
    for (const std::string& part : m_parts) {
        if (!part.empty()) {
            m_files.removeItem(part);
        }
    }
    // None that somebody has put something into meanwhile.
    for (const std::string& folder : m_madeFolders) {
        std::error_code ignored;
        std::filesystem::remove(folder, ignored);
    }
}

} // namespace talvek
