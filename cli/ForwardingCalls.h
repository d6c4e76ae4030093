#pragma once

#include "platform/SystemCalls.h"

namespace talvek {

/// System calls that hand everything on to others; the base of those that change some of them.
class ForwardingCalls : public SystemCalls
{
public:
    /// @param inner  does the work; outlives the object
    explicit ForwardingCalls(SystemCalls& inner) : m_inner(inner) {}

    int openForReading(const std::string& path) override { return m_inner.openForReading(path); }
    int openForAppending(const std::string& path) override
    {
        return m_inner.openForAppending(path);
    }
    int create(const std::string& path) override { return m_inner.create(path); }
    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        return m_inner.readAt(descriptor, into, offset);
    }
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override
    {
        return m_inner.write(descriptor, bytes);
    }
    int close(int descriptor) override { return m_inner.close(descriptor); }
    std::int64_t sizeOf(int descriptor) override { return m_inner.sizeOf(descriptor); }
    std::optional<std::uint64_t> freeBytes(const std::string& path) override
    {
        return m_inner.freeBytes(path);
    }
    int makeFolder(const std::string& path, mode_t mode) override
    {
        return m_inner.makeFolder(path, mode);
    }
    int rename(const std::string& from, const std::string& to) override
    {
        return m_inner.rename(from, to);
    }
    int exchange(const std::string& one, const std::string& other) override
    {
        return m_inner.exchange(one, other);
    }
    void bytesAccepted(std::uint64_t count) override { m_inner.bytesAccepted(count); }

private:
    SystemCalls& m_inner;
};

} // namespace talvek
