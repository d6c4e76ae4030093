#include "recovery/output/FastDeflate.h"

#include "recovery/output/HuffmanCode.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kLeastMatch = 4;
constexpr std::size_t kMostMatch = 258;
/// Filtered pixels are mostly small numbers with short codes: a shorter match costs more than they.
constexpr std::size_t kWorthwhile = 8;
constexpr std::size_t kEndOfBlock = 256;
constexpr std::size_t kMostStored = 65535;
constexpr std::uint32_t kMatchFlag = 1U << 31U;
/// The most that one match takes of the bit buffer, so that it is drained once a token.
constexpr int kDrainAt = 24;
/// Room behind a block's bytes for its head, the checksum and a whole word of the bit buffer.
constexpr std::size_t kSlack = 4096;
/// How many look-ups may fail before every other byte is passed over, and so on.
constexpr std::size_t kPatienceShift = 6;
constexpr std::size_t kMostStep = 16;

struct Extra
{
    std::uint16_t base;
    std::uint8_t symbol;
    std::uint8_t bits;
};

/// Format: lengths 3 to 258 are symbols 257 to 285, each with extra bits.
constexpr std::array<Extra, 256> makeLengthTable()
{
    std::array<Extra, 256> table{};
    std::size_t length = 3;
    for (std::size_t symbol = 0; symbol < 28; ++symbol) {
        const std::size_t extra = symbol < 8 ? 0 : symbol / 4 - 1;
        const std::size_t base = length;
        for (std::size_t i = 0; i < std::size_t{1} << extra; ++i, ++length) {
            if (length - 3 < table.size()) {
                table[length - 3] = {static_cast<std::uint16_t>(base),
                                     static_cast<std::uint8_t>(symbol + 1),
                                     static_cast<std::uint8_t>(extra)};
            }
        }
    }
    table[255] = {258, 29, 0};
    return table;
}

constexpr auto kLengths = makeLengthTable();
static_assert(kLengths[0].symbol == 1 && kLengths[0].base == 3 && kLengths[0].bits == 0);
static_assert(kLengths[8].symbol == 9 && kLengths[8].base == 11 && kLengths[8].bits == 1);
static_assert(kLengths[254].symbol == 28 && kLengths[254].base == 227 && kLengths[254].bits == 5);

/// The symbol, extra bits and base of a distance less one.
/// Format: two symbols for each power of two.
Extra distanceCode(std::uint32_t lessOne)
{
    if (lessOne < 2) {
        return {static_cast<std::uint16_t>(lessOne), static_cast<std::uint8_t>(lessOne), 0};
    }
    const auto top = static_cast<std::uint32_t>(std::bit_width(lessOne)) - 1;
    const std::uint32_t half = lessOne >> (top - 1) & 1U;
    return {static_cast<std::uint16_t>((2U | half) << (top - 1)),
            static_cast<std::uint8_t>(2 * top + half), static_cast<std::uint8_t>(top - 1)};
}

std::uint32_t word(const std::uint8_t* at)
{
    std::uint32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
}

} // namespace

FastDeflate::FastDeflate(Sink sink)
    : m_sink(std::move(sink)),
      m_input(kWindow + kBlock),
      m_latest(std::size_t{1} << kHashBits),
      m_tokens(kBlock),
      m_out(kBlock + kSlack)
{}

void FastDeflate::append(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const std::size_t count = std::min(bytes.size(), m_history + kBlock - m_held);
        std::memcpy(m_input.data() + m_held, bytes.data(), count);
        m_held += count;
        bytes = bytes.subspan(count);
        if (m_held == m_history + kBlock) {
            writeBlock(false);
        }
    }
}

void FastDeflate::finish()
{
    writeBlock(true);
    bits(0, (8 - m_bitCount % 8) % 8);
    flushBytes();
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        m_out[m_outHeld++] = static_cast<std::uint8_t>(m_checksum >> (shift - 8));
    }
    deliver();
}

