#include "frontend/StoppableSystem.h"

#include <cerrno>

namespace talvek {

namespace {

int refusal()
{
    errno = ECANCELED;
    return -1;
}

} // namespace

int StoppableSystem::openForReading(const std::string& path)
{
    return isStopped() ? refusal() : m_system.openForReading(path);
}

int StoppableSystem::openForAppending(const std::string& path)
{
    return isStopped() ? refusal() : m_system.openForAppending(path);
}

int StoppableSystem::create(const std::string& path)
{
    return isStopped() ? refusal() : m_system.create(path);
}

ssize_t StoppableSystem::readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset)
{
    return isStopped() ? 0 : m_system.readAt(descriptor, into, offset);
}

ssize_t StoppableSystem::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    // Taken without a word: a failure would only make the engine report what nobody waits for.
    return isStopped() ? static_cast<ssize_t>(bytes.size()) : m_system.write(descriptor, bytes);
}

int StoppableSystem::close(int descriptor)
{
    return m_system.close(descriptor);
}

std::int64_t StoppableSystem::sizeOf(int descriptor)
{
    return isStopped() ? 0 : m_system.sizeOf(descriptor);
}

std::optional<std::uint64_t> StoppableSystem::freeBytes(const std::string& path)
{
    return m_system.freeBytes(path);
}

int StoppableSystem::makeFolder(const std::string& path, mode_t mode)
{
    return isStopped() ? refusal() : m_system.makeFolder(path, mode);
}

int StoppableSystem::rename(const std::string& from, const std::string& to)
{
    return isStopped() ? refusal() : m_system.rename(from, to);
}

void StoppableSystem::bytesAccepted(std::uint64_t count)
{
    m_system.bytesAccepted(count);
}

} // namespace talvek
