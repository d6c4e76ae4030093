#pragma once

#include "cli/Console.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace talvek {

/// The terminal's progress line of one run: percentage, bytes written, time left, title. The
/// percentage never goes back. One thread at a time, the console's.
class ProgressLine
{
public:
    using Clock = std::chrono::steady_clock;

    /// @param title  what stands at the end of the line, safe for a terminal
    ProgressLine(Console& console, std::string title);
    ~ProgressLine() { m_console.clearProgress(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void setTitle(std::string title) { m_title = std::move(title); }
    /// The part that is done, from 0 to 1. What is no number, or less than before, changes nothing.
    void raiseTo(double fraction);
    [[nodiscard]] double fraction() const { return m_fraction; }

    /// What is shown after `elapsed`.
    [[nodiscard]] std::string text(Clock::duration elapsed, std::uint64_t writtenBytes) const;
    /// Shows the line unless that was done a moment ago.
    void showSometimes(std::uint64_t writtenBytes);

private:
    void showNow(Clock::time_point now, std::uint64_t writtenBytes);

    Console& m_console;
    std::string m_title;
    double m_fraction = 0;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastShown = m_start;
};

} // namespace talvek
