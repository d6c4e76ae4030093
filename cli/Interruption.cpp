#include "cli/Interruption.h"

#include <atomic>
#include <csignal>

namespace talvek {

namespace {

std::atomic<bool> interruptionRequested{false};
std::atomic<Stoppable*> runToStop{nullptr};

// Anything with a lock inside could wait for ever within a signal handler.
static_assert(std::atomic<bool>::is_always_lock_free);
static_assert(std::atomic<Stoppable*>::is_always_lock_free);

void stopRun()
{
    if (Stoppable* run = runToStop.load()) {
        run->stopRun();
    }
}

extern "C" void requestInterruption(int /*signal*/)
{
    interruptionRequested.store(true);
    stopRun();
}

} // namespace

Interruption::Interruption()
{
    interruptionRequested.store(false);
    install(SIGINT, true);
    install(SIGTERM, true);
    install(SIGHUP, false);
}

Interruption::~Interruption()
{
    for (const Former& former : m_former) {
        ::sigaction(former.signal, &former.action, nullptr);
    }
    interruptionRequested.store(false);
}

bool Interruption::isRequested()
{
    return interruptionRequested.load();
}

void Interruption::install(int signal, bool evenIfIgnored)
{
    struct sigaction former = {};
    ::sigaction(signal, nullptr, &former);
    if (!evenIfIgnored && former.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action = {};
    action.sa_handler = requestInterruption;
    // Calls under way go on: it is the run that ends early, never a single write.
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
    m_former.push_back({signal, former});
}

Interruption::Guard::Guard(Stoppable& run)
{
    runToStop.store(&run);
    // A signal may have come before there was a run to stop.
    if (Interruption::isRequested()) {
        stopRun();
    }
}

Interruption::Guard::~Guard()
{
    runToStop.store(nullptr);
}

ssize_t InterruptibleCalls::readAt(int descriptor, std::span<std::uint8_t> into,
                                   std::int64_t offset)
{
    return Interruption::isRequested() ? 0 : ForwardingCalls::readAt(descriptor, into, offset);
}

ssize_t InterruptibleCalls::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    return Interruption::isRequested() ? static_cast<ssize_t>(bytes.size())
                                       : ForwardingCalls::write(descriptor, bytes);
}

std::int64_t InterruptibleCalls::sizeOf(int descriptor)
{
    return Interruption::isRequested() ? 0 : ForwardingCalls::sizeOf(descriptor);
}

std::optional<std::uint64_t> InterruptibleCalls::freeBytes(const std::string& path)
{
    return Interruption::isRequested() ? 0 : ForwardingCalls::freeBytes(path);
}

} // namespace talvek
