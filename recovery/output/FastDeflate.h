#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace talvek::recovery::output {

/// Compresses a stream of bytes into the zlib format, for speed first.
///
/// Matches are looked for at one place only and codes are fitted to every block, which keeps an
/// image's size near that of zlib's quickest setting at several times its speed; bytes that do not
/// compress are stored. Memory: about 1 MiB, whatever the stream's length. One thread at a time.
class FastDeflate
{
public:
    /// Receives compressed bytes, in order.
    using Sink = std::function<void(std::span<const std::uint8_t>)>;

    explicit FastDeflate(Sink sink);

    void append(std::span<const std::uint8_t> bytes);
    /// Ends the stream. Nothing may be appended afterwards.
    void finish();

private:
    static constexpr std::size_t kWindow = 32768;
    static constexpr std::size_t kBlock = 131072;
    static constexpr std::size_t kHashBits = 15;
    static constexpr std::size_t kLiterals = 286;
    static constexpr std::size_t kDistances = 30;

    void writeBlock(bool last);
    void findMatches();
    void literal(std::uint8_t byte);
    void match(std::size_t length, std::size_t distance);
    [[nodiscard]] std::size_t matchLength(std::size_t at, std::size_t distance) const;
    [[nodiscard]] std::uint64_t codedBits() const;
    void writeStored(bool last);
    void writeCoded(bool last);
    void writeCodeLengths();
    void writeTokens();
    void bits(std::uint64_t value, int count);
    void flushBytes();
    void store(std::span<const std::uint8_t> bytes);
    void deliver();
    void slide();

    Sink m_sink;
    std::vector<std::uint8_t> m_input;   ///< history, then the block that is being filled
    std::size_t m_history = 0;           ///< bytes of `m_input` that are history
    std::size_t m_held = 0;              ///< bytes of `m_input` in use
    std::uint32_t m_base = 2 * kWindow;  ///< position of the first byte of `m_input`, may wrap
    std::vector<std::uint32_t> m_latest; ///< position at which each hash was seen last
    std::vector<std::uint32_t> m_tokens;
    std::size_t m_tokenCount = 0;
    std::array<std::uint32_t, kLiterals> m_literalCounts{};
    std::array<std::uint32_t, kDistances> m_distanceCounts{};
    std::array<std::uint8_t, kLiterals> m_literalLengths{};
    std::array<std::uint8_t, kDistances> m_distanceLengths{};
    std::array<std::uint16_t, kLiterals> m_literalCodes{};
    std::array<std::uint16_t, kDistances> m_distanceCodes{};
    std::vector<std::uint8_t> m_out; ///< never grows: a block that would is stored
    std::size_t m_outHeld = 0;
    std::uint64_t m_bits = 0;
    int m_bitCount = 0;
    std::uint32_t m_checksum = 1;
    bool m_started = false;
};

} // namespace talvek::recovery::output
