#pragma once

#include <cstdio>
#include <string>

namespace talvek {

/// Standard output, or a stand-in for it. What is printed is sent on at once.
class OutputStream
{
public:
    /// @param stream  outlives the object
    explicit OutputStream(std::FILE* stream) : m_stream(stream) {}

    void print(const std::string& text);
    /// `errno` of the first failure; 0 if there was none. A reader that went away (EPIPE) counts.
    [[nodiscard]] int error() const { return m_error; }

private:
    std::FILE* m_stream;
    int m_error = 0;
};

} // namespace talvek
