#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>

namespace talvek {

/// The few calls to the operating system through which every file of a repair passes.
///
/// Handles and the file manager hold a reference to one of these and call nothing else, so a test
/// can make any of them fail, and a program can stand a smaller volume in for the real one.
/// Results are those of the POSIX call: -1 and `errno` on failure. EINTR is met by the callers.
/// Any thread.
class SystemCalls
{
public:
    virtual ~SystemCalls() = default;

    /// Opens for reading, without blocking on a FIFO or a device.
    virtual int openForReading(const std::string& path);
    /// Opens an existing file to append to it. A symbolic link is refused.
    virtual int openForAppending(const std::string& path);
    /// Creates an empty file, or empties the one that is there, open for appending. A symbolic
    /// link is refused.
    virtual int create(const std::string& path);
    /// Reads at most `into.size()` bytes at `offset`; `offset` is not negative.
    virtual ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset);
    virtual ssize_t write(int descriptor, std::span<const std::uint8_t> bytes);
    virtual int close(int descriptor);
    /// Size in bytes of the open file; -1 if it cannot be told.
    virtual std::int64_t sizeOf(int descriptor);
    /// The first offset at or behind `offset` that does not lie in a hole of a sparse file; the
    /// file's size when there is none; `offset` itself where the system cannot tell.
    virtual std::int64_t nextData(int descriptor, std::int64_t offset);
    /// Bytes that the user (not the superuser) may still write on the volume that holds `path`.
    virtual std::optional<std::uint64_t> freeBytes(const std::string& path);
    virtual int makeFolder(const std::string& path, mode_t mode);
    /// Renames without ever replacing: fails with EEXIST if something stands at `to`.
    virtual int rename(const std::string& from, const std::string& to);
    /// Exchanges two names in one step; fails with ENOTSUP, ENOSYS or EINVAL where the system or
    /// the volume cannot.
    virtual int exchange(const std::string& one, const std::string& other);

    /// Told of every byte that a writing handle has accepted, gathered or flushed. Does nothing
    /// here; a simulated volume counts them.
    virtual void bytesAccepted(std::uint64_t count);

    /// The operating system itself.
    static SystemCalls& real();
};

} // namespace talvek
