#include "TestDocument.h"

#include <QDir>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace talvek::testing {

namespace {

constexpr std::size_t kModeOffset = 24;
constexpr std::size_t kWidthOffset = 18;

std::function<double(int, int, int)> always(double value)
{
    return [value](int, int, int) { return value; };
}

TestDocument oneColour(ColourMode mode, std::vector<double> samples)
{
    return TestDocument()
        .mode(mode)
        .channels(static_cast<int>(samples.size()))
        .size(1, 1)
        .samples(
            [samples](int plane, int, int) { return samples[static_cast<std::size_t>(plane)]; });
}

bool isNear(QRgb one, QRgb other, int tolerance)
{
    return std::abs(qRed(one) - qRed(other)) <= tolerance &&
           std::abs(qGreen(one) - qGreen(other)) <= tolerance &&
           std::abs(qBlue(one) - qBlue(other)) <= tolerance && qAlpha(one) == qAlpha(other);
}

bool isGray(const QImage& image)
{
    return !image.isNull() && image.allGray();
}

Bytes with(Bytes document, std::size_t offset, std::uint64_t value, int count)
{
    putNumber(document, offset, value, count);
    return document;
}

// Colours

TEST(Picture, InBitmapsAOneIsBlack)
{
    const auto document = TestDocument().mode(ColourMode::Bitmap).depth(1).channels(1).size(9, 1);
    const QImage image = decoded(TestDocument(document).samples(
        [](int, int, int column) { return column == 8 ? 0.0 : 1.0; }));
    EXPECT_EQ(image.pixel(7, 0), qRgb(255, 255, 255));
    EXPECT_EQ(image.pixel(8, 0), qRgb(0, 0, 0));
}

TEST(Picture, OneBitASampleIsBlackAndWhiteWhateverTheMode)
{
    auto document = TestDocument().depth(1).channels(1).size(20, 3);
    const QImage asBitmap = decoded(TestDocument(document).mode(ColourMode::Bitmap));
    EXPECT_EQ(decoded(TestDocument(document).mode(ColourMode::Rgb)), asBitmap);
    EXPECT_EQ(decoded(TestDocument(document).mode(ColourMode::Indexed)), asBitmap);
}

TEST(Picture, ShortPaletteGivesTheColoursItHasAndGrayForTheRest)
{
    const Bytes twoColours = {10, 40, 20, 50, 30, 60};
    auto document = TestDocument().mode(ColourMode::Indexed).channels(1).size(3, 1);
    document.colourData(twoColours).samples([](int, int, int column) { return column / 255.0; });
    const QImage image = decoded(document);
    EXPECT_EQ(image.pixel(0, 0), qRgb(10, 20, 30));
    EXPECT_EQ(image.pixel(1, 0), qRgb(40, 50, 60));
    EXPECT_EQ(image.pixel(2, 0), qRgb(2, 2, 2));
}

TEST(Picture, IndexedPictureWithoutPaletteIsGray)
{
    EXPECT_TRUE(isGray(decoded(TestDocument().mode(ColourMode::Indexed).channels(1))));
}

TEST(Picture, IndexedPictureShowsItsFirstPlaneWhateverTheChannelCount)
{
    const auto document = TestDocument().mode(ColourMode::Indexed).colourData(Bytes(768, 9));
    EXPECT_EQ(decoded(TestDocument(document).channels(1)),
              decoded(TestDocument(document).channels(3)));
}

TEST(Picture, InkIsStoredInverted)
{
    EXPECT_EQ(decoded(oneColour(ColourMode::Cmyk, {1, 1, 1, 1})).pixel(0, 0), 0xFFFFFFFFU);
    EXPECT_EQ(decoded(oneColour(ColourMode::Cmyk, {0, 1, 1, 1})).pixel(0, 0), qRgb(0, 255, 255));
    EXPECT_EQ(decoded(oneColour(ColourMode::Cmyk, {1, 1, 1, 0})).pixel(0, 0), qRgb(0, 0, 0));
}

TEST(Picture, MultichannelIsInkAsFarAsItGoes)
{
    const auto pixel = [](std::vector<double> samples) {
        return decoded(oneColour(ColourMode::Multichannel, std::move(samples))).pixel(0, 0);
    };
    EXPECT_EQ(pixel({0.2}), qRgb(51, 51, 51));
    EXPECT_EQ(pixel({0.2, 0.4}), qRgb(51, 102, 255));
    EXPECT_EQ(pixel({0.2, 0.4, 0.6}), qRgb(51, 102, 153));
    EXPECT_EQ(pixel({0.2, 0.4, 0.6, 0.0, 1.0}), qRgb(0, 0, 0));
}

TEST(Picture, DuotoneIsShownAsGray)
{
    const auto document = TestDocument().channels(1).colourData(Bytes(500, 7));
    EXPECT_EQ(decoded(TestDocument(document).mode(ColourMode::Duotone)),
              decoded(TestDocument(document).mode(ColourMode::Grayscale)));
}

TEST(Picture, LabOfTheScreensPrimariesGivesThemBack)
{
    struct Known
    {
        double lightness, a, b;
        QRgb colour;
    };
    const Known primaries[] = {{100, 0, 0, qRgb(255, 255, 255)},
                               {53.585, 0, 0, qRgb(128, 128, 128)},
                               {54.29, 80.81, 69.89, qRgb(255, 0, 0)},
                               {87.82, -79.27, 80.99, qRgb(0, 255, 0)},
                               {29.57, 68.30, -112.03, qRgb(0, 0, 255)}};
    for (const Known& known : primaries) {
        const double full = 65535.0 / 256;
        auto document = oneColour(ColourMode::Lab, {known.lightness / 100, (known.a + 128) / full,
                                                    (known.b + 128) / full});
        EXPECT_PRED3(isNear, decoded(document.depth(16)).pixel(0, 0), known.colour, 2);
    }
}

TEST(Picture, RealNumbersOutsideTheRangeAreClamped)
{
    const auto pixel = [](double value) {
        auto document = TestDocument().mode(ColourMode::Grayscale).channels(1).depth(32);
        return decoded(document.size(1, 1).samples(always(value))).pixel(0, 0);
    };
    EXPECT_EQ(pixel(-1), qRgb(0, 0, 0));
    EXPECT_EQ(pixel(std::numeric_limits<double>::quiet_NaN()), qRgb(0, 0, 0));
    EXPECT_EQ(pixel(7), qRgb(255, 255, 255));
    EXPECT_EQ(pixel(std::numeric_limits<double>::infinity()), qRgb(255, 255, 255));
    EXPECT_EQ(pixel(0.25), qRgb(137, 137, 137));
}

// Transparency

/// A disc of a colour laid on white, and its opacity.
double discOnWhite(int plane, int row, int column)
{
    const double opacity = std::max(0.0, 1.0 - std::hypot(row - 20, column - 20) / 18);
    const double colour = 0.3 * plane;
    return plane == 3 ? opacity : 1 - opacity * (1 - colour);
}

TEST(Picture, ExtraChannelOfAPictureOnWhiteIsItsTransparency)
{
    const QImage image = decoded(TestDocument().channels(4).size(40, 40).samples(discOnWhite));
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    const QColor centre = image.pixelColor(20, 20);
    EXPECT_EQ(centre, QColor(0, 77, 153));
    EXPECT_NEAR(image.pixelColor(20, 29).alpha(), 128, 1);
    EXPECT_NEAR(image.pixelColor(20, 29).green(), 77, 3);
}

TEST(Picture, ExtraChannelThatWouldHideColourIsASelection)
{
    const QImage image = decoded(TestDocument().channels(4).size(40, 40).samples(
        [](int plane, int row, int column) { return plane == 3 ? row / 40.0 : column / 40.0; }));
    EXPECT_EQ(image, decoded(TestDocument().channels(3).size(40, 40).samples(
                         [](int, int, int column) { return column / 40.0; })));
}

TEST(Picture, NegativeLayerCountSaysThatTheExtraChannelIsTransparency)
{
    Bytes section;
    appendNumber(section, 4, 4);
    appendNumber(section, 0xFFFF, 2); // -1
    appendNumber(section, 0, 6);
    const QImage image =
        decoded(TestDocument().channels(4).size(2, 1).layerSection(section).samples(
            [](int plane, int, int column) { return plane == 3 ? 0.4 * column : 0.2; }));
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(1, 0).alpha(), 102);
    EXPECT_NEAR(image.pixelColor(1, 0).red(), 51, 2);
}

