#include "TestDocument.h"
#include "frontend/preview/PngPicture.h"

#include <QBuffer>
#include <QFile>
#include <QRandomGenerator>
#include <gtest/gtest.h>

namespace talvek::testing {

namespace {

/// Every sample differs from its neighbours, transparency too.
QImage motley(QImage::Format format, int width = 23, int height = 17)
{
    QImage image(width, height, QImage::Format_ARGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.setPixel(x, y, random.generate());
        }
    }
    return image.convertToFormat(format);
}

QByteArray asPng(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, "PNG"));
    return bytes;
}

class PngFile
{
public:
    explicit PngFile(const QByteArray& bytes)
        : m_path(m_folder.write("a.png", Bytes(bytes.begin(), bytes.end())))
    {}
    explicit PngFile(const QImage& image) : PngFile(asPng(image)) {}

    [[nodiscard]] std::unique_ptr<PngPicture> open() const { return PngPicture::open(m_path); }
    [[nodiscard]] QImage part(const QRect& part, const QSize& target) const
    {
        const CancelFlag never(false);
        const auto picture = open();
        return picture ? picture->decode(part, target, never) : QImage();
    }
    [[nodiscard]] QImage whole() const
    {
        const auto picture = open();
        return picture ? part(QRect(QPoint(0, 0), picture->size()), picture->size()) : QImage();
    }

private:
    TestFolder m_folder;
    QString m_path;
};

} // namespace

class EveryPng : public ::testing::TestWithParam<QImage::Format>
{};

TEST_P(EveryPng, IsReadAsQtReadsIt)
{
    const QImage image = motley(GetParam());
    const QImage expected = QImage::fromData(asPng(image), "PNG")
                                .convertToFormat(QImage::Format_ARGB32)
                                .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    EXPECT_EQ(PngFile(image).whole(), expected);
}

INSTANTIATE_TEST_SUITE_P(Png, EveryPng,
                         ::testing::Values(QImage::Format_RGB32, QImage::Format_ARGB32,
                                           QImage::Format_Grayscale8, QImage::Format_Indexed8,
                                           QImage::Format_Mono));

TEST(Png, SixteenBitsAreShownInEight)
{
    QImage image(2, 1, QImage::Format_RGBX64);
    image.setPixelColor(0, 0, QColor::fromRgba64(0xFFFF, 0x8000, 0));
    image.setPixelColor(1, 0, QColor::fromRgba64(0x0100, 0x0101, 0xFEFE));
    const QImage shown = PngFile(image).whole();
    EXPECT_EQ(shown.pixel(0, 0), qRgb(0xFF, 0x80, 0));
    EXPECT_EQ(shown.pixel(1, 0), qRgb(1, 1, 0xFE));
}

TEST(Png, APartIsThatOfTheWhole)
{
    const PngFile file(motley(QImage::Format_ARGB32));
    const QRect part(5, 4, 9, 11);
    EXPECT_EQ(file.part(part, part.size()), file.whole().copy(part));
}

TEST(Png, ReducingAveragesAndEnlargingIsRefused)
{
    QImage image(4, 2, QImage::Format_RGB32);
    image.fill(Qt::black);
    image.setPixel(0, 0, qRgb(255, 255, 255));
    const PngFile file(image);
    const QImage small = file.part(image.rect(), QSize(2, 1));
    EXPECT_EQ(small.pixel(0, 0), qRgb(64, 64, 64));
    EXPECT_EQ(small.pixel(1, 0), qRgb(0, 0, 0));
    EXPECT_EQ(file.part(image.rect(), QSize(40, 20)).size(), QSize(4, 2));
}

TEST(Png, APictureThatEndsEarlyShowsTheRowsThatAreThere)
{
    const QByteArray bytes = asPng(motley(QImage::Format_ARGB32, 64, 64));
    const QImage whole = PngFile(bytes).whole();
    const QImage half = PngFile(bytes.first(bytes.size() / 2)).whole();
    ASSERT_EQ(half.size(), whole.size());
    EXPECT_EQ(half.copy(0, 0, 64, 8), whole.copy(0, 0, 64, 8));
    EXPECT_EQ(half.pixel(0, 63), 0U);
}

TEST(Png, AnyCutIsMetCalmly)
{
    const QByteArray bytes = asPng(motley(QImage::Format_ARGB32, 7, 5));
    for (qsizetype length = 0; length < bytes.size(); ++length) {
        const QImage shown = PngFile(bytes.first(length)).whole();
        EXPECT_TRUE(shown.isNull() || shown.size() == QSize(7, 5)) << length;
    }
    EXPECT_TRUE(PngFile(bytes.first(20)).whole().isNull());
}

TEST(Png, AnyFlippedByteIsMetCalmly)
{
    const QByteArray bytes = asPng(motley(QImage::Format_ARGB32, 7, 5));
    for (qsizetype at = 0; at < bytes.size(); ++at) {
        QByteArray damaged = bytes;
        damaged[at] = static_cast<char>(~damaged[at]);
        const QImage shown = PngFile(damaged).whole();
        EXPECT_TRUE(shown.isNull() || shown.width() <= 7) << at;
    }
}

TEST(Png, OtherFilesAreNone)
{
    EXPECT_EQ(PngFile(QByteArray("no picture")).open(), nullptr);
    EXPECT_EQ(PngFile(QByteArray()).open(), nullptr);
    EXPECT_EQ(PngPicture::open("/nonexistent/a.png"), nullptr);
}

TEST(Png, ACancelledDecodingGivesNothing)
{
    const CancelFlag canceled(true);
    const QImage image = motley(QImage::Format_ARGB32);
    EXPECT_TRUE(PngFile(image).open()->decode(image.rect(), image.size(), canceled).isNull());
}

} // namespace talvek::testing
