#include "TestDocument.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <thread>

namespace talvek::testing {

namespace {

constexpr int kMebibyte = 1 << 20;
constexpr int kMostPixels = 300000;

/// A line of /proc/self/status in KiB; -1 where there is no such thing.
long statusKib(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key + ":")) {
            return std::stol(line.substr(key.size() + 1));
        }
    }
    return -1;
}

/// Bytes by which `work` raises the process's memory at its peak; -1 where it cannot be told.
long peakBytesOf(const std::function<void()>& work)
{
#ifdef __GLIBC__
    malloc_trim(0); // what earlier tests have freed would hide what this one takes
#endif
    std::ofstream reset("/proc/self/clear_refs");
    reset << "5" << std::flush; // the peak starts anew
    const long before = statusKib("VmHWM");
    work();
    return before < 0 || !reset ? -1 : (statusKib("VmHWM") - before) * 1024;
}

TEST(PreviewLimits, MemoryThatIsTakenIsSeen)
{
    const long peak = peakBytesOf([] {
        const std::vector<char> touched(64 * kMebibyte, 'x');
        EXPECT_EQ(touched.back(), 'x');
    });
    if (peak < 0) {
        GTEST_SKIP() << "This system does not tell a process's peak of memory.";
    }
    EXPECT_GE(peak, 60 * kMebibyte);
}

TEST(PreviewLimits, HugeSizesThatAreOnlyStatedCostNothing)
{
    for (const bool packed : {false, true}) {
        Bytes bytes = TestDocument().planes(0).build();
        putNumber(bytes, 14, kMostPixels, 4);
        putNumber(bytes, 18, kMostPixels, 4);
        putNumber(bytes, bytes.size() - 2, packed ? 1 : 0, 2);
        bytes.insert(bytes.end(), 100, 0x42);
        const TestFolder folder;
        const QString path = folder.write("stated.psd", bytes);
        const long peak = peakBytesOf([&] {
            const CancelFlag never(false);
            const auto source = PictureSource::open(path, never);
            ASSERT_EQ(source->size(), QSize(kMostPixels, kMostPixels));
            const QRect all(QPoint(0, 0), source->size());
            EXPECT_EQ(source->decode(all, QSize(800, 800), never).size(), QSize(800, 800));
            const QImage corner = source->decode(QRect(0, 0, 64, 64), QSize(64, 64), never);
            EXPECT_EQ(corner.pixel(0, 0), packed ? 0U : qRgb(0x42, 0x42, 0x42));
            EXPECT_EQ(corner.pixel(0, 1), 0U);
        });
        EXPECT_LT(peak, 12 * kMebibyte);
        RecordProperty("peakBytes", static_cast<int>(peak));
    }
}

TEST(PreviewLimits, ChannelCountsThatAreOnlyStatedCostNothing)
{
    Bytes bytes = TestDocument().packed().build();
    putNumber(bytes, 12, 65535, 2);
    putNumber(bytes, 14, kMostPixels, 4);
    EXPECT_LT(peakBytesOf([&] { EXPECT_FALSE(decoded(bytes).isNull()); }),
              32 * kMebibyte); // the picture itself is 7 x 300000
}

TEST(PreviewLimits, MemoryIsThatOfThePictureOnTheScreen)
{
    const TestFolder folder;
    const QString path = writeHugeDocument(folder);
    if (path.isEmpty()) {
        GTEST_SKIP() << "The volume takes no file of 2.7 GB.";
    }
    const CancelFlag never(false);
    const long peak = peakBytesOf([&] {
        const auto source = PictureSource::open(path, never);
        const QRect all(0, 0, 30000, 30000);
        EXPECT_EQ(source->decode(all, QSize(1000, 1000), never).size(), QSize(1000, 1000));
        const QRect part(29000, 29000, 1000, 1000);
        EXPECT_EQ(source->decode(part, part.size(), never).pixel(999, 999), qRgb(0, 0, 0));
    });
    EXPECT_LT(peak, 20 * kMebibyte); // two pictures of 4 MB, one after the other, and the windows
    RecordProperty("peakBytes", static_cast<int>(peak));
}

TEST(PreviewLimits, APngTakesThePicturesMemoryWhateverItsOwnSize)
{
    const TestFolder folder;
    const QString path = folder.path("large.png");
    {
        QImage white(16000, 8000, QImage::Format_Mono); // 512 MB as it is shown
        white.fill(1);
        white.setColorTable({qRgb(0, 0, 0), qRgb(255, 255, 255)});
        ASSERT_TRUE(white.save(path));
    }
    const CancelFlag never(false);
    const long peak = peakBytesOf([&] {
        const auto source = PictureSource::open(path, never);
        ASSERT_NE(source, nullptr);
        const QImage shown = source->decode(QRect(0, 0, 16000, 8000), QSize(800, 400), never);
        EXPECT_EQ(shown.size(), QSize(800, 400));
        EXPECT_EQ(shown.pixel(799, 399), qRgb(255, 255, 255));
    });
    EXPECT_LT(peak, 12 * kMebibyte); // a picture of 1.3 MB, a few rows, the window
}

TEST(PreviewLimits, CanceledDecodingGivesNothing)
{
    const TestFolder folder;
    const QString path = writeHugeDocument(folder);
    if (path.isEmpty()) {
        GTEST_SKIP() << "The volume takes no file of 2.7 GB.";
    }
    CancelFlag canceled(false);
    const auto source = PictureSource::open(path, canceled);
    QImage image;
    // 30000 x 2000 pixels would take seconds.
    std::thread worker(
        [&] { image = source->decode(QRect(0, 0, 30000, 30000), QSize(30000, 2000), canceled); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    canceled = true;
    worker.join();
    EXPECT_TRUE(image.isNull());
}

TEST(PreviewLimits, FlagThatIsSetBeforeGivesNothing)
{
    const TestFolder folder;
    const QString path = folder.write("a.psd", TestDocument().build());
    const CancelFlag never(false);
    const CancelFlag canceled(true);
    EXPECT_EQ(PictureSource::open(path, canceled), nullptr);
    const auto source = PictureSource::open(path, never);
    EXPECT_TRUE(source->decode(QRect(0, 0, 7, 5), QSize(7, 5), canceled).isNull());
}

TEST(PreviewLimits, PackedRowsMadeToCostTimeAreGivenUp)
{
    // Every length lies and no row ends where it should: a check of each would be endless.
    Bytes bytes = TestDocument().planes(0).build();
    putNumber(bytes, 14, 100000, 4);
    putNumber(bytes, 18, kMostPixels, 4);
    putNumber(bytes, bytes.size() - 2, 1, 2);
    bytes.insert(bytes.end(), 600000, 0);
    bytes.insert(bytes.end(), 70000, 0x80);
    const TestFolder folder;
    const QString path = folder.write("slow.psd", bytes);
    const CancelFlag never(false);
    const auto source = PictureSource::open(path, never);
    EXPECT_FALSE(source->decode(QRect(0, 0, kMostPixels, 100000), QSize(500, 500), never).isNull());
}

} // namespace

} // namespace talvek::testing
