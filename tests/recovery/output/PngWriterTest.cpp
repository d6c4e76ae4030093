#include "recovery/output/PngWriter.h"

#include "tests/recovery/output/DocumentBuilder.h"

#include <gtest/gtest.h>

namespace talvek::recovery::output {
namespace {

std::vector<std::uint8_t> samplesFor(const PngFormat& format, unsigned seed)
{
    Chance chance(seed);
    std::vector<std::uint8_t> samples(format.rowBytes() * format.height);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::uint8_t>(i / 3 + chance.byte() % 5U);
    }
    return samples;
}

std::string pngOf(const PngFormat& format, const std::vector<std::uint8_t>& samples)
{
    std::string png;
    PngWriter writer(format, [&](std::span<const std::uint8_t> bytes) {
        png.append(bytes.begin(), bytes.end());
    });
    for (std::uint32_t y = 0; y < format.height; ++y) {
        writer.writeRow(std::span(samples).subspan(y * format.rowBytes(), format.rowBytes()));
    }
    writer.finish();
    return png;
}

void expectReadBack(const PngFormat& format, const std::string& magickFormat)
{
    if (!hasImageMagick()) {
        GTEST_SKIP() << "ImageMagick's convert is not installed: nothing reads the PNG back";
    }
    const TemporaryFolder folder;
    const auto samples = samplesFor(format, 1);
    writeFile(folder.file("a.png"), pngOf(format, samples));
    EXPECT_EQ(pixelsOf(folder.file("a.png"), magickFormat, format.depth, folder), samples);
}

TEST(PngWriter, RgbaIsReadBack)
{
    expectReadBack({.width = 37, .height = 29}, "rgba");
}

TEST(PngWriter, RgbIsReadBack)
{
    expectReadBack({.width = 301, .height = 211, .samples = 3}, "rgb");
}

TEST(PngWriter, GrayIsReadBack)
{
    expectReadBack({.width = 5, .height = 1, .samples = 1, .isSrgb = false}, "gray");
}

TEST(PngWriter, SixteenBitsAreReadBack)
{
    expectReadBack({.width = 64, .height = 50, .depth = 16}, "rgba");
}

TEST(PngWriter, OnePixelIsReadBack)
{
    expectReadBack({.samples = 3}, "rgb");
}

TEST(PngWriter, ALineOf300000PixelsIsReadBack)
{
    if (!hasImageMagick()) {
        GTEST_SKIP() << "ImageMagick's convert is not installed: nothing reads the PNG back";
    }
    const TemporaryFolder folder;
    const PngFormat format{.width = 300000, .height = 2, .samples = 1, .isSrgb = false};
    const auto samples = samplesFor(format, 2);
    writeFile(folder.file("a.png"), pngOf(format, samples));
    const auto back = pixelsOf(folder.file("a.png"), "gray", 8, folder);
    if (back.empty()) {
        GTEST_SKIP() << "ImageMagick's policy here does not allow pictures of this width";
    }
    EXPECT_EQ(back, samples);
}

TEST(PngWriter, TheOffsetStandsInItsChunkWithItsSign)
{
    const PngFormat format{.offset = PngFormat::Offset{-3, 258}};
    const std::string png = pngOf(format, samplesFor(format, 3));
    const std::string chunk("oFFs\xFF\xFF\xFF\xFD\0\0\1\2\0", 13);
    EXPECT_NE(png.find(chunk), std::string::npos);
}

} // namespace
} // namespace talvek::recovery::output
