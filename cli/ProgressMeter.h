#pragma once

#include "cli/ForwardingCalls.h"
#include "cli/ProgressLine.h"

#include <cstdint>
#include <set>
#include <string>

namespace talvek {

/// Watches one run's reads and writes, and keeps the terminal's progress line up to date.
///
/// The engine reports the offset it has reached at the end of each stage; a scan of a large
/// document takes long and reports nothing. So the reads are watched as well: the first half of the
/// bar is for the scans, which go through the document once, the second for taking it apart, which
/// goes through it once more. The bar never goes back.
class ProgressMeter : public ForwardingCalls
{
public:
    using Clock = ProgressLine::Clock;

    /// @param title  what stands at the end of the line, safe for a terminal
    ProgressMeter(SystemCalls& inner, Console& console, std::string document,
                  std::int64_t documentBytes, std::string title);

    int openForReading(const std::string& path) override;
    int close(int descriptor) override;
    ssize_t readAt(int descriptor, std::span<std::uint8_t> into, std::int64_t offset) override;
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override;

    /// Takes note of a progress notification. @param percentage  as the engine posts it
    void reported(double percentage);

    /// What is shown after `elapsed`: title, percentage, bytes written, time left.
    [[nodiscard]] std::string text(Clock::duration elapsed) const
    {
        return m_line.text(elapsed, m_writtenBytes);
    }
    /// The part that is done, from 0 to 1.
    [[nodiscard]] double fraction() const { return m_line.fraction(); }
    /// `errno` of the first write that failed; 0 if none did.
    [[nodiscard]] int writeError() const { return m_writeError; }

private:
    void readUpTo(std::int64_t offset, std::int64_t count);

    std::string m_document;
    double m_documentBytes;
    std::set<int> m_documentDescriptors;
    int m_reports = 0;
    double m_scannedBytes = 0;
    std::uint64_t m_writtenBytes = 0;
    int m_writeError = 0;
    ProgressLine m_line;
};

} // namespace talvek
