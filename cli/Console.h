#pragma once

#include <cstdio>
#include <string>

namespace talvek {

/// Standard error: words for people and, on a terminal, one progress line below them.
///
/// Callers make names safe with TerminalText.h; what is said here is printed as it is.
class Console
{
public:
    /// @param quiet  only errors and warnings are said, and no progress is shown
    /// @param stream  standard error, or a stand-in for it; outlives the object
    explicit Console(bool quiet, std::FILE* stream = stderr);
    ~Console() { clearProgress(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    void error(const std::string& message);
    void warning(const std::string& message);
    /// Something good to know.
    void note(const std::string& message);
    void logLine(const std::string& line);

    /// False where a progress line would only spoil a file or a pipe.
    [[nodiscard]] bool showsProgress() const { return m_showsProgress; }
    /// Shows the text in place of the last progress; what is wider than the terminal is left out.
    void progress(const std::string& text);
    void clearProgress();

private:
    void print(const std::string& line);
    [[nodiscard]] std::size_t columns() const;

    std::FILE* m_stream;
    bool m_quiet;
    bool m_showsProgress;
    std::string m_shown;
};

} // namespace talvek
