#include "tests/support/PackBits.h"

#include <algorithm>

namespace talvek::test {

namespace {

constexpr std::size_t kLongestRun = 128;
constexpr std::uint8_t kNothing = 0x80;

/// How many of the bytes from `start` on are equal, up to the longest run.
std::size_t equalBytes(std::span<const std::uint8_t> plain, std::size_t start)
{
    std::size_t count = 1;
    while (count < kLongestRun && start + count < plain.size() &&
           plain[start + count] == plain[start]) {
        ++count;
    }
    return count;
}

void appendRepeat(Bytes& packed, std::uint8_t value, std::size_t count)
{
    packed.push_back(static_cast<std::uint8_t>(257 - count));
    packed.push_back(value);
}

void appendLiteral(Bytes& packed, std::span<const std::uint8_t> literal)
{
    packed.push_back(static_cast<std::uint8_t>(literal.size() - 1));
    packed.insert(packed.end(), literal.begin(), literal.end());
}

} // namespace

Bytes packBits(std::span<const std::uint8_t> plain)
{
    Bytes packed;
    std::size_t at = 0;
    while (at < plain.size()) {
        const std::size_t repeated = equalBytes(plain, at);
        if (repeated >= 3) {
            appendRepeat(packed, plain[at], repeated);
            at += repeated;
            continue;
        }
        std::size_t literal = repeated;
        while (at + literal < plain.size() && literal < kLongestRun &&
               equalBytes(plain, at + literal) < 3) {
            ++literal;
        }
        appendLiteral(packed, plain.subspan(at, literal));
        at += literal;
    }
    return packed;
}

Bytes packBitsAtRandom(std::span<const std::uint8_t> plain, Random& random)
{
    Bytes packed;
    std::size_t at = 0;
    while (at < plain.size()) {
        if (random.chance(4)) {
            packed.push_back(kNothing);
        }
        const std::size_t repeated = equalBytes(plain, at);
        const std::size_t most = std::min(kLongestRun, plain.size() - at);
        if (repeated >= 2 && random.chance(85)) {
            const std::size_t count = random.chance(70) ? repeated : 2 + random.below(repeated - 1);
            appendRepeat(packed, plain[at], count);
            at += count;
        } else {
            const std::size_t count =
                1 + random.below(random.chance(50) ? std::min<std::size_t>(most, 6) : most);
            appendLiteral(packed, plain.subspan(at, count));
            at += count;
        }
    }
    return packed;
}

Bytes randomPackedStream(std::size_t count, Random& random)
{
    Bytes packed;
    while (packed.size() < count) {
        const std::uint8_t control = random.chance(5) ? kNothing : random.byte();
        packed.push_back(control);
        const std::size_t data = control > kNothing ? 1 : control < kNothing ? control + 1U : 0U;
        append(packed, random.bytes(data));
    }
    packed.resize(count);
    return packed;
}

Bytes randomPixels(std::size_t count, Random& random)
{
    Bytes pixels;
    while (pixels.size() < count) {
        const std::size_t stretch = 1 + random.below(random.chance(20) ? 300 : 20);
        const std::uint8_t first = random.byte();
        const std::uint64_t kind = random.below(4);
        for (std::size_t i = 0; i < stretch; ++i) {
            const std::uint8_t ramp = static_cast<std::uint8_t>(first + i);
            pixels.push_back(kind < 2 ? first : kind == 2 ? ramp : random.byte());
        }
    }
    pixels.resize(count);
    return pixels;
}

} // namespace talvek::test