TEST(Picture, MissingTransparencyIsOpaque)
{
    Bytes bytes = TestDocument().channels(4).size(40, 40).samples(discOnWhite).build();
    bytes.resize(bytes.size() - 800);
    const QImage image = decoded(bytes);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(0, 39), QColor(Qt::white));
}

// Salvaged documents

TEST(Picture, MaskHeldOnceIsGray)
{
    EXPECT_TRUE(isGray(decoded(TestDocument().planes(1))));
    EXPECT_TRUE(isGray(decoded(TestDocument().mode(ColourMode::Cmyk).channels(4).planes(1))));
    EXPECT_TRUE(isGray(decoded(TestDocument().mode(ColourMode::Lab).planes(1))));
}

TEST(Picture, MaskHeldThreeTimesIsGrayInRgbCmykAndGray)
{
    const auto same = [](int, int row, int column) { return (row * 7 + column) / 50.0; };
    const QImage once =
        decoded(TestDocument().mode(ColourMode::Grayscale).channels(1).samples(same));
    for (const auto& [mode, channels] :
         {std::pair{ColourMode::Rgb, 3}, std::pair{ColourMode::Cmyk, 4},
          std::pair{ColourMode::Grayscale, 1}}) {
        auto document = TestDocument().mode(mode).channels(channels).planes(3).samples(same);
        EXPECT_EQ(decoded(document), once);
    }
}

