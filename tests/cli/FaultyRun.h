#pragma once

#include "cli/ExitStatus.h"
#include "cli/ForwardingCalls.h"
#include "cli/Options.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>

/// The command line's work within the test's own process, over a system in which things go wrong.
namespace talvek::test {

/// Does something of a test's choice at the n-th call that reads, writes or asks, on
/// whatever thread that is.
class CallsWithFault : public ForwardingCalls
{
public:
    explicit CallsWithFault(int fatalCall = -1) : ForwardingCalls(real()), m_fatalCall(fatalCall) {}

    std::function<void()> fault = [] {};
    std::function<void(const std::string& to)> afterRename = [](const std::string&) {};
    bool exchanges = true; ///< the volume can exchange two names
    int writeError = 0;    ///< from the fatal write on, writes fail with this error

    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        count();
        return ForwardingCalls::readAt(descriptor, into, offset);
    }
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override
    {
        count();
        if (writeError != 0 && hasHappened()) {
            errno = writeError;
            return -1;
        }
        return ForwardingCalls::write(descriptor, bytes);
    }
    int rename(const std::string& from, const std::string& to) override
    {
        const int result = ForwardingCalls::rename(from, to);
        afterRename(to);
        return result;
    }
    int exchange(const std::string& one, const std::string& other) override
    {
        if (!exchanges) {
            errno = ENOTSUP;
            return -1;
        }
        const int result = ForwardingCalls::exchange(one, other);
        afterRename(other);
        return result;
    }
    std::optional<std::uint64_t> freeBytes(const std::string& path) override
    {
        count();
        return ForwardingCalls::freeBytes(path);
    }

    [[nodiscard]] bool hasHappened() const { return m_calls.load() >= m_fatalCall; }

private:
    void count()
    {
        if (++m_calls == m_fatalCall) {
            fault();
        }
    }

    int m_fatalCall;
    std::atomic<int> m_calls{0};
};

struct FaultyRun
{
    ExitStatus status = ExitStatus::salvaged;
    std::string said;    ///< on standard error
    std::string printed; ///< on standard output
};

/// Runs with JSON lines, and with no room kept free.
FaultyRun runWith(SystemCalls& calls, Options options);

} // namespace talvek::test
