#include "cli/WriteMeter.h"

#include <cerrno>

namespace talvek {

int WriteMeter::openForAppending(const std::string& path)
{
    return noted(ForwardingCalls::openForAppending(path));
}

int WriteMeter::create(const std::string& path)
{
    return noted(ForwardingCalls::create(path));
}

int WriteMeter::makeFolder(const std::string& path, mode_t mode)
{
    return noted(ForwardingCalls::makeFolder(path, mode));
}

ssize_t WriteMeter::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    const ssize_t count = ForwardingCalls::write(descriptor, bytes);
    if (count < 0) {
        noted(-1);
    } else {
        m_writtenBytes += static_cast<std::uint64_t>(count);
    }
    return count;
}

int WriteMeter::noted(int result)
{
    // A folder that is there already is what was wanted, and an interrupted call is made again.
    if (result < 0 && errno != EEXIST && errno != EINTR) {
        int none = 0;
        m_error.compare_exchange_strong(none, errno);
    }
    return result;
}

} // namespace talvek
