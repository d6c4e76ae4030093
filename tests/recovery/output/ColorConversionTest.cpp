#include "recovery/output/ColorConversion.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <bit>

namespace talvek::recovery::output {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// One pixel, its samples one after the other.
Bytes convertPixel(const ColorFacts& facts, const Bytes& samples)
{
    ColorConversion conversion(facts);
    Bytes rgba(conversion.resultDepth() == 16 ? 8 : 4);
    const std::size_t stride = samples.size() / static_cast<std::size_t>(conversion.planes());
    conversion.convertRow(samples, stride, 1, rgba);
    return rgba;
}

Bytes stored(float value)
{
    const auto bits = std::bit_cast<std::uint32_t>(value);
    return {static_cast<std::uint8_t>(bits >> 24U), static_cast<std::uint8_t>(bits >> 16U),
            static_cast<std::uint8_t>(bits >> 8U), static_cast<std::uint8_t>(bits)};
}

Bytes saved(cmsHPROFILE profile)
{
    cmsUInt32Number length = 0;
    cmsSaveProfileToMem(profile, nullptr, &length);
    Bytes bytes(length);
    cmsSaveProfileToMem(profile, bytes.data(), &length);
    cmsCloseProfile(profile);
    return bytes;
}

/// RGB with the curve x^gamma and the primaries of sRGB, or wider ones.
Bytes rgbProfile(double gamma, bool wide = false)
{
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}};
    if (wide) {
        primaries.Green = {0.21, 0.71, 1};
    }
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* curves[3] = {curve, curve, curve};
    const Bytes bytes = saved(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

TEST(ColorConversion, RgbWithoutAProfileIsSrgb)
{
    EXPECT_EQ(convertPixel({}, {1, 2, 3}), (Bytes{1, 2, 3, 255}));
}

TEST(ColorConversion, SixteenBitsStaySixteen)
{
    EXPECT_EQ(convertPixel({.depth = 16}, {1, 2, 3, 4, 5, 6}), (Bytes{1, 2, 3, 4, 5, 6, 255, 255}));
}

TEST(ColorConversion, GrayAndDuotoneAreGray)
{
    EXPECT_EQ(convertPixel({.mode = ColorMode::Grayscale}, {77}), (Bytes{77, 77, 77, 255}));
    EXPECT_EQ(convertPixel({.mode = ColorMode::Duotone}, {77}), (Bytes{77, 77, 77, 255}));
}

TEST(ColorConversion, CmykIsStoredInvertedAndItsInksMultiply)
{
    const ColorFacts cmyk{.mode = ColorMode::Cmyk, .colors = 4};
    EXPECT_EQ(convertPixel(cmyk, {255, 255, 255, 255}), (Bytes{255, 255, 255, 255}));
    EXPECT_EQ(convertPixel(cmyk, {0, 255, 255, 255}), (Bytes{0, 255, 255, 255}));
    EXPECT_EQ(convertPixel(cmyk, {255, 255, 255, 0}), (Bytes{0, 0, 0, 255}));
    EXPECT_EQ(convertPixel(cmyk, {200, 100, 50, 128}), (Bytes{100, 50, 25, 255}));
}

TEST(ColorConversion, ABitmapsOnesAreBlack)
{
    ColorConversion conversion({.mode = ColorMode::Bitmap, .depth = 1});
    Bytes rgba(4 * 9);
    conversion.convertRow(Bytes{0x40, 0x80}, 2, 9, rgba);
    EXPECT_EQ(rgba[0], 255);
    EXPECT_EQ(rgba[4], 0);
    EXPECT_EQ(rgba[8], 255);
    EXPECT_EQ(rgba[32], 0);
    EXPECT_EQ(rgba[35], 255);
}

TEST(ColorConversion, IndexesGoThroughThePaletteAndOneIsTransparent)
{
    ColorFacts facts{.mode = ColorMode::Indexed, .transparentIndex = 9};
    facts.palette.resize(768);
    facts.palette[5] = 10;
    facts.palette[256 + 5] = 20;
    facts.palette[512 + 5] = 30;
    EXPECT_EQ(convertPixel(facts, {5}), (Bytes{10, 20, 30, 255}));
    EXPECT_EQ(convertPixel(facts, {9})[3], 0);
}

TEST(ColorConversion, AModeThatDoesNotFitTheDepthIsOverruled)
{
    ColorConversion indexed({.mode = ColorMode::Indexed, .depth = 1});
    Bytes rgba(4 * 16);
    indexed.convertRow(Bytes{0x80, 0}, 2, 16, rgba);
    EXPECT_EQ(rgba[0], 0);
    EXPECT_EQ(rgba[60], 255);
    EXPECT_EQ(convertPixel({.mode = ColorMode::Indexed, .depth = 16}, {9, 8}),
              (Bytes{9, 8, 9, 8, 9, 8, 255, 255}));
    EXPECT_EQ(convertPixel({.mode = ColorMode::Bitmap}, {9}), (Bytes{9, 9, 9, 255}));
}

TEST(ColorConversion, IndexesWithoutAPaletteAreGray)
{
    EXPECT_EQ(convertPixel({.mode = ColorMode::Indexed, .palette = Bytes(100)}, {5}),
              (Bytes{5, 5, 5, 255}));
}

TEST(ColorConversion, MultichannelPlanesAreInks)
{
    const ColorFacts two{.mode = ColorMode::Multichannel, .colors = 2};
    EXPECT_EQ(convertPixel(two, {10, 20}), (Bytes{10, 20, 255, 255}));
    const ColorFacts five{.mode = ColorMode::Multichannel, .colors = 5};
    EXPECT_EQ(convertPixel(five, {255, 255, 255, 0}), (Bytes{0, 0, 0, 255}));
}

TEST(ColorConversion, NeutralLabIsNeutral)
{
    for (const std::uint8_t lightness : Bytes{0, 64, 128, 200, 255}) {
        const Bytes rgba = convertPixel({.mode = ColorMode::Lab}, {lightness, 128, 128});
        EXPECT_NEAR(rgba[0], rgba[1], 1);
        EXPECT_NEAR(rgba[1], rgba[2], 1);
        EXPECT_EQ(rgba[3], 255);
    }
    EXPECT_EQ(convertPixel({.mode = ColorMode::Lab}, {255, 128, 128})[1], 255);
}

TEST(ColorConversion, LabsAxesPointTheRightWay)
{
    const Bytes red = convertPixel({.mode = ColorMode::Lab}, {138, 200, 180});
    EXPECT_GT(red[0], red[1]);
    const Bytes blue = convertPixel({.mode = ColorMode::Lab}, {100, 128, 60});
    EXPECT_GT(blue[2], blue[0]);
}

TEST(ColorConversion, FloatsWithoutAProfileCountAsSrgbAndAreClipped)
{
    const ColorFacts facts{.mode = ColorMode::Grayscale, .depth = 32};
    const Bytes half = convertPixel(facts, stored(0.5F));
    EXPECT_NEAR(half[0] * 256 + half[1], 0.5 * 65535, 1);
    EXPECT_EQ(convertPixel(facts, stored(7.0F))[0], 255);
    EXPECT_EQ(convertPixel(facts, stored(-1.0F))[0], 0);
    EXPECT_EQ(convertPixel(facts, Bytes{0x7F, 0xC0, 0, 0})[0], 0);
    EXPECT_EQ(convertPixel(facts, Bytes{0x7F, 0x80, 0, 0})[0], 255);
}

TEST(ColorConversion, FloatsWithAProfileAreLight)
{
    ColorFacts facts{.depth = 32};
    facts.profile = rgbProfile(1.0);
    Bytes samples;
    for (int i = 0; i < 3; ++i) {
        const Bytes one = stored(0.5F);
        samples.insert(samples.end(), one.begin(), one.end());
    }
    EXPECT_TRUE(ColorConversion(facts).usesProfile());
    const Bytes half = convertPixel(facts, samples);
    EXPECT_NEAR(half[0] * 256 + half[1], 0.735357 * 65535, 3);
}

TEST(ColorConversion, TheProfileIsFollowed)
{
    ColorFacts facts;
    facts.profile = rgbProfile(1.8);
    const Bytes rgba = convertPixel(facts, {128, 128, 128});
    // 128 in 1.8 is 0.289 of the light, and that is 146 in sRGB.
    EXPECT_NEAR(rgba[0], 146, 1);
    EXPECT_EQ(rgba[3], 255);
    EXPECT_TRUE(ColorConversion(facts).usesProfile());
}

TEST(ColorConversion, TheProfileIsFollowedInSixteenBits)
{
    ColorFacts facts{.depth = 16};
    facts.profile = rgbProfile(1.8, true);
    ColorFacts eight;
    eight.profile = facts.profile;
    const Bytes deep = convertPixel(facts, {120, 120, 200, 200, 60, 60});
    const Bytes flat = convertPixel(eight, {120, 200, 60});
    EXPECT_NEAR(deep[0], flat[0], 1);
    EXPECT_NEAR(deep[2], flat[1], 1);
    EXPECT_NEAR(deep[4], flat[2], 1);
    EXPECT_EQ(deep[6], 255);
}

TEST(ColorConversion, AnSrgbProfileLeavesEverySampleAlone)
{
    ColorFacts facts;
    facts.profile = saved(cmsCreate_sRGBProfile());
    Chance chance(1);
    for (int i = 0; i < 200; ++i) {
        const Bytes in = {chance.byte(), chance.byte(), chance.byte()};
        const Bytes out = convertPixel(facts, in);
        EXPECT_EQ((Bytes{out[0], out[1], out[2]}), in);
    }
}

TEST(ColorConversion, AProfileOfAnotherModeIsNotUsed)
{
    ColorFacts facts{.mode = ColorMode::Cmyk, .colors = 4};
    facts.profile = rgbProfile(1.8);
    EXPECT_FALSE(ColorConversion(facts).usesProfile());
    EXPECT_EQ(convertPixel(facts, {0, 255, 255, 255}), (Bytes{0, 255, 255, 255}));
}

TEST(ColorConversion, DamagedProfilesEndInSomeColour)
{
    const Bytes sound = rgbProfile(2.2, true);
    Chance chance(11);
    for (int round = 0; round < 400; ++round) {
        ColorFacts facts;
        facts.profile = sound;
        if (chance.oneIn(3)) {
            facts.profile.resize(
                static_cast<std::size_t>(chance.below(static_cast<std::int32_t>(sound.size()))));
        }
        chance.damage(facts.profile, 1 + chance.below(12));
        EXPECT_EQ(convertPixel(facts, {1, 2, 3})[3], 255);
    }
}

} // namespace
} // namespace talvek::recovery::output