void FastDeflate::writeBlock(bool last)
{
    if (!std::exchange(m_started, true)) {
        m_out[m_outHeld++] = 0x78;
        m_out[m_outHeld++] = 0x01;
    }
    const std::size_t length = m_held - m_history;
    m_checksum = static_cast<std::uint32_t>(
        adler32(m_checksum, m_input.data() + m_history, static_cast<uInt>(length)));
    findMatches();
    codeLengths(m_literalCounts, 15, m_literalLengths);
    codeLengths(m_distanceCounts, 15, m_distanceLengths);
    if (codedBits() < std::uint64_t{length} * 8) {
        writeCoded(last);
    } else {
        writeStored(last);
    }
    slide();
    if (!last) {
        deliver();
    }
}

void FastDeflate::slide()
{
    const std::size_t keep = std::min(m_held, kWindow);
    std::memmove(m_input.data(), m_input.data() + m_held - keep, keep);
    m_base += static_cast<std::uint32_t>(m_held - keep);
    m_history = m_held = keep;
}

std::size_t FastDeflate::matchLength(std::size_t at, std::size_t distance) const
{
    const std::uint8_t* here = m_input.data() + at;
    const std::uint8_t* there = here - distance;
    const std::size_t most = std::min(kMostMatch, m_held - at);
    std::size_t length = kLeastMatch;
    if constexpr (std::endian::native == std::endian::little) {
        for (; length + 8 <= most; length += 8) {
            std::uint64_t a = 0;
            std::uint64_t b = 0;
            std::memcpy(&a, here + length, 8);
            std::memcpy(&b, there + length, 8);
            if (a != b) {
                return length + static_cast<std::size_t>(std::countr_zero(a ^ b)) / 8;
            }
        }
    }
    while (length < most && here[length] == there[length]) {
        ++length;
    }
    return length;
}

void FastDeflate::literal(std::uint8_t byte)
{
    ++m_literalCounts[byte];
    m_tokens[m_tokenCount++] = byte;
}

void FastDeflate::match(std::size_t length, std::size_t distance)
{
    ++m_literalCounts[kEndOfBlock + kLengths[length - 3].symbol];
    ++m_distanceCounts[distanceCode(static_cast<std::uint32_t>(distance - 1)).symbol];
    m_tokens[m_tokenCount++] = kMatchFlag | static_cast<std::uint32_t>(length - 3) << 16U |
                               static_cast<std::uint32_t>(distance - 1);
}

/// One probe a byte; where nothing is found for long, bytes are passed over ever faster, because
/// noise holds no matches and would cost the most.
void FastDeflate::findMatches()
{
    m_tokenCount = 0;
    m_literalCounts.fill(0);
    m_distanceCounts.fill(0);
    m_literalCounts[kEndOfBlock] = 1;
    std::size_t at = m_history;
    std::size_t failed = 0;
    while (at + kLeastMatch <= m_held) {
        const std::uint32_t four = word(m_input.data() + at);
        std::uint32_t& latest = m_latest[four * 2654435761U >> (32U - kHashBits)];
        const std::uint32_t position = m_base + static_cast<std::uint32_t>(at);
        const std::size_t distance = position - latest;
        latest = position;
        if (distance - 1 < kWindow && distance <= at &&
            word(m_input.data() + at - distance) == four) {
            const std::size_t length = matchLength(at, distance);
            if (length >= kWorthwhile) {
                match(length, distance);
                at += length;
                failed = 0;
                continue;
            }
        }
        const std::size_t step = std::min(1 + (failed++ >> kPatienceShift), kMostStep);
        for (std::size_t i = 0; i < step && at < m_held; ++i) {
            literal(m_input[at++]);
        }
    }
    while (at < m_held) {
        literal(m_input[at++]);
    }
}

std::uint64_t FastDeflate::codedBits() const
{
    // The code lengths' own cost is left at its upper bound.
    std::uint64_t total = 17 + 19 * 3 + (kLiterals + kDistances) * 7;
    for (std::size_t i = 0; i < kLiterals; ++i) {
        const std::uint64_t extra = i < 265 || i == 285 ? 0 : (i - 261) / 4;
        total += m_literalCounts[i] * (m_literalLengths[i] + extra);
    }
    for (std::size_t i = 0; i < kDistances; ++i) {
        const std::uint64_t extra = i < 4 ? 0 : i / 2 - 1;
        total += m_distanceCounts[i] * (m_distanceLengths[i] + extra);
    }
    return total;
}

