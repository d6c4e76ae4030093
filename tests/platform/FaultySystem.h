#pragma once

#include "platform/SystemCalls.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace talvek::test {

/// The operating system, with every call counted and with any of them made to fail.
///
/// The faults are public fields; each is off until a test sets it. One thread at a time.
class FaultySystem : public SystemCalls
{
public:
    struct Extent
    {
        std::int64_t from = 0;
        std::int64_t to = 0; ///< behind the last byte
    };

    // What was asked so far.
    std::size_t reads = 0;
    std::size_t writes = 0;
    std::map<std::string, std::size_t> freeQueries; ///< by path
    std::vector<std::string> opened;                ///< paths, for reading
    std::vector<std::string> opensForWriting;       ///< paths, created or appended to
    std::vector<std::int64_t> writtenBytes;         ///< of each write that succeeded
    std::uint64_t accepted = 0;                     ///< bytes, gathered or written

    // What goes wrong.
    std::size_t mostAtOnce = std::numeric_limits<std::size_t>::max(); ///< of one read or write
    bool interrupts = false;                  ///< every other read and write gives EINTR first
    std::optional<Extent> unreadable;         ///< a read stops before it, and gives EIO in it
    std::size_t failingWrite = 0;             ///< this write (1 is the first) gives ENOSPC
    bool failsForGood = true;                 ///< so does every later one
    std::optional<std::uint64_t> freeAtFirst; ///< then less by what is accepted; never below 0
    bool knowsFreeBytes = true;
    bool makesFolders = true;
    bool moves = true;
    std::string refusedName;          ///< a path that ends so is not created and not opened
    std::function<void()> beforeRead; ///< something that happens meanwhile

    [[nodiscard]] std::size_t allFreeQueries() const;

    int openForReading(const std::string& path) override;
    int openForAppending(const std::string& path) override;
    int create(const std::string& path) override;
    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override;
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;
    std::optional<std::uint64_t> freeBytes(const std::string& path) override;
    int makeFolder(const std::string& path, mode_t mode) override;
    int rename(const std::string& from, const std::string& to) override;
    void bytesAccepted(std::uint64_t count) override { accepted += count; }

private:
    [[nodiscard]] bool isRefused(const std::string& path) const;
    bool interruptsNow();

    bool m_interruptedLast = false;
};

} // namespace talvek::test
