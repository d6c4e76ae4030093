#pragma once

#include "cli/ForwardingCalls.h"

#include <csignal>
#include <vector>

namespace talvek {

/// A run that a signal can stop.
class Stoppable
{
public:
    virtual ~Stoppable() = default;
    /// Called within a signal handler: nothing but lock-free flags may be touched.
    virtual void stopRun() = 0;
};

/// While one of these lives, SIGINT, SIGTERM and SIGHUP ask the program to end instead of killing
/// it. (SIGHUP only if it was not ignored before, so that nohup keeps its meaning.) What they ask
/// for stays asked: a second signal changes nothing. One object at a time, on the main thread.
class Interruption
{
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// True from the first signal on; false without an object.
    static bool isRequested();

    /// Makes a signal stop this run, also one that pauses. One at a time.
    class Guard
    {
    public:
        explicit Guard(Stoppable& run);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;
    };

private:
    struct Former
    {
        int signal;
        struct sigaction action;
    };

    void install(int signal, bool evenIfIgnored);

    std::vector<Former> m_former;
};

/// From an interruption on, files read as empty, what is written is dropped without a word, and
/// volumes are full, so that a run comes to its end at once wherever it stands. The decoder looks
/// at neither flag nor file: it is the refused write that ends it.
class InterruptibleCalls : public ForwardingCalls
{
public:
    using ForwardingCalls::ForwardingCalls;

    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override;
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;
    std::int64_t sizeOf(int descriptor) override;
    std::optional<std::uint64_t> freeBytes(const std::string& path) override;
};

} // namespace talvek
