#pragma once

#include "platform/FileHandle.h"
#include "recovery/PlaneReader.h"

#include <cstdint>
#include <span>
#include <string>

namespace talvek::recovery {

/// Appends numbers and ranges of the sources to a file in the format's byte order.
class DocumentOutput
{
public:
    DocumentOutput(WritingFileHandle handle, SourceFiles& sources)
        : m_handle(std::move(handle)), m_sources(sources)
    {}

    void number(std::uint64_t value, int count);
    void u8(std::uint32_t value) { number(value, 1); }
    void u16(std::int64_t value) { number(static_cast<std::uint64_t>(value), 2); }
    void u32(std::int64_t value) { number(static_cast<std::uint64_t>(value), 4); }
    void bytes(std::span<const std::uint8_t> bytes);
    void text(const std::string& text);
    /// As many bytes of one value.
    void fill(std::int64_t count, std::uint8_t value = 0);
    /// The range as it is; zeros for what cannot be read any more.
    void copy(const ByteRange& range);
    /// Bytes written so far.
    [[nodiscard]] std::int64_t written() const { return m_written; }
    bool close() { return m_handle.close(); }

private:
    WritingFileHandle m_handle;
    SourceFiles& m_sources;
    std::int64_t m_written = 0;
};

} // namespace talvek::recovery
