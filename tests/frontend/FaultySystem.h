#pragma once

#include "platform/SystemCalls.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace talvek::test {

/// The operating system with a hand on it: reading can be held up, writes can fail, a volume can
/// be as small as a test wants it.
class FaultySystem : public SystemCalls
{
public:
    std::atomic<bool> holdReads{false};
    std::atomic<int> heldReads{0};
    std::atomic<bool> failWrites{false};
    std::atomic<std::int64_t> freeBytesLeft{-1};  ///< as it is, while negative
    std::atomic<std::int64_t> unreadableFrom{-1}; ///< no offset, while negative
    std::atomic<int> holdWritesMilliseconds{0};

    /// Where reads have begun since they were last forgotten.
    [[nodiscard]] std::set<std::int64_t> offsetsRead() const
    {
        const std::lock_guard lock(m_mutex);
        return m_offsetsRead;
    }
    void forgetReads()
    {
        const std::lock_guard lock(m_mutex);
        m_offsetsRead.clear();
    }

    /// Nothing is free there, and as much as it is elsewhere.
    void fillVolumeAt(const std::string& path)
    {
        const std::lock_guard lock(m_mutex);
        m_fullPath = path;
    }

    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        {
            const std::lock_guard lock(m_mutex);
            m_offsetsRead.insert(offset);
        }
        const bool isHeld = std::this_thread::get_id() != m_testThread;
        heldReads += isHeld && holdReads ? 1 : 0;
        while (isHeld && holdReads) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        const std::int64_t from = unreadableFrom;
        if (from >= 0 && offset >= from) {
            errno = EIO;
            return -1;
        }
        if (from >= 0) {
            into = into.first(std::min(into.size(), static_cast<std::size_t>(from - offset)));
        }
        return SystemCalls::readAt(descriptor, into, offset);
    }
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(holdWritesMilliseconds));
        if (failWrites) {
            errno = ENOSPC;
            return -1;
        }
        return SystemCalls::write(descriptor, bytes);
    }
    std::optional<std::uint64_t> freeBytes(const std::string& path) override
    {
        {
            const std::lock_guard lock(m_mutex);
            if (path == m_fullPath) {
                return 0;
            }
        }
        const std::int64_t left = freeBytesLeft;
        return left < 0 ? SystemCalls::freeBytes(path)
                        : std::optional(static_cast<std::uint64_t>(left));
    }

private:
    mutable std::mutex m_mutex;
    std::set<std::int64_t> m_offsetsRead;
    std::string m_fullPath;
    /// Reads of the test's own thread are never held up: nobody could let them go on.
    const std::thread::id m_testThread = std::this_thread::get_id();
};

} // namespace talvek::test
