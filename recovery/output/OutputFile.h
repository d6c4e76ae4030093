#pragma once

#include "platform/FileManager.h"
#include "recovery/PlaneReader.h"

#include <cstdint>
#include <span>
#include <string>

namespace talvek::recovery::output {

/// A file that is whole in the end, or is not there. One thread at a time.
class OutputFile
{
public:
    OutputFile(FileManager& files, std::string path);
    /// Removes the file unless it was closed whole.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void append(std::span<const std::uint8_t> bytes) { m_handle.append(bytes); }
    void append(std::string_view text);
    [[nodiscard]] bool hasFailed() const { return !m_created || m_handle.hasFailed(); }
    /// @return true if every byte reached the file
    bool close();

private:
    FileManager& m_files;
    std::string m_path;
    bool m_created;
    bool m_whole = false;
    WritingFileHandle m_handle;
};

/// Copies a range of a source in blocks, as far as it can be read.
/// @return bytes copied, or -1 if they could not be written
std::int64_t copyRange(SourceFiles& sources, const ByteRange& range, OutputFile& file);

} // namespace talvek::recovery::output
