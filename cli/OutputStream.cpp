#include "cli/OutputStream.h"

#include <cerrno>

namespace talvek {

void OutputStream::print(const std::string& text)
{
    const bool printed = std::fwrite(text.data(), 1, text.size(), m_stream) == text.size() &&
                         std::fflush(m_stream) == 0;
    if (!printed && m_error == 0) {
        m_error = errno;
    }
}

} // namespace talvek
