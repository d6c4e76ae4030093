#include "platform/FileHandle.h"

#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/platform/MemoryFile.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace talvek::test {

namespace {

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kMiB = 1024 * kKiB;

Bytes readAt(ReadingFileHandle& handle, std::int64_t offset, std::size_t count)
{
    Bytes into(count, 0xEE);
    into.resize(handle.read(offset, into));
    return into;
}

/// Every 1032 bytes, 1024 apart.
void expectScan(ReadingFileHandle& handle, const Bytes& contents, std::int64_t start)
{
    const auto size = static_cast<std::int64_t>(contents.size());
    for (std::int64_t offset = start; offset < size + 3000; offset += 1024) {
        ASSERT_EQ(readAt(handle, offset, 1032), slice(contents, offset, offset + 1032)) << offset;
    }
}

/// A file to write to, and the handle that does.
struct Written
{
    explicit Written(FaultySystem& faults) : system(faults), path(place.write("out", {}))
    {
        handle = WritingFileHandle(system, path);
    }

    TemporaryFolder place;
    FaultySystem& system;
    std::string path;
    WritingFileHandle handle;
};

} // namespace

TEST(ReadingFileHandle, AForwardScanGivesTheFilesBytesOnEveryAlignment)
{
    MemoryFile memory(patternOf(100 * kKiB + 77));
    for (std::int64_t start = 0; start < 40; ++start) {
        ReadingFileHandle handle(memory, "document");
        expectScan(handle, memory.bytes, start);
    }
}

TEST(ReadingFileHandle, AForwardScanCostsAboutOneCallAWindow)
{
    MemoryFile memory(patternOf(12 * kMiB + 5));
    ReadingFileHandle handle(memory, "document");
    expectScan(handle, memory.bytes, 26);
    EXPECT_LE(memory.reads, 12U + 8U);
}

TEST(ReadingFileHandle, AForwardCopyOfAnyBlockCostsAboutOneCallAWindow)
{
    for (const std::size_t block : {1024U, 1032U, 2048U, 4096U, 4102U}) {
        MemoryFile memory(Bytes(8 * kMiB));
        ReadingFileHandle handle(memory, "document");
        Bytes into(block);
        for (std::size_t offset = 0; offset < memory.bytes.size(); offset += block) {
            handle.read(static_cast<std::int64_t>(offset), into);
        }
        EXPECT_LE(memory.reads, 8U + 8U) << block;
    }
}

TEST(ReadingFileHandle, AWalkThatJumpsReadsLittle)
{
    MemoryFile memory(Bytes(20 * kMiB));
    ReadingFileHandle handle(memory, "document");
    for (std::int64_t i = 19; i >= 0; --i) {
        readAt(handle, i << 20U, 1032);
    }
    EXPECT_LE(memory.bytesRead, 20U * 16 * kKiB);
}

TEST(ReadingFileHandle, ShortReadsOutsideTheWindowAreNotWidened)
{
    MemoryFile memory(patternOf(kMiB));
    ReadingFileHandle handle(memory, "document");
    readAt(handle, 500'000, 4);
    EXPECT_EQ(memory.bytesRead, 4U);
}

TEST(ReadingFileHandle, RandomReadsGiveTheFilesBytes)
{
    Random random(51);
    SCOPED_TRACE(random.seedText());
    MemoryFile memory(patternOf(3 * kMiB));
    ReadingFileHandle handle(memory, "document");
    for (int round = 0; round < 3000; ++round) {
        const std::int64_t offset = random.between(-3000, 3 * kMiB + 3000);
        const std::size_t count =
            random.chance(2)
                ? random.below(3 * kMiB)
                : random.pick<std::size_t>({0, 1, 2, 4, 1023, 1024, 1032, 2048, 4096, 4102, 65536});
        const Bytes expected =
            offset < 0 ? Bytes{}
                       : slice(memory.bytes, offset, offset + static_cast<std::int64_t>(count));
        ASSERT_EQ(readAt(handle, offset, count), expected) << offset << " " << count;
    }
}

TEST(ReadingFileHandle, AViewHasAtLeastWhatARowOfChunksAsksForAndAtMostAWindow)
{
    Random random(52);
    SCOPED_TRACE(random.seedText());
    MemoryFile memory(patternOf(3 * kMiB));
    const auto size = static_cast<std::int64_t>(memory.bytes.size());
    ReadingFileHandle handle(memory, "document");
    std::int64_t offset = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::size_t most = 1032 + random.below(kMiB);
        const auto view = handle.bytesAt(offset, 1032, most);
        const auto left = static_cast<std::size_t>(std::max<std::int64_t>(0, size - offset));
        ASSERT_GE(view.size(), std::min<std::size_t>(1032, left));
        ASSERT_LE(view.size(), std::min(most, left));
        ASSERT_EQ(Bytes(view.begin(), view.end()),
                  slice(memory.bytes, offset, offset + static_cast<std::int64_t>(view.size())));
        offset = random.chance(90)
                     ? offset + static_cast<std::int64_t>(random.below(view.size() + 1))
                     : random.between(0, size + 10);
    }
}

