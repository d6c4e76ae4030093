#pragma once

#include "cli/ForwardingCalls.h"

#include <string>

namespace talvek {

/// Leaves room on every volume: what is to stay free is taken off each answer about free space.
class KeepFreeCalls : public ForwardingCalls
{
public:
    KeepFreeCalls(SystemCalls& inner, std::uint64_t keptBytes)
        : ForwardingCalls(inner), m_keptBytes(keptBytes)
    {}

    std::optional<std::uint64_t> freeBytes(const std::string& path) override;

private:
    std::uint64_t m_keptBytes;
};

/// What stays free unless the user says otherwise: 256 MiB, or a tenth of what is free on the
/// volume that holds `folder` if that is less.
std::uint64_t usualKeptBytes(SystemCalls& system, const std::string& folder);

} // namespace talvek
