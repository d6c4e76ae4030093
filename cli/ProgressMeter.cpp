#include "cli/ProgressMeter.h"

#include "cli/TerminalText.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

namespace talvek {

namespace {

constexpr auto kBetweenUpdates = std::chrono::milliseconds(100);

/// The thumbnail search reports twice; what is reported third is where the scans ended.
constexpr int kReportsBeforeScans = 2;
constexpr double kShareOfScans = 0.5;

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

ProgressMeter::ProgressMeter(SystemCalls& inner, Console& console, std::string document,
                             std::int64_t documentBytes, std::string title)
    : ForwardingCalls(inner),
      m_console(console),
      m_document(std::move(document)),
      m_documentBytes(std::max(1.0, static_cast<double>(documentBytes))),
      m_title(std::move(title))
{
    showNow(m_start);
}

int ProgressMeter::openForReading(const std::string& path)
{
    const int descriptor = ForwardingCalls::openForReading(path);
    if (descriptor >= 0 && path == m_document) {
        m_documentDescriptors.insert(descriptor);
    }
    return descriptor;
}

int ProgressMeter::close(int descriptor)
{
    m_documentDescriptors.erase(descriptor);
    return ForwardingCalls::close(descriptor);
}

ssize_t ProgressMeter::readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset)
{
    const ssize_t count = ForwardingCalls::readAt(descriptor, into, offset);
    if (count > 0 && m_documentDescriptors.count(descriptor) > 0) {
        readUpTo(offset + count, count);
    }
    showSometimes();
    return count;
}

ssize_t ProgressMeter::write(int descriptor, std::span<const std::uint8_t> bytes)
{
    const ssize_t count = ForwardingCalls::write(descriptor, bytes);
    if (count > 0) {
        m_writtenBytes += static_cast<std::uint64_t>(count);
    } else if (count < 0 && errno != EINTR && m_writeError == 0) {
        m_writeError = errno;
    }
    const int error = errno;
    showSometimes();
    errno = error;
    return count;
}

void ProgressMeter::reported(double percentage)
{
    ++m_reports;
    if (m_reports > kReportsBeforeScans) {
        raiseTo(kShareOfScans + (1.0 - kShareOfScans) * (percentage / 100.0));
    }
    showSometimes();
}

void ProgressMeter::readUpTo(std::int64_t offset, std::int64_t count)
{
    if (m_reports <= kReportsBeforeScans) {
        m_scannedBytes += static_cast<double>(count);
        const double part = m_scannedBytes / m_documentBytes;
        raiseTo(kShareOfScans * std::min(1.0, part));
    } else {
        const double part = static_cast<double>(offset) / m_documentBytes;
        raiseTo(kShareOfScans + (1.0 - kShareOfScans) * part);
    }
}

void ProgressMeter::raiseTo(double fraction)
{
    // Offsets past the end, and figures that are no numbers, come with damaged documents.
    if (fraction > m_fraction) {
        m_fraction = std::min(1.0, fraction);
    }
}

std::string ProgressMeter::text(Clock::duration elapsed) const
{
    std::string left = "-:--";
    if (m_fraction >= kLeastFractionForForecast && elapsed >= kLeastTimeForForecast) {
        const double seconds = std::chrono::duration<double>(elapsed).count();
        left = timeText(std::llround(seconds * (1.0 - m_fraction) / m_fraction));
    }
    // What is written last is still to be decoded when the end of the document has been reached.
    const int percentage = std::min(99, static_cast<int>(m_fraction * 100.0));
    return (percentage < 10 ? "  " : " ") + std::to_string(percentage) + " %  " +
           readableSize(m_writtenBytes) + " written  " + left + " left  " + m_title;
}

void ProgressMeter::showNow(Clock::time_point now)
{
    m_console.progress(text(now - m_start));
    m_lastShown = now;
}

void ProgressMeter::showSometimes()
{
    if (!m_console.showsProgress()) {
        return;
    }
    const auto now = Clock::now();
    if (now - m_lastShown >= kBetweenUpdates) {
        showNow(now);
    }
}

} // namespace talvek