TEST(ReadingFileHandle, BytesInPlaceAreAllThatWereAskedForOrNone)
{
    const TemporaryFolder place;
    const Bytes contents = patternOf(3 * kMiB + 5);
    ReadingFileHandle handle(SystemCalls::real(), place.write("document", contents));
    const auto size = static_cast<std::int64_t>(contents.size());
    for (const std::int64_t offset : {std::int64_t{0}, std::int64_t{4000}, size - 2048}) {
        const auto bytes = handle.inPlace(offset, 2048);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), slice(contents, offset, offset + 2048));
    }
    EXPECT_TRUE(handle.inPlace(size - 2047, 2048).empty());
    EXPECT_TRUE(handle.inPlace(-1, 2048).empty());
    EXPECT_TRUE(handle.inPlace(0, ReadingFileHandle::kWindowBytes + 1).empty());
    EXPECT_TRUE(ReadingFileHandle().inPlace(0, 1).empty());
}

TEST(ReadingFileHandle, OffsetsBeforeTheStartAndBehindTheEndBringNothing)
{
    MemoryFile memory(patternOf(100));
    ReadingFileHandle handle(memory, "document");
    for (const std::int64_t offset : {std::int64_t{-1}, std::int64_t{-5000}, INT64_MIN,
                                      std::int64_t{100}, std::int64_t{5000}, INT64_MAX}) {
        EXPECT_EQ(readAt(handle, offset, 4), Bytes{}) << offset;
        EXPECT_EQ(readAt(handle, offset, 1032), Bytes{}) << offset;
        EXPECT_TRUE(handle.bytesAt(offset, 1032, 4096).empty()) << offset;
    }
}

TEST(ReadingFileHandle, AnAbsentHandleReadsAsEmpty)
{
    const TemporaryFolder place;
    ReadingFileHandle never;
    ReadingFileHandle missing(SystemCalls::real(), place.pathOf("absent"));
    EXPECT_FALSE(never.isOpen() || missing.isOpen());
    EXPECT_EQ(never.size() + missing.size(), 0);
    EXPECT_EQ(readAt(missing, 0, 2000), Bytes{});
    EXPECT_TRUE(never.bytesAt(0, 10, 20).empty());
}

TEST(ReadingFileHandle, AFolderReadsAsEmpty)
{
    const TemporaryFolder place;
    ReadingFileHandle handle(SystemCalls::real(), place.path());
    EXPECT_EQ(readAt(handle, 0, 2000), Bytes{});
}

