#pragma once

#include "recovery/SourceBytes.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace talvek::recovery {

/// Inflates a zlib stream from a file, a block at a time. Memory: about 100 KiB.
class ZipStream
{
public:
    ZipStream(SourceBytes& source, std::int64_t offset, std::int64_t limit);
    ~ZipStream();
    ZipStream(const ZipStream&) = delete;
    ZipStream& operator=(const ZipStream&) = delete;

    /// Fills `into`; short at the end of the stream, at the limit, or where the stream is broken.
    std::size_t read(std::span<std::uint8_t> into);
    /// The stream has come to its end, and its checksum agrees.
    [[nodiscard]] bool isProved() const { return m_proved; }
    /// Bytes taken from the file so far.
    [[nodiscard]] std::int64_t consumed() const;

private:
    struct Inflater;

    SourceBytes& m_source;
    std::int64_t m_start;
    std::int64_t m_at;
    std::int64_t m_limit;
    bool m_proved = false;
    bool m_over = false;
    std::unique_ptr<Inflater> m_inflater;
};

/// What a whole stream comes to.
struct ZipExtent
{
    bool isProved = false;
    std::int64_t consumed = 0;
    std::int64_t produced = 0;
};

/// Runs through the stream at `offset`, making at most `mostProduced` bytes.
ZipExtent measureZip(SourceBytes& source, std::int64_t offset, std::int64_t limit,
                     std::int64_t mostProduced);

/// Two bytes at `offset` are those with which a zlib stream begins.
bool isZipHeader(SourceBytes& source, std::int64_t offset);

} // namespace talvek::recovery
