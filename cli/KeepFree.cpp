#include "cli/KeepFree.h"

#include <algorithm>

namespace talvek {

namespace {

constexpr std::uint64_t kMostKeptUnasked = 256ULL << 20U;
constexpr std::uint64_t kLeastFreeShare = 10;

} // namespace

std::optional<std::uint64_t> KeepFreeCalls::freeBytes(const std::string& path)
{
    const auto free = ForwardingCalls::freeBytes(path);
    return free ? std::optional(*free - std::min(*free, m_keptBytes)) : std::nullopt;
}

std::uint64_t usualKeptBytes(SystemCalls& system, const std::string& folder)
{
    return std::min(kMostKeptUnasked, system.freeBytes(folder).value_or(0) / kLeastFreeShare);
}

} // namespace talvek