TEST(Picture, DocumentThatDeclaresNoChannelHasThoseOfItsMode)
{
    EXPECT_EQ(decoded(TestDocument().channels(0).planes(3)), decoded(TestDocument()));
}

TEST(Picture, CodesLeftBetweenRawPlanesAreNotTakenForPixels)
{
    const auto document = TestDocument().depth(16);
    Bytes bytes = document.build();
    const std::size_t plane = document.planeBytes();
    const auto start =
        bytes.begin() + static_cast<std::ptrdiff_t>(document.compressionOffset() + 2);
    const Bytes zeros(2, 0);
    bytes.insert(start + static_cast<std::ptrdiff_t>(2 * plane), zeros.begin(), zeros.end());
    const auto again =
        bytes.begin() + static_cast<std::ptrdiff_t>(document.compressionOffset() + 2 + plane);
    bytes.insert(again, zeros.begin(), zeros.end());
    bytes.insert(bytes.end(), {3, 1});
    EXPECT_EQ(decoded(bytes), decoded(document));
}

TEST(Picture, LongDataShowsThePictureAlone)
{
    Bytes bytes = TestDocument().build();
    bytes.insert(bytes.end(), 5000, 0xAB);
    EXPECT_EQ(decoded(bytes), decoded(TestDocument()));
}

TEST(Picture, ColourDataThatClaimsMoreThanTheFileLeavesAllRowsMissing)
{
    const QImage image = decoded(with(TestDocument().build(), 26, 0xFFFFFFFFU, 4));
    ASSERT_EQ(image.size(), QSize(7, 5));
    EXPECT_EQ(image.pixelColor(3, 3).alpha(), 0);
}

TEST(Picture, SectionsBeforeThePictureAreSkipped)
{
    const auto document = TestDocument()
                              .colourData(Bytes(112, 1))
                              .resources(Bytes(333, 2))
                              .layerSection(Bytes(77, 0));
    EXPECT_EQ(decoded(document), decoded(TestDocument()));
}

// What cannot be shown

TEST(Picture, NegativeSizesOfSalvagedLayersGiveNothing)
{
    const Bytes document = TestDocument().build();
    EXPECT_TRUE(decoded(with(document, kWidthOffset, 0xFFFFFFFEU, 4)).isNull());
    EXPECT_TRUE(decoded(with(document, kWidthOffset - 4, 0xFFFF00F0U, 4)).isNull());
    EXPECT_TRUE(decoded(with(document, kWidthOffset, 0, 4)).isNull());
}

TEST(Picture, UnknownKindsGiveNothing)
{
    const auto builder = TestDocument();
    const Bytes document = builder.build();
    EXPECT_TRUE(decoded(with(document, 0, 0x38425054, 4)).isNull());
    EXPECT_TRUE(decoded(with(document, 4, 2, 2)).isNull());
    EXPECT_TRUE(decoded(with(document, 22, 24, 2)).isNull());
    EXPECT_TRUE(decoded(with(document, kModeOffset, 5, 2)).isNull());
    EXPECT_TRUE(decoded(with(document, kModeOffset, 10, 2)).isNull());
    EXPECT_TRUE(decoded(with(document, builder.compressionOffset(), 2, 2)).isNull());
    EXPECT_FALSE(decoded(document).isNull());
}

TEST(Picture, PathsWithoutAFileGiveNothing)
{
    const TestFolder folder;
    EXPECT_TRUE(decoded(folder.path("absent.psd")).isNull());
    EXPECT_TRUE(decoded(folder.path(".")).isNull());
    EXPECT_TRUE(decoded(QString()).isNull());
    EXPECT_TRUE(decoded(folder.write("empty.psd", {})).isNull());
    EXPECT_TRUE(
        decoded(folder.write("words.jpg", {'h', 'e', 'l', 'l', 'o', '!', '!', '!'})).isNull());
}

