#include "cli/ProgressLine.h"

#include "cli/TerminalText.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace talvek {

namespace {

constexpr auto kBetweenUpdates = std::chrono::milliseconds(100);

/// Less says too little about the rest.
constexpr double kLeastFractionForForecast = 0.02;
constexpr auto kLeastTimeForForecast = std::chrono::milliseconds(500);

std::string twoDigits(std::int64_t number)
{
    return (number < 10 ? "0" : "") + std::to_string(number);
}

/// Minutes and seconds, with hours before them if there are any.
std::string timeText(std::int64_t seconds)
{
    const std::string rest = twoDigits(seconds % 60);
    const std::int64_t minutes = seconds / 60;
    return minutes < 60 ? std::to_string(minutes) + ":" + rest
                        : std::to_string(minutes / 60) + ":" + twoDigits(minutes % 60) + ":" + rest;
}

} // namespace

ProgressLine::ProgressLine(Console& console, std::string title)
    : m_console(console), m_title(std::move(title))
{
    showNow(m_start, 0);
}

void ProgressLine::raiseTo(double fraction)
{
    // Offsets past the end, and figures that are no numbers, come with damaged documents.
    if (fraction > m_fraction) {
        m_fraction = std::min(1.0, fraction);
    }
}

std::string ProgressLine::text(Clock::duration elapsed, std::uint64_t writtenBytes) const
{
    std::string left = "-:--";
    if (m_fraction >= kLeastFractionForForecast && elapsed >= kLeastTimeForForecast) {
        const double seconds = std::chrono::duration<double>(elapsed).count();
        left = timeText(std::llround(seconds * (1.0 - m_fraction) / m_fraction));
    }
    // What is written last is still to be done when the end of the document has been reached.
    const int percentage = std::min(99, static_cast<int>(m_fraction * 100.0));
    return (percentage < 10 ? "  " : " ") + std::to_string(percentage) + " %  " +
           readableSize(writtenBytes) + " written  " + left + " left  " + m_title;
}

void ProgressLine::showNow(Clock::time_point now, std::uint64_t writtenBytes)
{
    m_console.progress(text(now - m_start, writtenBytes));
    m_lastShown = now;
}

void ProgressLine::showSometimes(std::uint64_t writtenBytes)
{
    if (!m_console.showsProgress()) {
        return;
    }
    const auto now = Clock::now();
    if (now - m_lastShown >= kBetweenUpdates) {
        showNow(now, writtenBytes);
    }
}

} // namespace talvek
