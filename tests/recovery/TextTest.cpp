#include "recovery/Text.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::utf16OfUtf8;
using recovery::Utf8Check;
using recovery::utf8OfMacRoman;
using recovery::utf8OfUtf16;

TEST(Text, Utf16BecomesUtf8)
{
    EXPECT_EQ(utf8OfUtf16(Bytes{0x00, 0x41, 0x00, 0xE9, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00}),
              "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Text, ATerminatorIsNoLetter)
{
    EXPECT_EQ(utf8OfUtf16(Bytes{0x00, 0x41, 0x00, 0x00}), "A");
}

TEST(Text, HalfAPairIsReplaced)
{
    EXPECT_EQ(utf8OfUtf16(Bytes{0xD8, 0x3D, 0x00, 0x41}), "\xEF\xBF\xBD"
                                                          "A");
    EXPECT_EQ(utf8OfUtf16(Bytes{0xDE, 0x00}), "\xEF\xBF\xBD");
}

TEST(Text, MacRomanHasItsOwnUpperHalf)
{
    EXPECT_EQ(utf8OfMacRoman(Bytes{0x41, 0x80, 0xDB}), "A\xC3\x84\xE2\x82\xAC");
}

TEST(Text, Utf8BecomesUtf16)
{
    EXPECT_EQ(utf16OfUtf8("A\xF0\x9F\x98\x80"), u"A\xD83D\xDE00");
}

bool isText(const Bytes& first, const Bytes& second = {})
{
    Utf8Check check;
    check.add(first);
    check.add(second);
    return check.isText();
}

TEST(Text, ACharacterMayLieAcrossTwoPieces)
{
    EXPECT_TRUE(isText({'a', '\n', 0xE2}, {0x82, 0xAC}));
    EXPECT_FALSE(isText({'a', 0xE2, 0x82}));
}

TEST(Text, StrayBytesAndControlCharactersAreNoText)
{
    EXPECT_FALSE(isText({'a', 0x82}));
    EXPECT_FALSE(isText({0xE2, 'a', 0x82}));
    EXPECT_FALSE(isText({'a', 0x01}));
    EXPECT_FALSE(isText({0xFF}));
}

} // namespace talvek::test
