#include "engine/PackBits.h"

#include "tests/support/Bytes.h"
#include "tests/support/PackBits.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>

namespace talvek::test {

namespace {

/// One run, by the letter of the format; bytes that are not there are zero.
Bytes plainRun(const Bytes& packed)
{
    const auto at = [&packed](std::size_t i) { return i < packed.size() ? packed[i] : 0; };
    const int control = static_cast<std::int8_t>(packed[0]);
    Bytes plain;
    if (control >= 0) {
        for (std::size_t i = 1; i <= static_cast<std::size_t>(control) + 1; ++i) {
            plain.push_back(static_cast<std::uint8_t>(at(i)));
        }
    } else if (control != -128) {
        plain.assign(static_cast<std::size_t>(1 - control), static_cast<std::uint8_t>(at(1)));
    }
    return plain;
}

Bytes expanded(const Bytes& packed)
{
    const PackBitsRun run = packBitsRun(packed[0]);
    Bytes out(run.plainBytes + 1, 0xEE);
    expandPackBitsRun(run, packed, std::span(out).first(run.plainBytes));
    EXPECT_EQ(out.back(), 0xEE) << "wrote behind its room";
    out.pop_back();
    return out;
}

} // namespace

TEST(PackBits, EveryControlByteTakesAndMakesWhatTheFormatSays)
{
    for (int control = 0; control < 256; ++control) {
        const PackBitsRun run = packBitsRun(static_cast<std::uint8_t>(control));
        const bool isNothing = control == 128;
        const std::size_t taken = isNothing       ? 1U
                                  : control > 128 ? 2U
                                                  : 2U + static_cast<unsigned>(control);
        EXPECT_EQ(run.packedBytes, taken) << control;
        Bytes packed(taken, 7);
        packed[0] = static_cast<std::uint8_t>(control);
        EXPECT_EQ(run.plainBytes, plainRun(packed).size()) << control;
        EXPECT_LE(run.plainBytes, kMostRunBytes);
        EXPECT_EQ(run.repeats, control > 128) << control;
    }
}

TEST(PackBits, TheByte80IsNothingAndNotARunOf129)
{
    EXPECT_EQ(packBitsRun(0x80).plainBytes, 0U);
    EXPECT_EQ(packBitsRun(0x81).plainBytes, 128U);
    EXPECT_EQ(packBitsRun(0x7F).plainBytes, 128U);
}

TEST(PackBits, EveryRunExpandsFromEveryPrefix)
{
    Random random(43);
    SCOPED_TRACE(random.seedText());
    for (int control = 0; control < 256; ++control) {
        Bytes packed = random.bytes(135);
        packed[0] = static_cast<std::uint8_t>(control);
        for (std::size_t size = 1; size <= packed.size(); ++size) {
            const Bytes prefix(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(size));
            ASSERT_EQ(expanded(prefix), plainRun(prefix)) << control << " cut at " << size;
        }
    }
}

TEST(PackBits, ManyRunsAtOnceAreThoseRunsOneByOne)
{
    Random random(7);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 2000; ++round) {
        Bytes packed(random.below(2048) + 1);
        for (std::uint8_t& byte : packed) {
            byte = static_cast<std::uint8_t>(random.below(256));
        }
        const std::size_t opensBefore = random.below(packed.size() + 1);
        Bytes atOnce(mostPlainBytes(opensBefore));
        const PackBitsTotals totals = expandPackBitsRuns(packed, opensBefore, atOnce);
        atOnce.resize(totals.plainBytes);

        Bytes oneByOne;
        std::size_t taken = 0;
        while (taken < opensBefore) {
            const PackBitsRun run = packBitsRun(packed[taken]);
            Bytes plain(run.plainBytes);
            expandPackBitsRun(run, std::span(packed).subspan(taken), plain);
            oneByOne.insert(oneByOne.end(), plain.begin(), plain.end());
            taken += run.packedBytes;
        }
        ASSERT_EQ(totals.packedBytes, taken) << round;
        ASSERT_EQ(atOnce, oneByOne) << round;
    }
}

TEST(PackBits, TheTestsOwnPackersAreUndoneRunByRun)
{
    Random random(44);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 2000; ++round) {
        const Bytes pixels = randomPixels(random.below(600), random);
        Bytes packed = random.chance(50) ? packBits(pixels) : packBitsAtRandom(pixels, random);
        Bytes plain;
        while (!packed.empty()) {
            append(plain, expanded(packed));
            const std::size_t taken = packBitsRun(packed[0]).packedBytes;
            ASSERT_LE(taken, packed.size());
            packed.erase(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(taken));
        }
        ASSERT_EQ(plain, pixels);
    }
}

} // namespace talvek::test
