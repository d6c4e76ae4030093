#include "platform/FileHandle.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

namespace talvek {

namespace {

/// A window starts small, so that a walk which jumps about does not pay for bytes it never looks
/// at, and grows fourfold with every refill that continues the last.
constexpr std::size_t kFirstWindowBytes = 16U << 10U;
constexpr std::size_t kWindowGrowth = 4;

/// A shorter read that the window does not hold goes to the file alone.
constexpr std::size_t kLeastWindowedRead = 1024;

/// The offset behind `count` bytes at `offset`, held at the largest one there is.
std::int64_t endOf(std::int64_t offset, std::size_t count)
{
    constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
    const auto signedCount = static_cast<std::int64_t>(count);
    return offset > kLargest - signedCount ? kLargest : offset + signedCount;
}

} // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_system(other.m_system), m_number(std::exchange(other.m_number, -1))
{}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        reset();
        m_system = other.m_system;
        m_number = std::exchange(other.m_number, -1);
    }
    return *this;
}

bool Descriptor::reset()
{
    if (!isOpen()) {
        return true;
    }
    // Not repeated on EINTR: the descriptor is gone either way.
    return m_system->close(std::exchange(m_number, -1)) == 0 || errno == EINTR;
}

std::int64_t readableBytes(const ByteSource& input, std::int64_t offset, std::int64_t count)
{
    if (offset < 0) {
        return 0;
    }
    const std::int64_t left = std::max<std::int64_t>(0, input.size() - offset);
    return count < 0 ? left : std::min(count, left);
}

ReadingFileHandle::ReadingFileHandle(SystemCalls& system, const std::string& path)
    : m_descriptor(system, system.openForReading(path))
{}

std::int64_t ReadingFileHandle::size() const
{
    if (!isOpen()) {
        return 0;
    }
    return std::max<std::int64_t>(0, m_descriptor.system().sizeOf(m_descriptor.number()));
}

std::int64_t ReadingFileHandle::nextData(std::int64_t offset) const
{
    return isOpen() ? m_descriptor.system().nextData(m_descriptor.number(), offset) : offset;
}

std::size_t ReadingFileHandle::read(std::int64_t offset, std::span<std::uint8_t> into)
{
    if (!isOpen() || offset < 0 || into.empty()) {
        return 0;
    }
    const bool windowed = into.size() >= kLeastWindowedRead && into.size() <= kWindowBytes / 2;
    if (!windowed && !windowServes(offset, into.size())) {
        return readFully(offset, into);
    }
    const auto bytes = bytesAt(offset, into.size(), into.size());
    std::copy(bytes.begin(), bytes.end(), into.begin());
    return bytes.size();
}

std::span<const std::uint8_t> ReadingFileHandle::inPlace(std::int64_t offset, std::size_t count)
{
    if (count > kWindowBytes) {
        return {};
    }
    const auto bytes = bytesAt(offset, count, count);
    return bytes.size() == count ? bytes : std::span<const std::uint8_t>();
}

std::span<const std::uint8_t> ReadingFileHandle::bytesAt(std::int64_t offset, std::size_t atLeast,
                                                         std::size_t atMost)
{
    assert(atLeast <= atMost && atLeast <= kWindowBytes);
    if (!isOpen() || offset < 0) {
        return {};
    }
    if (!windowServes(offset, atLeast)) {
        fillWindow(offset, atLeast);
    }
    const std::size_t held = heldFrom(offset);
    return std::span(m_window).subspan(m_windowHeld - held, std::min(held, atMost));
}

/// Bytes that the window holds from `offset` on; 0 if it does not hold the byte there.
std::size_t ReadingFileHandle::heldFrom(std::int64_t offset) const
{
    const std::int64_t windowEnd = m_windowOffset + static_cast<std::int64_t>(m_windowHeld);
    if (offset < m_windowOffset || offset >= windowEnd) {
        return 0;
    }
    return static_cast<std::size_t>(windowEnd - offset);
}

bool ReadingFileHandle::windowServes(std::int64_t offset, std::size_t count) const
{
    const std::size_t held = heldFrom(offset);
    return held >= count || (held > 0 && m_windowMeetsEnd);
}

void ReadingFileHandle::fillWindow(std::int64_t offset, std::size_t atLeast)
{
    const std::int64_t windowEnd = m_windowOffset + static_cast<std::int64_t>(m_windowHeld);
    const bool continues = m_windowHeld > 0 && offset > m_windowOffset && offset <= windowEnd;
    const std::size_t wanted =
        std::max(atLeast, continues ? std::min(m_windowHeld * kWindowGrowth, kWindowBytes)
                                    : kFirstWindowBytes);
    if (m_window.size() < wanted) {
        m_window.resize(wanted);
    }
    m_windowOffset = offset;
    m_windowHeld = readFully(offset, std::span(m_window).first(wanted));
    m_windowMeetsEnd = false;
    if (m_windowHeld == wanted) {
        return;
    }
    if (endOf(offset, m_windowHeld) >= size()) {
        m_windowMeetsEnd = true;
        return;
    }
    // A byte inside cannot be read. The asked range may well lie before or behind it.
    m_windowHeld = readFully(offset, std::span(m_window).first(atLeast));
}

std::size_t ReadingFileHandle::readFully(std::int64_t offset, std::span<std::uint8_t> into)
{
    std::size_t done = 0;
    while (done < into.size()) {
        const std::int64_t position = endOf(offset, done);
        const ssize_t count =
            m_descriptor.system().readAt(m_descriptor.number(), into.subspan(done), position);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

WritingFileHandle::WritingFileHandle(SystemCalls& system, const std::string& path)
    : m_descriptor(system, system.openForAppending(path))
{}

WritingFileHandle& WritingFileHandle::operator=(WritingFileHandle&& other) noexcept
{
    if (this != &other) {
        WritingFileHandle former;
        former.swap(*this);
        swap(other);
    }
    return *this;
}

void WritingFileHandle::swap(WritingFileHandle& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_gathered, other.m_gathered);
    std::swap(m_gatheredBytes, other.m_gatheredBytes);
    std::swap(m_counted, other.m_counted);
    std::swap(m_failed, other.m_failed);
}

void WritingFileHandle::append(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const std::size_t count = std::min(bytes.size(), kMostRoom);
        std::memcpy(room(count).data(), bytes.data(), count);
        commit(count);
        bytes = bytes.subspan(count);
    }
}

std::span<std::uint8_t> WritingFileHandle::room(std::size_t count)
{
    assert(count <= kMostRoom);
    if (!m_gathered) {
        m_gathered = std::make_unique_for_overwrite<std::uint8_t[]>(kGatherBytes);
    }
    if (kGatherBytes - m_gatheredBytes < count) {
        flush();
    }
    return {m_gathered.get() + m_gatheredBytes, count};
}

void WritingFileHandle::commit(std::size_t count)
{
    if (!isOpen() || m_failed) {
        return;
    }
    m_gatheredBytes += count;
    if (m_counted) {
        m_descriptor.system().bytesAccepted(count);
    }
}

bool WritingFileHandle::flush()
{
    const std::size_t count = std::exchange(m_gatheredBytes, 0);
    if (count > 0 && !m_failed) {
        m_failed = !writeFully({m_gathered.get(), count});
    }
    return !m_failed;
}

bool WritingFileHandle::close()
{
    flush();
    m_failed = !m_descriptor.reset() || m_failed;
    return !m_failed;
}

bool WritingFileHandle::writeFully(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = m_descriptor.system().write(m_descriptor.number(), bytes);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace talvek
