#include "TestDocument.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace talvek::testing {

namespace {

constexpr const char* kWithoutReader = "ImageMagick's `magick` or `convert` is not installed.";

QString foreignReader()
{
    const QString magick = QStandardPaths::findExecutable("magick");
    return magick.isEmpty() ? QStandardPaths::findExecutable("convert") : magick;
}

/// The picture as ImageMagick reads it, four samples of 16 bits a pixel; empty if it refuses the
/// file. Asked for 8 bits it would not round, but cut off.
QByteArray foreignPixels(const QString& path, const QStringList& operations = {})
{
    QProcess process;
    process.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    QStringList arguments = {"psd:" + path + "[0]"};
    arguments += operations;
    arguments += {"-depth", "16", "-endian", "MSB", "rgba:-"};
    process.start(foreignReader(), arguments);
    process.waitForFinished(60000);
    return process.readAllStandardOutput();
}

int rounded(const char* sample)
{
    return ((static_cast<uchar>(sample[0]) << 8 | static_cast<uchar>(sample[1])) + 128) / 257;
}

/// The largest difference of any colour of any pixel; 256 if the sizes differ.
int largestDifference(const QImage& image, const QByteArray& foreign)
{
    const QImage plain = image.convertToFormat(QImage::Format_RGBA8888);
    if (plain.isNull() || foreign.size() != plain.width() * plain.height() * 8) {
        return 256;
    }
    int largest = 0;
    for (int y = 0; y < plain.height(); ++y) {
        const uchar* const ours = plain.constScanLine(y);
        const char* const theirs = foreign.constData() + y * plain.width() * 8;
        for (int i = 0; i < plain.width() * 4; ++i) {
            largest = std::max(largest, std::abs(ours[i] - rounded(theirs + 2 * i)));
        }
    }
    return largest;
}

struct Case
{
    const char* name;
    ColourMode mode;
    int depth;
    int channels;
    int tolerance; ///< of 255
    QStringList operations = {};
};

std::ostream& operator<<(std::ostream& stream, const Case& test)
{
    return stream << test.name;
}

class ForeignReader : public ::testing::TestWithParam<Case>
{
protected:
    void SetUp() override
    {
        if (foreignReader().isEmpty()) {
            GTEST_SKIP() << kWithoutReader;
        }
    }

