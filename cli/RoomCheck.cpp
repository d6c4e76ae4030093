#include "cli/RoomCheck.h"

#include <cerrno>
#include <utility>

namespace talvek {

RoomCheckCalls::RoomCheckCalls(SystemCalls& inner, std::string folder)
    : ForwardingCalls(inner), m_folder(std::move(folder))
{}

ssize_t RoomCheckCalls::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    // What cannot be told is left to the write itself.
    const auto free = freeBytes(m_folder);
    if (free && *free < bytes.size()) {
        errno = ENOSPC;
        return -1;
    }
    return ForwardingCalls::write(descriptor, bytes);
}

} // namespace talvek
