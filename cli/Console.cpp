#include "cli/Console.h"

#include "cli/TerminalText.h"

#include <algorithm>
#include <cstdint>
#include <sys/ioctl.h>
#include <unistd.h>

namespace talvek {

namespace {

constexpr const char* kProgramPrefix = "talvek-psd-repair: ";
constexpr std::size_t kUsualColumns = 80;

/// Nothing is left to tell it to when standard error itself fails.
void put(std::FILE* stream, const std::string& text)
{
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
    static_cast<void>(std::fflush(stream));
}

} // namespace

Console::Console(bool quiet, std::FILE* stream)
    : m_stream(stream), m_quiet(quiet), m_showsProgress(!quiet && ::isatty(::fileno(stream)) == 1)
{}

void Console::error(const std::string& message)
{
    print(kProgramPrefix + message);
}

void Console::warning(const std::string& message)
{
    print(kProgramPrefix + ("warning: " + message));
}

void Console::note(const std::string& message)
{
    if (!m_quiet) {
        print(message);
    }
}

void Console::logLine(const std::string& line)
{
    print("log: " + safeForTerminal(line));
}

void Console::progress(const std::string& text)
{
    if (!m_showsProgress) {
        return;
    }
    // One column stays free: a line that fills the last one wraps on some terminals.
    const std::string line(firstCharacters(text, columns() - 1));
    if (line != m_shown) {
        // Blanks rather than an escape sequence take away the rest of a longer line before it, so
        // that the plainest terminal shows it right.
        const std::size_t before = std::min(characterCount(m_shown), columns() - 1);
        const std::size_t now = characterCount(line);
        const std::string rest(before > now ? before - now : 0, ' ');
        put(m_stream, "\r" + line + rest);
        m_shown = line;
    }
}

void Console::clearProgress()
{
    if (!m_shown.empty()) {
        progress(std::string());
        put(m_stream, "\r");
    }
}

void Console::print(const std::string& line)
{
    const std::string shown = m_shown;
    clearProgress();
    put(m_stream, line + "\n");
    if (!shown.empty()) {
        progress(shown);
    }
}

std::size_t Console::columns() const
{
    winsize size = {};
    const bool known = ::ioctl(::fileno(m_stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col : kUsualColumns;
}

} // namespace talvek