    static void compare(TestDocument document)
    {
        const Case& test = GetParam();
        document.mode(test.mode).depth(test.depth).channels(test.channels);
        if (test.mode == ColourMode::Indexed) {
            Bytes palette(768);
            for (std::size_t i = 0; i < palette.size(); ++i) {
                palette[i] = static_cast<std::uint8_t>(i * 7 + i / 256 * 31);
            }
            document.colourData(palette);
        }
        if (test.mode == ColourMode::Lab) {
            // It adapts the white in another way; the farther from gray, the more it tells.
            document.samples([](int plane, int row, int column) {
                return plane == 0 ? 0.2 + 0.6 * (column % 7) / 7 : 0.5 + 0.01 * (row % 11 - 5);
            });
        }
        const TestFolder folder;
        const QString path = folder.write("document.psd", document.build());
        const int difference =
            largestDifference(decoded(path), foreignPixels(path, test.operations));
        EXPECT_LE(difference, test.tolerance);
    }
};

TEST_P(ForeignReader, SeesTheSamePictureInRawPlanes)
{
    compare(TestDocument().size(61, 43));
}

TEST_P(ForeignReader, SeesTheSamePictureInPackedRows)
{
    compare(TestDocument().size(300, 21).packed());
}

const QStringList kToScreen = {"-colorspace", "sRGB"};
const QStringList kFromLinear = {"-set", "colorspace", "RGB", "-colorspace", "sRGB"};

// It reads an indexed document only if three channels are declared, and the extra channel of a
// flat document not at all.
const Case kCases[] = {
    {"bitmap", ColourMode::Bitmap, 1, 1, 0},
    {"gray8", ColourMode::Grayscale, 8, 1, 0},
    {"gray16", ColourMode::Grayscale, 16, 1, 0},
    {"gray32", ColourMode::Grayscale, 32, 1, 1, kFromLinear},
    {"gray8selection", ColourMode::Grayscale, 8, 2, 0},
    {"indexed", ColourMode::Indexed, 8, 3, 0},
    {"rgb8", ColourMode::Rgb, 8, 3, 0},
    {"rgb16", ColourMode::Rgb, 16, 3, 0},
    {"rgb32", ColourMode::Rgb, 32, 3, 1, kFromLinear},
    {"rgb8selection", ColourMode::Rgb, 8, 4, 0},
    {"rgb16selections", ColourMode::Rgb, 16, 6, 0},
    {"duotone8", ColourMode::Duotone, 8, 1, 0},
    {"duotone16", ColourMode::Duotone, 16, 1, 0},
    {"cmyk8", ColourMode::Cmyk, 8, 4, 1, kToScreen},
    {"cmyk16", ColourMode::Cmyk, 16, 4, 1, kToScreen},
    {"multichannel8", ColourMode::Multichannel, 8, 3, 0},
    {"multichannel16", ColourMode::Multichannel, 16, 3, 0},
    {"lab8", ColourMode::Lab, 8, 3, 10, kToScreen},
    {"lab16", ColourMode::Lab, 16, 3, 10, kToScreen},
};

INSTANTIATE_TEST_SUITE_P(EveryMode, ForeignReader, ::testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

QString corpusFolder()
{
    const QString stated = qEnvironmentVariable("TALVEK_CORPUS");
    return stated.isEmpty() ? QStringLiteral(TALVEK_CORPUS_DEFAULT) : stated;
}

/// Those in which both readers must see the same: see the table above.
bool isComparable(const PsdLayout& layout)
{
    const bool isPlain = layout.mode == ColourMode::Bitmap ||
                         layout.mode == ColourMode::Grayscale || layout.mode == ColourMode::Rgb;
    return isPlain && layout.depth <= 16 && layout.dataStart < layout.fileSize &&
           layout.channels() == layout.colourChannels();
}

/// The composite alone, as it is salvaged, but packed as it was: with layers there, the other
/// reader would sometimes put the picture together from those.
Bytes flattened(const QString& path, const PsdLayout& layout)
{
    QFile file(path);
    const bool opened = file.open(QIODevice::ReadOnly);
    const QByteArray all = opened ? file.readAll() : QByteArray();
    const auto byte = [&](qsizetype i) { return static_cast<std::uint8_t>(all.at(i)); };
    Bytes bytes(all.begin(), all.begin() + 26);
    bytes.insert(bytes.end(), 4 + 4 + 4, 0); // no colour data, resources or layers
    bytes.insert(bytes.end(), {byte(layout.dataStart - 2), byte(layout.dataStart - 1)});
    bytes.insert(bytes.end(), all.begin() + layout.dataStart, all.end());
    return bytes;
}

TEST(ForeignReaderOfRealDocuments, SeesTheSameComposites)
{
    const QFileInfoList files = QDir(corpusFolder()).entryInfoList({"*.psd"}, QDir::Files);
    if (files.isEmpty() || foreignReader().isEmpty()) {
        GTEST_SKIP() << (files.isEmpty() ? "There are no real documents: set TALVEK_CORPUS."
                                         : kWithoutReader);
    }
    int compared = 0;
    for (const QFileInfo& file : files) {
        ReadingFileHandle handle(SystemCalls::real(), file.filePath().toStdString());
        const auto layout = PsdLayout::read(handle);
        if (layout && isComparable(*layout)) {
            const TestFolder folder;
            const QString path = folder.write("flat.psd", flattened(file.filePath(), *layout));
            EXPECT_EQ(largestDifference(decoded(file.filePath()), foreignPixels(path)), 0)
                << file.fileName().toStdString();
            ++compared;
        }
    }
    EXPECT_GT(compared, 0);
    RecordProperty("compared", compared);
}

} // namespace

} // namespace talvek::testing