// Parts and reductions

TEST(Picture, APartIsWhatTheWholeShowsThere)
{
    const CancelFlag never(false);
    const QRect part(11, 5, 23, 17);
    for (const int depth : {1, 8, 16, 32}) {
        for (const bool packed : {false, true}) {
            auto document = TestDocument().depth(depth).size(90, 40);
            const TestFolder folder;
            const QString path =
                folder.write("a.psd", packed ? document.packed().build() : document.build());
            const QImage image = PictureSource::open(path, never)->decode(part, part.size(), never);
            EXPECT_EQ(image, decoded(path).copy(part)) << depth << " bits, packed " << packed;
        }
    }
}

TEST(Picture, ReductionIsTheAverageOfThePixelsThatItCovers)
{
    const CancelFlag never(false);
    const TestFolder folder;
    const QString path = folder.write("a.psd", TestDocument().size(60, 40).packed().build());
    const QImage whole = decoded(path);
    const auto source = PictureSource::open(path, never);
    for (const int factor : {2, 4}) {
        const QImage reduced =
            source->decode(QRect(0, 0, 60, 40), QSize(60 / factor, 40 / factor), never);
        ASSERT_EQ(reduced.size(), QSize(60 / factor, 40 / factor));
        for (int y = 0; y < reduced.height(); ++y) {
            for (int x = 0; x < reduced.width(); ++x) {
                int sum = factor * factor / 2;
                for (int i = 0; i < factor * factor; ++i) {
                    sum += qGreen(whole.pixel(x * factor + i % factor, y * factor + i / factor));
                }
                ASSERT_EQ(qGreen(reduced.pixel(x, y)), sum / (factor * factor));
            }
        }
    }
}

TEST(Picture, ReductionByAnyRatioKeepsAPlainColour)
{
    const CancelFlag never(false);
    const TestFolder folder;
    const auto document = TestDocument().depth(16).size(97, 53).samples(always(0.7));
    const auto source = PictureSource::open(folder.write("a.psd", document.build()), never);
    for (int width = 1; width <= 97; width += 3) {
        const QImage image = source->decode(QRect(0, 0, 97, 53), QSize(width, 31), never);
        ASSERT_EQ(image.size(), QSize(width, 31));
        ASSERT_EQ(image.pixel(width - 1, 30), qRgb(179, 179, 179));
        ASSERT_EQ(image.pixel(0, 0), qRgb(179, 179, 179));
    }
}

TEST(Picture, NothingIsEnlarged)
{
    const CancelFlag never(false);
    const TestFolder folder;
    const auto source = PictureSource::open(folder.write("a.psd", TestDocument().build()), never);
    EXPECT_EQ(source->decode(QRect(-50, -50, 500, 500), QSize(900, 900), never).size(),
              QSize(7, 5));
    EXPECT_TRUE(source->decode(QRect(100, 100, 5, 5), QSize(5, 5), never).isNull());
    EXPECT_TRUE(source->decode(QRect(0, 0, 7, 5), QSize(0, 0), never).isNull());
}

// Pictures that Qt reads

TEST(Picture, JpegIsShownWholeReducedAndInParts)
{
    const CancelFlag never(false);
    const TestFolder folder;
    const QString path = folder.path("x_thumbnail.jpg");
    ASSERT_TRUE(decoded(TestDocument().size(160, 120).samples([](int plane, int row, int column) {
                    return (row + column + 20 * plane) / 320.0;
                })).save(path, "JPG", 95));
    EXPECT_EQ(decoded(path), QImage(path).convertToFormat(QImage::Format_ARGB32_Premultiplied));
    const auto source = PictureSource::open(path, never);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->decode(QRect(0, 0, 160, 120), QSize(40, 30), never).size(), QSize(40, 30));
    const QImage part = source->decode(QRect(32, 16, 50, 40), QSize(50, 40), never);
    EXPECT_EQ(part, decoded(path).copy(32, 16, 50, 40));
}

TEST(Picture, CutJpegShowsWhatThereIs)
{
    const TestFolder folder;
    const QString path = folder.path("whole.jpg");
    ASSERT_TRUE(decoded(TestDocument().size(160, 120)).save(path, "JPG", 95));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray half = file.readAll().left(static_cast<int>(file.size() / 2));
    const QImage image = decoded(folder.write("cut.jpg", Bytes(half.begin(), half.end())));
    EXPECT_EQ(image.size(), QSize(160, 120));
}

} // namespace

} // namespace talvek::testing
