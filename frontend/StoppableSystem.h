#pragma once

#include "platform/SystemCalls.h"

#include <atomic>

namespace talvek {

/// The operating system as one repair sees it, until the repair is given up: from then on nothing
/// can be read any more and nothing more is written, made or renamed, so that an engine deep in a
/// long copy comes to its end at once and leaves nothing behind in a folder that is a later
/// repair's by then. `stop` may be called from any thread.
class StoppableSystem : public SystemCalls
{
public:
    explicit StoppableSystem(SystemCalls& system) : m_system(system) {}

    void stop() { m_stopped.store(true, std::memory_order_relaxed); }

    int openForReading(const std::string& path) override;
    int openForAppending(const std::string& path) override;
    int create(const std::string& path) override;
    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override;
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;
    int close(int descriptor) override;
    std::int64_t sizeOf(int descriptor) override;
    std::optional<std::uint64_t> freeBytes(const std::string& path) override;
    int makeFolder(const std::string& path, mode_t mode) override;
    int rename(const std::string& from, const std::string& to) override;
    void bytesAccepted(std::uint64_t count) override;

private:
    [[nodiscard]] bool isStopped() const { return m_stopped.load(std::memory_order_relaxed); }

    SystemCalls& m_system;
    std::atomic<bool> m_stopped{false};
};

} // namespace talvek
