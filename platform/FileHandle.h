#pragma once

#include "platform/SystemCalls.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace talvek {

/// An owned file descriptor, closed when it goes.
class Descriptor
{
public:
    Descriptor() = default;
    Descriptor(SystemCalls& system, int number) : m_system(&system), m_number(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return m_number >= 0; }
    [[nodiscard]] int number() const { return m_number; }
    [[nodiscard]] SystemCalls& system() const { return *m_system; }
    /// Closes; true if there was nothing to close or the system reported no error.
    bool reset();

private:
    SystemCalls* m_system = &SystemCalls::real();
    int m_number = -1;
};

/// Bytes that can be read at stated offsets, which count from the first of them.
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    /// How many there are.
    [[nodiscard]] virtual std::int64_t size() const = 0;
    /// Reads into `into`, short at the end. A negative offset gives no bytes.
    /// @return bytes read, from 0 to `into.size()`
    virtual std::size_t read(std::int64_t offset, std::span<std::uint8_t> into) = 0;
    /// The `count` bytes at `offset` where they are, without a copy; good until the next call.
    /// Empty if they are not all to be had in one piece: then they have to be read.
    virtual std::span<const std::uint8_t> inPlace(std::int64_t offset, std::size_t count) = 0;
};

/// Bytes that one read of `count` at `offset` would return; a negative count asks for all to the
/// end of the input.
std::int64_t readableBytes(const ByteSource& input, std::int64_t offset, std::int64_t count);

/// Reads a file at stated offsets. It has no way to write.
///
/// A handle that could not be opened is absent: it reads as an empty file. Offsets count from the
/// start of the file; a read at a negative offset, or past the end, returns no bytes. Reads of
/// 1 KiB and more are served from one window that grows to 1 MiB while the reads go forward, so a
/// scan costs one system call a window. One thread at a time.
class ReadingFileHandle final : public ByteSource
{
public:
    static constexpr std::size_t kWindowBytes = 1U << 20U;

    ReadingFileHandle() = default;
    ReadingFileHandle(SystemCalls& system, const std::string& path);

    [[nodiscard]] bool isOpen() const { return m_descriptor.isOpen(); }
    /// The file's size in bytes as it is now; 0 for an absent handle.
    [[nodiscard]] std::int64_t size() const override;

    /// The first offset at or behind `offset` that is not in a hole of the file, where the system
    /// can tell; the file's size when there is none. A hole reads as zeros.
    [[nodiscard]] std::int64_t nextData(std::int64_t offset) const;

    /// Short before a byte that cannot be read, too.
    std::size_t read(std::int64_t offset, std::span<std::uint8_t> into) override;
    std::span<const std::uint8_t> inPlace(std::int64_t offset, std::size_t count) override;

    /// As a read of `atLeast` bytes at `offset`, but without a copy, and with up to `atMost` bytes
    /// if the window holds them. The view is good until the next call.
    /// Requires: atLeast <= atMost, atLeast <= kWindowBytes.
    std::span<const std::uint8_t> bytesAt(std::int64_t offset, std::size_t atLeast,
                                          std::size_t atMost);

private:
    [[nodiscard]] std::size_t heldFrom(std::int64_t offset) const;
    [[nodiscard]] bool windowServes(std::int64_t offset, std::size_t count) const;
    void fillWindow(std::int64_t offset, std::size_t atLeast);
    std::size_t readFully(std::int64_t offset, std::span<std::uint8_t> into);

    Descriptor m_descriptor;
    std::vector<std::uint8_t> m_window;
    std::int64_t m_windowOffset = 0;
    std::size_t m_windowHeld = 0;
    bool m_windowMeetsEnd = false;
};

/// Appends to a file. It has no way to read.
///
/// A handle that could not be opened is absent: what is written to it is lost without a word.
/// Bytes are gathered and reach the file in order, in blocks of up to 1 MiB; `flush` brings the
/// rest. After a write that fails, what reached the file stays, and everything gathered or written
/// later is dropped. One thread at a time.
class WritingFileHandle
{
public:
    static constexpr std::size_t kGatherBytes = 1U << 20U;
    /// The most that `room` may be asked for.
    static constexpr std::size_t kMostRoom = 128U << 10U;

    WritingFileHandle() = default;
    /// Opens the file that stands at `path`, to append to it.
    WritingFileHandle(SystemCalls& system, const std::string& path);
    /// Closes without a report; a caller that must know of a failed write closes before.
    ~WritingFileHandle() { close(); }
    WritingFileHandle(WritingFileHandle&& other) noexcept { swap(other); }
    WritingFileHandle& operator=(WritingFileHandle&& other) noexcept;
    WritingFileHandle(const WritingFileHandle&) = delete;
    WritingFileHandle& operator=(const WritingFileHandle&) = delete;

    [[nodiscard]] bool isOpen() const { return m_descriptor.isOpen(); }
    /// A write has failed: the file is not what was asked for.
    [[nodiscard]] bool hasFailed() const { return m_failed; }
    /// What is written from now on was counted before, and is not reported as accepted again.
    void leaveUncounted() { m_counted = false; }

    void append(std::span<const std::uint8_t> bytes);

    /// Room for `count` bytes at the end of what was written, to be filled in and then committed.
    /// Requires: count <= kMostRoom.
    std::span<std::uint8_t> room(std::size_t count);
    /// Appends the first `count` bytes of the room given last.
    void commit(std::size_t count);

    /// Writes out what was gathered. @return false if a write has failed, now or before
    bool flush();
    /// Flushes and closes; the handle is absent afterwards. @return as `flush`
    bool close();

private:
    void swap(WritingFileHandle& other) noexcept;
    bool writeFully(std::span<const std::uint8_t> bytes);

    Descriptor m_descriptor;
    std::unique_ptr<std::uint8_t[]> m_gathered;
    std::size_t m_gatheredBytes = 0;
    bool m_counted = true;
    bool m_failed = false;
};

} // namespace talvek
