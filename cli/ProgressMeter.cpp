#include "cli/ProgressMeter.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace talvek {

namespace {

/// The thumbnail search reports twice; what is reported third is where the scans ended.
constexpr int kReportsBeforeScans = 2;
constexpr double kShareOfScans = 0.5;

} // namespace

ProgressMeter::ProgressMeter(SystemCalls& inner, Console& console, std::string document,
                             std::int64_t documentBytes, std::string title)
    : ForwardingCalls(inner),
      m_document(std::move(document)),
      m_documentBytes(std::max(1.0, static_cast<double>(documentBytes))),
      m_line(console, std::move(title))
{}

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
    m_line.showSometimes(m_writtenBytes);
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
    m_line.showSometimes(m_writtenBytes);
    errno = error;
    return count;
}

void ProgressMeter::reported(double percentage)
{
    ++m_reports;
    if (m_reports > kReportsBeforeScans) {
        m_line.raiseTo(kShareOfScans + (1.0 - kShareOfScans) * (percentage / 100.0));
    }
    m_line.showSometimes(m_writtenBytes);
}

void ProgressMeter::readUpTo(std::int64_t offset, std::int64_t count)
{
    if (m_reports <= kReportsBeforeScans) {
        m_scannedBytes += static_cast<double>(count);
        const double part = m_scannedBytes / m_documentBytes;
        m_line.raiseTo(kShareOfScans * std::min(1.0, part));
    } else {
        const double part = static_cast<double>(offset) / m_documentBytes;
        m_line.raiseTo(kShareOfScans + (1.0 - kShareOfScans) * part);
    }
}

} // namespace talvek
