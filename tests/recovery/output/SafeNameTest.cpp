#include "recovery/output/SafeName.h"

#include "recovery/output/Utf8.h"
#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

TEST(SafeName, PlainNamesStay)
{
    EXPECT_EQ(safeFileName("logo.ai", "x"), "logo.ai");
    EXPECT_EQ(safeFileName("\xE8\x83\x8C\xE6\x99\xAF.psd", "x"), "\xE8\x83\x8C\xE6\x99\xAF.psd");
}

TEST(SafeName, SeparatorsAndControlsBecomeUnderscores)
{
    EXPECT_EQ(safeFileName("../../etc/passwd", "x"), "_.._.._etc_passwd");
    EXPECT_EQ(safeFileName("a\\b:c*d\n", "x"), "a_b_c_d_");
    EXPECT_EQ(safeFileName(std::string_view("a\0b", 3), "x"), "a_b");
}

TEST(SafeName, DirectionMarksCannotHideAnExtension)
{
    EXPECT_EQ(safeFileName("a\xE2\x80\xAEgpj.exe", "x"), "a_gpj.exe");
}

TEST(SafeName, NamesWithAMeaningGetAnUnderscore)
{
    EXPECT_EQ(safeFileName(".profile", "x"), "_.profile");
    EXPECT_EQ(safeFileName("-rf", "x"), "_-rf");
    EXPECT_EQ(safeFileName("con.psd", "x"), "_con.psd");
    EXPECT_EQ(safeFileName("LPT1", "x"), "_LPT1");
    EXPECT_EQ(safeFileName("console", "x"), "console");
}

TEST(SafeName, WhatLeavesNothingTakesTheFallback)
{
    EXPECT_EQ(safeFileName("", "none"), "none");
    EXPECT_EQ(safeFileName(" .. ", "none"), "none");
    EXPECT_EQ(safeFileName(".", "none"), "none");
}

TEST(SafeName, LongNamesKeepTheirExtension)
{
    const std::string name = safeFileName(std::string(500, 'a') + ".psb", "x", 60);
    EXPECT_EQ(name.size(), 59U);
    EXPECT_TRUE(name.ends_with("a.psb"));
}

TEST(SafeName, CuttingSplitsNoLetter)
{
    std::string umlauts;
    for (int i = 0; i < 200; ++i) {
        umlauts += "\xC3\xA4";
    }
    for (std::size_t most = 32; most < 40; ++most) {
        const std::string name = safeFileName(umlauts, "x", most);
        EXPECT_EQ(cleanUtf8(name), name);
        EXPECT_LE(name.size(), most);
    }
}

TEST(SafeName, AnyBytesGiveAUsableName)
{
    Chance chance(7);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(static_cast<std::size_t>(chance.below(200)), ' ');
        for (char& c : bytes) {
            c = static_cast<char>(chance.byte());
        }
        const std::string name = safeFileName(bytes, "x", 64);
        ASSERT_FALSE(name.empty());
        ASSERT_LE(name.size(), 64U);
        ASSERT_EQ(name.find('/'), std::string::npos);
        ASSERT_EQ(name.find('\0'), std::string::npos);
        ASSERT_NE(name[0], '.');
        ASSERT_EQ(cleanUtf8(name), name);
    }
}

TEST(UniqueNames, TheSecondOfAKindGetsANumberBeforeItsExtension)
{
    UniqueNames names;
    EXPECT_EQ(names.take("Logo.png"), "Logo.png");
    EXPECT_EQ(names.take("logo.PNG"), "logo (2).PNG");
    EXPECT_EQ(names.take("Logo (2).png"), "Logo (2) (2).png");
    EXPECT_EQ(names.take("logo.png"), "logo (3).png");
}

TEST(Utf8, WhatIsNotUtf8BecomesTheReplacement)
{
    EXPECT_EQ(cleanUtf8("a\xC0\xAF"), "a\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(cleanUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(cleanUtf8("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(cleanUtf8("\xF0\x9F\x98"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

} // namespace
} // namespace talvek::recovery::output
