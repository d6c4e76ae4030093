#include "recovery/output/FastDeflate.h"

#include "recovery/output/HuffmanCode.h"
#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes compressed(const Bytes& plain, std::size_t piece)
{
    Bytes packed;
    FastDeflate deflate([&](std::span<const std::uint8_t> bytes) {
        packed.insert(packed.end(), bytes.begin(), bytes.end());
    });
    for (std::size_t at = 0; at < plain.size(); at += piece) {
        deflate.append(std::span(plain).subspan(at, std::min(piece, plain.size() - at)));
    }
    deflate.finish();
    return packed;
}

/// What zlib makes of it; it must end with the stream's checksum, and take every byte.
Bytes expanded(const Bytes& packed, std::size_t length)
{
    Bytes plain(length + 1);
    z_stream stream{};
    inflateInit(&stream);
    stream.next_in = const_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = plain.data();
    stream.avail_out = static_cast<uInt>(plain.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(stream.avail_in, 0U);
    plain.resize(stream.total_out);
    inflateEnd(&stream);
    return plain;
}

void expectRoundTrip(const Bytes& plain, std::size_t piece = 1000)
{
    EXPECT_EQ(expanded(compressed(plain, piece), plain.size()), plain);
}

Bytes noise(std::size_t length, unsigned seed, unsigned mask = 0xFF)
{
    Chance chance(seed);
    Bytes bytes(length);
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(chance.byte() & mask);
    }
    return bytes;
}

TEST(FastDeflate, NothingIsAStream)
{
    expectRoundTrip({});
}

TEST(FastDeflate, EveryShortLengthComesBack)
{
    for (std::size_t length = 1; length < 40; ++length) {
        expectRoundTrip(Bytes(length, 7));
        expectRoundTrip(noise(length, 1));
    }
}

TEST(FastDeflate, LengthsAroundABlockComeBack)
{
    for (const std::size_t length : {131071U, 131072U, 131073U, 262144U, 262150U}) {
        expectRoundTrip(Bytes(length, 0));
        expectRoundTrip(noise(length, 2, 0x0F), 4096);
    }
}

TEST(FastDeflate, NoiseIsStoredWithLittleOnTop)
{
    const Bytes plain = noise(1000000, 3);
    const Bytes packed = compressed(plain, 777);
    EXPECT_LT(packed.size(), plain.size() + plain.size() / 1000 + 100);
    EXPECT_EQ(expanded(packed, plain.size()), plain);
}

TEST(FastDeflate, OneValueShrinksAHundredfold)
{
    EXPECT_LT(compressed(Bytes(1000000, 9), 5000).size(), 10000U);
}

TEST(FastDeflate, MatchesAtTheWindowsEndComeBack)
{
    const Bytes block = noise(300, 4);
    for (const std::size_t gap : {32000U, 32468U, 32467U, 32469U, 33000U}) {
        Bytes plain = block;
        const Bytes filler = noise(gap, 5);
        plain.insert(plain.end(), filler.begin(), filler.end());
        plain.insert(plain.end(), block.begin(), block.end());
        expectRoundTrip(plain, 10007);
    }
}

TEST(FastDeflate, EveryMatchLengthComesBack)
{
    Bytes plain;
    for (std::size_t length = 4; length < 300; ++length) {
        const Bytes piece = noise(length, static_cast<unsigned>(length));
        plain.insert(plain.end(), piece.begin(), piece.end());
        plain.insert(plain.end(), piece.begin(), piece.end());
        plain.push_back(static_cast<std::uint8_t>(length));
    }
    expectRoundTrip(plain, 50000);
}

TEST(FastDeflate, RandomMixturesComeBack)
{
    Chance chance(20);
    for (unsigned round = 0; round < 60; ++round) {
        Bytes plain;
        while (plain.size() < 200000 + round * 999) {
            const auto length = static_cast<std::size_t>(chance.below(3000) + 1);
            const auto seed = static_cast<unsigned>(chance.below(20));
            const Bytes piece = chance.oneIn(2) ? Bytes(length, chance.byte())
                                                : noise(length, seed, 0xFFU >> seed % 8);
            plain.insert(plain.end(), piece.begin(), piece.end());
        }
        expectRoundTrip(plain, static_cast<std::size_t>(chance.below(9000) + 1));
    }
}

TEST(HuffmanCode, SkewedCountsKeepToTheLimitAndFillTheCode)
{
    std::vector<std::uint32_t> counts(40);
    std::uint32_t a = 1;
    std::uint32_t b = 1;
    for (auto& count : counts) {
        count = a;
        b = std::exchange(a, a + b);
    }
    std::vector<std::uint8_t> lengths(counts.size());
    codeLengths(counts, 7, lengths);
    unsigned filled = 0;
    for (const std::uint8_t length : lengths) {
        ASSERT_GE(length, 1);
        ASSERT_LE(length, 7);
        filled += 128U >> length;
    }
    EXPECT_EQ(filled, 128U);
}

TEST(HuffmanCode, OneSymbolAloneGetsACompanion)
{
    const std::vector<std::uint32_t> counts = {0, 0, 5, 0};
    std::vector<std::uint8_t> lengths(4);
    codeLengths(counts, 15, lengths);
    EXPECT_EQ(lengths, (std::vector<std::uint8_t>{1, 0, 1, 0}));
}

} // namespace
} // namespace talvek::recovery::output
