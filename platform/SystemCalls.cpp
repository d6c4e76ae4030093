#include "platform/SystemCalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace talvek {

namespace {

constexpr mode_t kNewFileMode = 0666;

/// For a file system that has no rename which refuses to replace. The look and the rename are two
/// steps, so a name that is taken between them is still lost there; nothing better is on offer.
int renameAfterLooking(const std::string& from, const std::string& to)
{
    struct stat there = {};
    if (::lstat(to.c_str(), &there) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from.c_str(), to.c_str());
}

int renameExclusively(const std::string& from, const std::string& to)
{
#if defined(__APPLE__)
    return ::renamex_np(from.c_str(), to.c_str(), RENAME_EXCL);
#else
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
#endif
}

} // namespace

int SystemCalls::openForReading(const std::string& path)
{
    return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

int SystemCalls::openForAppending(const std::string& path)
{
    return ::open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
}

int SystemCalls::create(const std::string& path)
{
    return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                  kNewFileMode);
}

ssize_t SystemCalls::readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset)
{
    return ::pread(descriptor, into.data(), into.size(), static_cast<off_t>(offset));
}

ssize_t SystemCalls::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    return ::write(descriptor, bytes.data(), bytes.size());
}

int SystemCalls::close(int descriptor)
{
    return ::close(descriptor);
}

std::int64_t SystemCalls::sizeOf(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 ? static_cast<std::int64_t>(status.st_size) : -1;
}

std::int64_t SystemCalls::nextData(int descriptor, std::int64_t offset)
{
#ifdef SEEK_DATA
    // Reads state their offsets, so moving the descriptor's own disturbs none.
    const off_t found = ::lseek(descriptor, static_cast<off_t>(offset), SEEK_DATA);
    if (found >= 0) {
        return std::max<std::int64_t>(offset, found);
    }
    if (errno == ENXIO) {
        return std::max<std::int64_t>(offset, sizeOf(descriptor));
    }
#endif
    (void)descriptor;
    return offset;
}

std::optional<std::uint64_t> SystemCalls::freeBytes(const std::string& path)
{
    struct statvfs volume = {};
    if (::statvfs(path.c_str(), &volume) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(volume.f_bavail) * volume.f_frsize;
}

int SystemCalls::makeFolder(const std::string& path, mode_t mode)
{
    return ::mkdir(path.c_str(), mode);
}

int SystemCalls::rename(const std::string& from, const std::string& to)
{
    const int result = renameExclusively(from, to);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP)) {
        return renameAfterLooking(from, to);
    }
    return result;
}

int SystemCalls::exchange(const std::string& one, const std::string& other)
{
#if defined(__APPLE__)
    return ::renamex_np(one.c_str(), other.c_str(), RENAME_SWAP);
#else
    return ::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
#endif
}

void SystemCalls::bytesAccepted(std::uint64_t /*count*/) {}

SystemCalls& SystemCalls::real()
{
    static SystemCalls system;
    return system;
}

} // namespace talvek
