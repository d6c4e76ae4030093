#include "tests/platform/FaultySystem.h"

#include <algorithm>
#include <cerrno>

namespace talvek::test {

namespace {

int failWith(int error)
{
    errno = error;
    return -1;
}

} // namespace

std::size_t FaultySystem::allFreeQueries() const
{
    std::size_t all = 0;
    for (const auto& [path, count] : freeQueries) {
        all += count;
    }
    return all;
}

bool FaultySystem::isRefused(const std::string& path) const
{
    return !refusedName.empty() && path.size() >= refusedName.size() &&
           path.compare(path.size() - refusedName.size(), refusedName.size(), refusedName) == 0;
}

bool FaultySystem::interruptsNow()
{
    m_interruptedLast = interrupts && !m_interruptedLast;
    return m_interruptedLast;
}

int FaultySystem::openForReading(const std::string& path)
{
    opened.push_back(path);
    return isRefused(path) ? failWith(EACCES) : SystemCalls::openForReading(path);
}

int FaultySystem::openForAppending(const std::string& path)
{
    opensForWriting.push_back(path);
    return isRefused(path) ? failWith(EACCES) : SystemCalls::openForAppending(path);
}

int FaultySystem::create(const std::string& path)
{
    opensForWriting.push_back(path);
    return isRefused(path) ? failWith(EACCES) : SystemCalls::create(path);
}

ssize_t FaultySystem::readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset)
{
    ++reads;
    if (beforeRead) {
        beforeRead();
    }
    if (interruptsNow()) {
        return failWith(EINTR);
    }
    std::size_t count = std::min(into.size(), mostAtOnce);
    if (unreadable && offset < unreadable->to) {
        if (offset >= unreadable->from) {
            return failWith(EIO);
        }
        count = std::min(count, static_cast<std::size_t>(unreadable->from - offset));
    }
    return SystemCalls::readAt(descriptor, into.first(count), offset);
}

ssize_t FaultySystem::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    if (interruptsNow()) {
        return failWith(EINTR);
    }
    ++writes;
    if (writes == failingWrite || (failsForGood && failingWrite != 0 && writes > failingWrite)) {
        return failWith(ENOSPC);
    }
    const ssize_t count =
        SystemCalls::write(descriptor, bytes.first(std::min(bytes.size(), mostAtOnce)));
    writtenBytes.push_back(count);
    return count;
}

std::optional<std::uint64_t> FaultySystem::freeBytes(const std::string& path)
{
    ++freeQueries[path];
    if (!knowsFreeBytes) {
        return std::nullopt;
    }
    if (freeAtFirst) {
        return *freeAtFirst - std::min(*freeAtFirst, accepted);
    }
    return SystemCalls::freeBytes(path);
}

int FaultySystem::makeFolder(const std::string& path, mode_t mode)
{
    return makesFolders ? SystemCalls::makeFolder(path, mode) : failWith(EACCES);
}

int FaultySystem::rename(const std::string& from, const std::string& to)
{
    return moves ? SystemCalls::rename(from, to) : failWith(EACCES);
}

} // namespace talvek::test
