#pragma once

#include "cli/ForwardingCalls.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace talvek {

/// Counts what a run writes, and remembers what first kept it from writing. Any thread.
class WriteMeter : public ForwardingCalls
{
public:
    using ForwardingCalls::ForwardingCalls;

    int openForAppending(const std::string& path) override;
    int create(const std::string& path) override;
    int makeFolder(const std::string& path, mode_t mode) override;
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;

    [[nodiscard]] std::uint64_t writtenBytes() const { return m_writtenBytes.load(); }
    /// `errno` of the first call that failed; 0 if none did.
    [[nodiscard]] int error() const { return m_error.load(); }

private:
    int noted(int result);

    std::atomic<std::uint64_t> m_writtenBytes{0};
    std::atomic<int> m_error{0};
};

} // namespace talvek
