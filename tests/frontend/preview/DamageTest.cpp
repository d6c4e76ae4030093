#include "TestDocument.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

#include <chrono>

namespace talvek::testing {

namespace {

constexpr int kWidth = 13;
constexpr int kHeight = 6;
constexpr int kDamagedDocuments = 4000;

/// Small documents of every kind.
std::vector<TestDocument> everyKind()
{
    std::vector<TestDocument> documents;
    for (const ColourMode mode :
         {ColourMode::Bitmap, ColourMode::Grayscale, ColourMode::Indexed, ColourMode::Rgb,
          ColourMode::Cmyk, ColourMode::Multichannel, ColourMode::Duotone, ColourMode::Lab}) {
        for (const int depth : {1, 8, 16, 32}) {
            for (const bool packed : {false, true}) {
                auto document = TestDocument().mode(mode).depth(depth).size(kWidth, kHeight);
                document.channels(mode == ColourMode::Lab ? 3 : 5).colourData(Bytes(90, 70));
                documents.push_back(packed ? document.packed() : document);
            }
        }
    }
    return documents;
}

/// Decodes in ways that the view does, and looks at what must hold for any bytes.
void decodeAnyhow(const QString& path, std::uint32_t& random)
{
    const CancelFlag never(false);
    const auto source = PictureSource::open(path, never);
    if (!source) {
        return;
    }
    ASSERT_FALSE(source->size().isEmpty());
    const auto upTo = [&](std::uint32_t most) {
        return static_cast<int>(nextRandom(random) % most);
    };
    const QSize target(1 + upTo(40), 1 + upTo(40));
    const QRect all(QPoint(0, 0), source->size());
    const QImage whole = source->decode(all, target, never);
    ASSERT_EQ(whole.size(), target.boundedTo(source->size()));
    const QRect part = QRect(upTo(20), upTo(20), 1 + upTo(30), 1 + upTo(30)) & all;
    ASSERT_EQ(source->decode(part, part.size(), never).size(),
              part.isEmpty() ? QSize(0, 0) : part.size());
}

TEST(PreviewOfDamage, EveryModeAndDepthIsShownWhole)
{
    for (const TestDocument& document : everyKind()) {
        const QImage image = decoded(document);
        ASSERT_EQ(image.size(), QSize(kWidth, kHeight));
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                ASSERT_EQ(qAlpha(image.pixel(x, y)), 255);
            }
        }
    }
}

TEST(PreviewOfDamage, CutAtEveryByteShowsThePixelsBeforeTheCut)
{
    const auto builder = TestDocument().size(kWidth, kHeight);
    const Bytes whole = builder.build();
    const QImage good = decoded(whole);
    const std::size_t start = builder.compressionOffset() + 2;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const QImage image =
            decoded(Bytes(whole.begin(), whole.begin() + static_cast<int>(length)));
        ASSERT_EQ(image.isNull(), length < 26) << length;
        for (int i = 0; i < kWidth * kHeight && !image.isNull(); ++i) {
            const QPoint at(i % kWidth, i / kWidth);
            const auto held = static_cast<std::size_t>(i) + start + 1;
            const std::size_t plane = builder.planeBytes();
            ASSERT_EQ(qAlpha(image.pixel(at)), length >= held ? 255 : 0) << length;
            ASSERT_TRUE(length < held || qRed(image.pixel(at)) == qRed(good.pixel(at)));
            ASSERT_TRUE(length < held + 2 * plane || image.pixel(at) == good.pixel(at));
        }
    }
}

TEST(PreviewOfDamage, CutAtEveryByteLeavesEveryKindDefined)
{
    std::uint32_t random = 11;
    const TestFolder folder;
    for (const TestDocument& document : everyKind()) {
        const Bytes whole = document.build();
        for (std::size_t length = 0; length < whole.size(); length += 1 + nextRandom(random) % 7) {
            const Bytes cut(whole.begin(), whole.begin() + static_cast<int>(length));
            ASSERT_NO_FATAL_FAILURE(decodeAnyhow(folder.write("cut.psd", cut), random)) << length;
        }
    }
}