void FastDeflate::writeStored(bool last)
{
    std::span<const std::uint8_t> rest(m_input.data() + m_history, m_held - m_history);
    do {
        const std::size_t count = std::min(rest.size(), kMostStored);
        bits(last && count == rest.size() ? 1 : 0, 3);
        bits(0, (8 - m_bitCount % 8) % 8);
        bits(count, 16);
        bits(~count & 0xFFFFU, 16);
        flushBytes();
        store(rest.first(count));
        rest = rest.subspan(count);
    } while (!rest.empty());
}

void FastDeflate::writeCoded(bool last)
{
    bits(last ? 5 : 4, 3);
    canonicalCodes(m_literalLengths, m_literalCodes);
    canonicalCodes(m_distanceLengths, m_distanceCodes);
    writeCodeLengths();
    writeTokens();
    flushBytes();
}

/// All lengths one by one: their own run-length coding saves too little for its code.
void FastDeflate::writeCodeLengths()
{
    constexpr std::array<std::uint8_t, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                     11, 4,  12, 3, 13, 2, 14, 1, 15};
    std::array<std::uint32_t, 19> counts{};
    for (const std::uint8_t length : m_literalLengths) {
        ++counts[length];
    }
    for (const std::uint8_t length : m_distanceLengths) {
        ++counts[length];
    }
    std::array<std::uint8_t, 19> lengths{};
    std::array<std::uint16_t, 19> codes{};
    codeLengths(counts, 7, lengths);
    canonicalCodes(lengths, codes);
    bits(kLiterals - 257, 5);
    bits(kDistances - 1, 5);
    bits(kOrder.size() - 4, 4);
    for (const std::uint8_t symbol : kOrder) {
        bits(lengths[symbol], 3);
        flushBytes();
    }
    const auto write = [&](std::uint8_t length) {
        bits(codes[length], lengths[length]);
        flushBytes();
    };
    std::for_each(m_literalLengths.begin(), m_literalLengths.end(), write);
    std::for_each(m_distanceLengths.begin(), m_distanceLengths.end(), write);
}

void FastDeflate::writeTokens()
{
    for (std::size_t i = 0; i < m_tokenCount; ++i) {
        const std::uint32_t token = m_tokens[i];
        if ((token & kMatchFlag) == 0) {
            bits(m_literalCodes[token], m_literalLengths[token]);
        } else {
            const std::uint32_t lessThree = token >> 16U & 0xFFU;
            const Extra length = kLengths[lessThree];
            const std::size_t symbol = kEndOfBlock + length.symbol;
            bits(m_literalCodes[symbol], m_literalLengths[symbol]);
            bits(lessThree + 3 - length.base, length.bits);
            const std::uint32_t lessOne = token & 0x7FFFU;
            const Extra distance = distanceCode(lessOne);
            flushBytes();
            bits(m_distanceCodes[distance.symbol], m_distanceLengths[distance.symbol]);
            bits(lessOne - distance.base, distance.bits);
        }
        if (m_bitCount >= kDrainAt) {
            flushBytes();
        }
    }
    bits(m_literalCodes[kEndOfBlock], m_literalLengths[kEndOfBlock]);
}

void FastDeflate::bits(std::uint64_t value, int count)
{
    m_bits |= value << static_cast<unsigned>(m_bitCount);
    m_bitCount += count;
}

void FastDeflate::flushBytes()
{
    const std::size_t whole = static_cast<std::size_t>(m_bitCount) / 8;
    for (std::size_t i = 0; i < sizeof m_bits; ++i) {
        m_out[m_outHeld + i] = static_cast<std::uint8_t>(m_bits >> (8 * i));
    }
    m_outHeld += whole;
    m_bits = whole == sizeof m_bits ? 0 : m_bits >> (8 * whole);
    m_bitCount %= 8;
}

void FastDeflate::store(std::span<const std::uint8_t> bytes)
{
    std::memcpy(m_out.data() + m_outHeld, bytes.data(), bytes.size());
    m_outHeld += bytes.size();
}

void FastDeflate::deliver()
{
    m_sink({m_out.data(), m_outHeld});
    m_outHeld = 0;
}

} // namespace talvek::recovery::output
