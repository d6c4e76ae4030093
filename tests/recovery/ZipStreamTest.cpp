#include "recovery/ZipStream.h"

#include "tests/recovery/Damaged.h"
#include "tests/support/ChannelData.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::measureZip;
using recovery::ZipStream;

Bytes plainText()
{
    Bytes plain(300000);
    for (std::size_t i = 0; i < plain.size(); ++i) {
        plain[i] = static_cast<std::uint8_t>(i * i / 7);
    }
    return plain;
}

TEST(ZipStream, IsReadInPiecesAndProvedAtItsEnd)
{
    const Bytes plain = plainText();
    Bytes file(10, 0xEE);
    append(file, deflated(plain));
    const auto length = static_cast<std::int64_t>(file.size()) - 10;
    append(file, Bytes(50, 0xEE));
    Source source(file);
    ZipStream stream(source.bytes(), 10, source.bytes().size());
    Bytes read;
    Bytes piece(777);
    while (const std::size_t count = stream.read(piece)) {
        read.insert(read.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_TRUE(read == plain);
    EXPECT_TRUE(stream.isProved());
    EXPECT_EQ(stream.consumed(), length);
}

TEST(ZipStream, AChangedChecksumProvesNothing)
{
    Bytes file = deflated(plainText());
    file.back() ^= 1U;
    Source source(file);
    const auto extent = measureZip(source.bytes(), 0, source.bytes().size(), 1 << 20);
    EXPECT_FALSE(extent.isProved);
}

TEST(ZipStream, GivesWhatStandsBeforeTheDamage)
{
    const Bytes plain = plainText();
    const Bytes whole = deflated(plain);
    const Bytes half(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
    Source source(half);
    ZipStream stream(source.bytes(), 0, source.bytes().size());
    Bytes read(plain.size());
    const std::size_t count = stream.read(read);
    EXPECT_GT(count, 0U);
    EXPECT_LT(count, plain.size());
    EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(count),
                           read.begin()));
    EXPECT_FALSE(stream.isProved());
}

TEST(ZipStream, MakesNoMoreThanItIsAllowedTo)
{
    Source source(deflated(Bytes(1 << 20, 0)));
    const auto extent = measureZip(source.bytes(), 0, source.bytes().size(), 1000);
    EXPECT_LE(extent.produced, 1 << 17);
    EXPECT_FALSE(extent.isProved);
}

TEST(ZipStream, ItsFirstBytesAreKnown)
{
    Source source(deflated(plainText()));
    EXPECT_TRUE(recovery::isZipHeader(source.bytes(), 0));
    Source other(Bytes{0x78, 0x9D});
    EXPECT_FALSE(recovery::isZipHeader(other.bytes(), 0));
    EXPECT_FALSE(recovery::isZipHeader(other.bytes(), 1));
}

} // namespace talvek::test