TEST(PreviewOfDamage, EveryByteOfTheHeadMayHaveAnyValue)
{
    std::uint32_t random = 12;
    const TestFolder folder;
    for (const bool packed : {false, true}) {
        auto document = TestDocument().size(kWidth, kHeight);
        const Bytes good = packed ? document.packed().build() : document.build();
        for (std::size_t at = 0; at < 60; ++at) {
            for (const std::uint8_t value : Bytes{0x00, 0x01, 0x02, 0x7F, 0x80, 0xFF}) {
                Bytes bytes = good;
                bytes[at] = value;
                ASSERT_NO_FATAL_FAILURE(decodeAnyhow(folder.write("head.psd", bytes), random))
                    << "byte " << at << " is " << int(value);
            }
        }
    }
}

void damage(Bytes& bytes, std::uint32_t& random)
{
    for (std::uint32_t hits = 1 + nextRandom(random) % 8; hits > 0; --hits) {
        const std::size_t at = nextRandom(random) % bytes.size();
        const std::size_t length =
            std::min<std::size_t>(nextRandom(random) % 30, bytes.size() - at);
        switch (nextRandom(random) % 5) {
        case 0:
            std::fill_n(bytes.begin() + static_cast<int>(at), length, std::uint8_t(0));
            break;
        case 1:
            bytes.resize(at + 1);
            break;
        case 2:
            bytes.insert(bytes.begin() + static_cast<int>(at), length, std::uint8_t(random));
            break;
        default:
            bytes[at] = static_cast<std::uint8_t>(nextRandom(random));
            break;
        }
    }
}

std::uint32_t seedOfThisRun()
{
    const int stated = qEnvironmentVariableIntValue("TALVEK_SEED");
    return stated != 0 ? static_cast<std::uint32_t>(stated)
                       : static_cast<std::uint32_t>(
                             std::chrono::system_clock::now().time_since_epoch().count());
}

TEST(PreviewOfDamage, RandomDamageLeavesEveryKindDefined)
{
    std::uint32_t random = seedOfThisRun();
    std::cout << "TALVEK_SEED=" << random << '\n';
    const auto documents = everyKind();
    const TestFolder folder;
    for (int run = 0; run < kDamagedDocuments; ++run) {
        const std::uint32_t state = random;
        Bytes bytes = documents[nextRandom(random) % documents.size()].build();
        damage(bytes, random);
        ASSERT_NO_FATAL_FAILURE(decodeAnyhow(folder.write("random.psd", bytes), random))
            << "run " << run << " from state " << state;
    }
}

TEST(PreviewOfDamage, RealDocumentsAreShownWholeAndDamaged)
{
    const QString stated = qEnvironmentVariable("TALVEK_CORPUS");
    const QDir corpus(stated.isEmpty() ? QStringLiteral(TALVEK_CORPUS_DEFAULT) : stated);
    const QFileInfoList files = corpus.entryInfoList({"*.psd"}, QDir::Files);
    if (files.isEmpty()) {
        GTEST_SKIP() << "There are no real documents: set TALVEK_CORPUS.";
    }
    std::uint32_t random = seedOfThisRun();
    std::cout << "TALVEK_SEED=" << random << '\n';
    const TestFolder folder;
    for (const QFileInfo& info : files) {
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_FALSE(decoded(info.filePath()).isNull()) << info.fileName().toStdString();
        const QByteArray all = file.readAll();
        Bytes bytes(all.begin(), all.end());
        damage(bytes, random);
        ASSERT_NO_FATAL_FAILURE(decodeAnyhow(folder.write("real.psd", bytes), random));
    }
}

} // namespace

} // namespace talvek::testing
