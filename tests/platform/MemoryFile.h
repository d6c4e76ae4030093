#pragma once

#include "platform/SystemCalls.h"
#include "tests/support/Bytes.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace talvek::test {

/// A system that has one file, in memory, and counts how often it is read. One thread at a time.
class MemoryFile : public SystemCalls
{
public:
    explicit MemoryFile(Bytes contents) : bytes(std::move(contents)) {}

    Bytes bytes;
    std::size_t reads = 0;
    std::uint64_t bytesRead = 0;

    int openForReading(const std::string& /*path*/) override { return 0; }
    int close(int /*descriptor*/) override { return 0; }
    std::int64_t nextData(int /*descriptor*/, std::int64_t offset) override { return offset; }
    std::int64_t sizeOf(int /*descriptor*/) override
    {
        return static_cast<std::int64_t>(bytes.size());
    }

    ssize_t readAt(int /*descriptor*/, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        ++reads;
        if (offset < 0) {
            errno = EINVAL;
            return -1;
        }
        const auto from = std::min(static_cast<std::size_t>(offset), bytes.size());
        const std::size_t count = std::min(into.size(), bytes.size() - from);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), count, into.begin());
        bytesRead += count;
        return static_cast<ssize_t>(count);
    }
};

} // namespace talvek::test
