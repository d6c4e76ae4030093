#include "recovery/output/Html.h"

#include <gtest/gtest.h>

#include <vector>

namespace talvek::recovery::output {
namespace {

TEST(Html, MarkupInNamesIsText)
{
    EXPECT_EQ(escaped("<img src=x onerror='a()'>&\""),
              "&lt;img src=x onerror=&#39;a()&#39;&gt;&amp;&quot;");
}

TEST(Html, ControlsAndDirectionMarksAreReplaced)
{
    EXPECT_EQ(escaped("a\x01\xE2\x80\xAE"), "a\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Html, LongNamesEndInAnEllipsis)
{
    EXPECT_EQ(escaped("abcdef", 3), "abc\xE2\x80\xA6");
}

TEST(Html, LinksHoldNothingButPlainLetters)
{
    EXPECT_EQ(asLink("Layers/001 a\"b.png"), "Layers/001%20a%22b.png");
}

TEST(Html, DataIsInBase64)
{
    const std::vector<std::uint8_t> bytes = {'M', 'a', 'n', 'y'};
    EXPECT_EQ(dataUri("image/png", bytes), "data:image/png;base64,TWFueQ==");
    EXPECT_EQ(dataUri("a/b", std::span(bytes).first(3)), "data:a/b;base64,TWFu");
    EXPECT_EQ(dataUri("a/b", std::span(bytes).first(2)), "data:a/b;base64,TWE=");
}

TEST(Html, NumbersAreGrouped)
{
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1234567), "1,234,567");
    EXPECT_EQ(grouped(-1234), "-1,234");
}

TEST(Html, SizesAreInWords)
{
    EXPECT_EQ(sizeInWords(1), "1 byte");
    EXPECT_EQ(sizeInWords(999), "999 bytes");
    EXPECT_EQ(sizeInWords(1000), "1.0 KB");
    EXPECT_EQ(sizeInWords(123456), "123 KB");
    EXPECT_EQ(sizeInWords(1083474), "1.0 MB");
    EXPECT_EQ(sizeInWords(INT64_MAX), "9223 PB");
}

} // namespace
} // namespace talvek::recovery::output
