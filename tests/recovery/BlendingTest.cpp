#include "recovery/Blending.h"

#include <gtest/gtest.h>

#include <array>

namespace talvek::test {

using recovery::blendOf;
using recovery::isBlendKnown;

struct Expected
{
    const char* letters;
    float result; ///< of 0.6 over 0.25
};

TEST(Blending, EachModeHasItsOwnFormula)
{
    constexpr std::array kExpected = {
        Expected{"norm", 0.6F},  Expected{"mul ", 0.15F},    Expected{"scrn", 0.7F},
        Expected{"dark", 0.25F}, Expected{"lite", 0.6F},     Expected{"hLit", 0.4F},
        Expected{"over", 0.3F},  Expected{"sLit", 0.3F},     Expected{"diff", 0.35F},
        Expected{"smud", 0.55F}, Expected{"div ", 0.625F},   Expected{"idiv", 0.0F},
        Expected{"lddg", 0.85F}, Expected{"lbrn", 0.0F},     Expected{"vLit", 0.3125F},
        Expected{"lLit", 0.45F}, Expected{"pLit", 0.25F},    Expected{"hMix", 0.0F},
        Expected{"fsub", 0.0F},  Expected{"fdiv", 0.416667F}};
    for (const Expected& one : kExpected) {
        EXPECT_NEAR(blendOf(one.letters)(0.25F, 0.6F), one.result, 1e-5F) << one.letters;
        EXPECT_TRUE(isBlendKnown(one.letters)) << one.letters;
    }
}

TEST(Blending, BlackAndWhiteStayWithinThemselves)
{
    for (const char* letters :
         {"norm", "mul ", "scrn", "dark", "lite", "hLit", "over", "sLit", "diff", "smud",
          "div ", "idiv", "lddg", "lbrn", "vLit", "lLit", "pLit", "hMix", "fsub", "fdiv"}) {
        for (const float below : {0.0F, 0.5F, 1.0F}) {
            for (const float above : {0.0F, 0.5F, 1.0F}) {
                const float made = blendOf(letters)(below, above);
                EXPECT_GE(made, 0.0F) << letters << ' ' << below << ' ' << above;
                EXPECT_LE(made, 1.0F) << letters << ' ' << below << ' ' << above;
            }
        }
    }
}

TEST(Blending, ModesOfWholePixelsCountAsNormal)
{
    for (const char* letters :
         {"hue ", "sat ", "colr", "lum ", "dkCl", "lgCl", "diss", "????", ""}) {
        EXPECT_EQ(blendOf(letters)(0.25F, 0.6F), 0.6F) << letters;
        EXPECT_FALSE(isBlendKnown(letters)) << letters;
    }
}

} // namespace talvek::test
