#pragma once

#include "cli/ForwardingCalls.h"

#include <string>

namespace talvek {

/// Refuses what there is no room for: the recovery writes without asking how much is free, so each
/// write is measured against it here. Several threads that write at once can together take up to a
/// write of each more.
class RoomCheckCalls : public ForwardingCalls
{
public:
    /// @param inner   answers how much is free
    /// @param folder  on the volume that is written to
    RoomCheckCalls(SystemCalls& inner, std::string folder);

    /// Fails with ENOSPC where the bytes do not fit.
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;

private:
    std::string m_folder;
};

} // namespace talvek