TEST(ReadingFileHandle, PartialTransfersAndInterruptionsAreMadeGood)
{
    FaultySystem system;
    system.mostAtOnce = 7;
    system.interrupts = true;
    const TemporaryFolder place;
    const Bytes contents = patternOf(20'000);
    ReadingFileHandle handle(system, place.write("file", contents));
    expectScan(handle, contents, 3);
    EXPECT_EQ(readAt(handle, 9, 15'000), slice(contents, 9, 15'009));
}

TEST(ReadingFileHandle, AnUnreadableSectorHidesNothingButItself)
{
    FaultySystem system;
    system.unreadable = {100 * 1024, 100 * 1024 + 512};
    const TemporaryFolder place;
    const Bytes contents = patternOf(300 * kKiB);
    ReadingFileHandle handle(system, place.write("file", contents));
    for (std::int64_t offset = 26; offset < 300 * 1024; offset += 1024) {
        const bool isInside = offset >= system.unreadable->from && offset < system.unreadable->to;
        const std::int64_t end = offset < system.unreadable->from
                                     ? std::min(offset + 1032, system.unreadable->from)
                                     : offset + 1032;
        ASSERT_EQ(readAt(handle, offset, 1032), isInside ? Bytes{} : slice(contents, offset, end))
            << offset;
    }
}

TEST(ReadingFileHandle, EveryReadAroundAnUnreadableByteIsWhatOneCallGives)
{
    FaultySystem system;
    const TemporaryFolder place;
    const Bytes contents = patternOf(40 * kKiB);
    const std::string path = place.write("file", contents);
    for (std::int64_t bad = 16 * 1024 - 3; bad < 16 * 1024 + 3; ++bad) {
        system.unreadable = {bad, bad + 1};
        ReadingFileHandle handle(system, path);
        for (std::int64_t offset = 14 * 1024; offset < 18 * 1024; offset += 331) {
            const std::int64_t end = offset <= bad ? std::min(bad, offset + 1032) : offset + 1032;
            ASSERT_EQ(readAt(handle, offset, 1032), slice(contents, offset, end));
        }
    }
}

TEST(ReadingFileHandle, AFileThatShrinksReadsShort)
{
    const TemporaryFolder place;
    const std::string path = place.write("file", patternOf(100 * kKiB));
    ReadingFileHandle handle(SystemCalls::real(), path);
    readAt(handle, 0, 1032);
    std::filesystem::resize_file(path, 20 * kKiB);
    EXPECT_EQ(readAt(handle, 50 * 1024, 1032), Bytes{});
    EXPECT_EQ(readAt(handle, 20 * 1024 - 10, 1032), slice(patternOf(20 * kKiB), 20 * 1024 - 10));
    EXPECT_EQ(handle.size(), 20 * 1024);
}

TEST(ReadingFileHandle, AFileThatGrowsIsReadToItsNewEnd)
{
    const TemporaryFolder place;
    const Bytes contents = patternOf(100 * kKiB);
    const std::string path = place.write("file", slice(contents, 0, 5000));
    ReadingFileHandle handle(SystemCalls::real(), path);
    EXPECT_EQ(readAt(handle, 4500, 1032), slice(contents, 4500, 5000));
    writeFile(path, contents);
    EXPECT_EQ(readAt(handle, 6000, 1032), slice(contents, 6000, 7032));
    EXPECT_EQ(handle.size(), 100 * 1024);
}

TEST(ReadingFileHandle, MovingItKeepsTheFileOpen)
{
    const TemporaryFolder place;
    ReadingFileHandle first(SystemCalls::real(), place.write("file", patternOf(10)));
    ReadingFileHandle second = std::move(first);
    EXPECT_EQ(readAt(second, 0, 20), patternOf(10));
}

TEST(WritingFileHandle, SmallAppendsReachTheFileInOrderAndInFewCalls)
{
    FaultySystem system;
    Written written(system);
    Bytes expected;
    for (int i = 0; i < 50'000; ++i) {
        const Bytes piece(100, static_cast<std::uint8_t>(i));
        written.handle.append(piece);
        append(expected, piece);
    }
    EXPECT_TRUE(written.handle.close());
    EXPECT_EQ(readFile(written.path), expected);
    EXPECT_LE(system.writes, 6U);
    EXPECT_EQ(system.accepted, expected.size());
}

TEST(WritingFileHandle, EverySizeAroundTheGatheringIsWrittenWhole)
{
    for (const std::size_t size : {kMiB - 1, kMiB, kMiB + 1, 2 * kMiB, 2 * kMiB + 4097}) {
        FaultySystem system;
        Written written(system);
        written.handle.append(patternOf(size));
        EXPECT_TRUE(written.handle.close());
        EXPECT_EQ(readFile(written.path), patternOf(size));
    }
}

TEST(WritingFileHandle, NothingIsWrittenBeforeAFlush)
{
    FaultySystem system;
    Written written(system);
    written.handle.append(patternOf(3000));
    EXPECT_EQ(system.writes, 0U);
    EXPECT_TRUE(written.handle.flush());
    EXPECT_TRUE(written.handle.flush());
    EXPECT_EQ(system.writtenBytes, std::vector<std::int64_t>{3000});
}

TEST(WritingFileHandle, RoomIsFilledInPlace)
{
    FaultySystem system;
    Written written(system);
    Bytes expected;
    for (std::size_t i = 0; i < 20'000; ++i) {
        const auto room = written.handle.room(128);
        const Bytes filled(i % 129, static_cast<std::uint8_t>(i));
        std::copy(filled.begin(), filled.end(), room.begin());
        written.handle.commit(filled.size());
        append(expected, filled);
    }
    EXPECT_TRUE(written.handle.close());
    EXPECT_EQ(readFile(written.path), expected);
}

TEST(WritingFileHandle, PartialTransfersAndInterruptionsAreMadeGood)
{
    FaultySystem system;
    system.mostAtOnce = 333;
    system.interrupts = true;
    Written written(system);
    written.handle.append(patternOf(10'000));
    EXPECT_TRUE(written.handle.close());
    EXPECT_EQ(readFile(written.path), patternOf(10'000));
}

TEST(WritingFileHandle, AfterAWriteThatFailsWhatReachedTheFileStaysAndTheRestIsDropped)
{
    FaultySystem system;
    system.failingWrite = 2;
    Written written(system);
    written.handle.append(patternOf(2000));
    EXPECT_TRUE(written.handle.flush());
    written.handle.append(patternOf(3000));
    EXPECT_FALSE(written.handle.flush());
    system.failingWrite = 0;
    written.handle.append(patternOf(10));
    EXPECT_FALSE(written.handle.close());
    EXPECT_TRUE(written.handle.hasFailed());
    EXPECT_EQ(readFile(written.path), patternOf(2000));
}

TEST(WritingFileHandle, AWriteThatStopsHalfWayKeepsItsHalf)
{
    FaultySystem system;
    system.mostAtOnce = 700;
    system.failingWrite = 2;
    Written written(system);
    written.handle.append(patternOf(2000));
    EXPECT_FALSE(written.handle.close());
    EXPECT_EQ(readFile(written.path), patternOf(700));
}

TEST(WritingFileHandle, AnAbsentHandleLosesWhatIsWrittenWithoutAWord)
{
    FaultySystem system;
    const TemporaryFolder place;
    WritingFileHandle handle(system, place.pathOf("absent"));
    handle.append(patternOf(5000));
    EXPECT_FALSE(handle.isOpen());
    EXPECT_TRUE(handle.close());
    EXPECT_EQ(system.writes + system.accepted, 0U);
}

TEST(WritingFileHandle, ItAppendsToWhatIsThere)
{
    const TemporaryFolder place;
    const std::string path = place.write("file", bytesOf("ab"));
    WritingFileHandle(SystemCalls::real(), path).append(bytesOf("cd"));
    EXPECT_EQ(readFile(path), bytesOf("abcd"));
}

TEST(WritingFileHandle, AMovedFileIsStillTheOneThatIsWritten)
{
    const TemporaryFolder place;
    const std::string path = place.write("file", {});
    WritingFileHandle handle(SystemCalls::real(), path);
    handle.append(bytesOf("ab"));
    std::filesystem::rename(path, place.pathOf("moved"));
    handle.append(bytesOf("cd"));
    handle.close();
    EXPECT_EQ(readFile(place.pathOf("moved")), bytesOf("abcd"));
}

TEST(WritingFileHandle, ItDoesNotFollowALink)
{
    const TemporaryFolder place;
    place.write("file", bytesOf("ab"));
    std::filesystem::create_symlink(place.pathOf("file"), place.pathOf("link"));
    EXPECT_FALSE(WritingFileHandle(SystemCalls::real(), place.pathOf("link")).isOpen());
}

} // namespace talvek::test
