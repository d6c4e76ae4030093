#include "engine/SignatureSearch.h"

#include "tests/support/Bytes.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>

namespace talvek::test {

namespace {

/// So simple that it is unlikely to be wrong.
std::size_t plainFind(std::span<const std::uint8_t> bytes, std::size_t from)
{
    for (std::size_t i = from; i + 4 <= bytes.size(); ++i) {
        if (bytes[i] == '8' && bytes[i + 1] == 'B' && bytes[i + 2] == 'I' && bytes[i + 3] == 'M') {
            return i;
        }
    }
    return kNotFound;
}

void putSignature(Bytes& bytes, std::size_t offset)
{
    std::copy_n(kSignature.begin(), 4, bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace

TEST(SignatureSearch, FindsTheSignatureBetweenAnyPaddingOnEveryAlignment)
{
    for (std::size_t before = 0; before <= 50; ++before) {
        for (std::size_t after = 0; after <= 50; ++after) {
            Bytes bytes(before + 4 + after, 'M');
            putSignature(bytes, before);
            ASSERT_EQ(findSignature(bytes), before) << after;
        }
    }
}

TEST(SignatureSearch, StartsWhereItIsTold)
{
    Bytes bytes(200, '8');
    putSignature(bytes, 60);
    putSignature(bytes, 131);
    for (std::size_t from = 0; from <= 210; ++from) {
        EXPECT_EQ(findSignature(bytes, from), plainFind(bytes, from)) << from;
    }
}

TEST(SignatureSearch, NeverSeesASignatureThatIsCut)
{
    Bytes bytes(100);
    putSignature(bytes, 96);
    for (std::size_t size = 0; size <= 100; ++size) {
        EXPECT_EQ(findSignature(std::span(bytes).first(size)), size == 100 ? 96 : kNotFound);
    }
}

TEST(SignatureSearch, ComparesCaseAndEveryByte)
{
    for (std::size_t i = 0; i < 4; ++i) {
        for (int value = 0; value < 256; ++value) {
            Bytes bytes(40);
            putSignature(bytes, 17);
            bytes[17 + i] = static_cast<std::uint8_t>(value);
            ASSERT_EQ(findSignature(bytes), plainFind(bytes, 0));
        }
    }
}

TEST(SignatureSearch, AgreesWithThePlainSearchAmongNearMisses)
{
    Random random(41);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 20'000; ++round) {
        Bytes bytes(random.below(150));
        for (std::uint8_t& each : bytes) {
            each = static_cast<std::uint8_t>(random.pick({'8', 'B', 'I', 'M'}));
        }
        const std::size_t skipped = random.below(bytes.size() + 1);
        const auto view = std::span(bytes).subspan(skipped);
        const std::size_t from = random.below(view.size() + 3);
        ASSERT_EQ(findSignature(view, from), plainFind(view, from));
    }
}

TEST(SignatureSearch, TextIsHeldOnlyWhollyWithinTheBytes)
{
    const Bytes bytes = bytesOf("abc");
    EXPECT_TRUE(holdsAt(bytes, 1, "bc"));
    EXPECT_TRUE(holdsAt(bytes, 3, ""));
    EXPECT_FALSE(holdsAt(bytes, 2, "cd"));
    EXPECT_FALSE(holdsAt(bytes, 4, ""));
    EXPECT_FALSE(holdsAt(bytes, kNotFound, "a"));
}

} // namespace talvek::test
