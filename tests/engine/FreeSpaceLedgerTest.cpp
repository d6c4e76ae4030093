#include "engine/FreeSpaceLedger.h"

#include "tests/platform/FaultySystem.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace talvek::test {

namespace {

constexpr std::uint64_t kMargin = FreeSpaceLedger::kMargin;
constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40U;

/// A ledger over a volume of so many bytes, and one output on it.
struct Counted
{
    explicit Counted(std::uint64_t free)
    {
        system.freeAtFirst = free;
        const std::string path = place.write("out", {});
        output = files.openForWriting(path);
        ledger.addOutput(output);
    }

    /// As the engine writes: a test, then the bytes.
    bool write(std::uint64_t count)
    {
        if (ledger.freeBytes(volume, count) <= count) {
            return false;
        }
        output.append(Bytes(count));
        ledger.noteWritten(count);
        return true;
    }

    TemporaryFolder place;
    FaultySystem system;
    FileManager files{system};
    WritingFileHandle output;
    FreeSpaceLedger ledger{files};
    FreeSpaceLedger::Volume& volume = ledger.volumeAt(place.path());
};

} // namespace

TEST(FreeSpaceLedger, FarFromTheLimitTheVolumeIsAskedSeldom)
{
    Counted counted(kPlenty);
    for (int i = 0; i < 10'000; ++i) {
        ASSERT_TRUE(counted.write(100));
    }
    EXPECT_LT(counted.system.allFreeQueries(), 200U);
    EXPECT_GE(counted.system.allFreeQueries(), 1U);
}

TEST(FreeSpaceLedger, ItsAnswerIsTheFigureLessWhatWasWritten)
{
    Counted counted(kPlenty);
    EXPECT_EQ(counted.ledger.freeBytes(counted.volume, 10), kPlenty);
    counted.write(1000);
    counted.write(24);
    EXPECT_EQ(counted.ledger.freeBytes(counted.volume, 10), kPlenty - 1024);
}

TEST(FreeSpaceLedger, BelowTheMarginTheVolumeIsAskedBeforeEveryWrite)
{
    Counted counted(kMargin + 50);
    for (int i = 0; i < 100; ++i) {
        counted.write(60);
    }
    EXPECT_EQ(counted.system.allFreeQueries(), 100U);
}

TEST(FreeSpaceLedger, TheMarginIsAboveTheComingWrite)
{
    Counted counted(kMargin + 1000);
    counted.ledger.freeBytes(counted.volume, 0);
    counted.ledger.freeBytes(counted.volume, 1000);
    EXPECT_LE(counted.system.allFreeQueries(), 2U) << "1, unless 100 ms have passed between";
    const std::size_t before = counted.system.allFreeQueries();
    counted.ledger.freeBytes(counted.volume, 1001);
    EXPECT_EQ(counted.system.allFreeQueries(), before + 1);
}

TEST(FreeSpaceLedger, AFigureLastsATenthOfASecond)
{
    Counted counted(kPlenty);
    counted.ledger.freeBytes(counted.volume, 0);
    const std::size_t before = counted.system.allFreeQueries();
    std::this_thread::sleep_for(std::chrono::milliseconds(130));
    counted.ledger.freeBytes(counted.volume, 0);
    EXPECT_EQ(counted.system.allFreeQueries(), before + 1);
}

TEST(FreeSpaceLedger, AFreshFigureIsTakenAfterAFlush)
{
    Counted counted(kMargin);
    counted.write(500);
    EXPECT_EQ(counted.system.writes, 0U);
    counted.ledger.freeBytes(counted.volume, 0);
    EXPECT_EQ(counted.system.writtenBytes, std::vector<std::int64_t>{500});
}

TEST(FreeSpaceLedger, AnOutputThatWasRemovedIsLeftAlone)
{
    Counted counted(kMargin);
    counted.write(500);
    counted.ledger.removeOutput(counted.output);
    counted.ledger.freeBytes(counted.volume, 0);
    EXPECT_EQ(counted.system.writes, 0U);
}

TEST(FreeSpaceLedger, EveryPathHasItsOwnFigure)
{
    Counted counted(kPlenty);
    auto& other = counted.ledger.volumeAt("/");
    counted.ledger.freeBytes(counted.volume, 0);
    counted.ledger.freeBytes(other, 0);
    EXPECT_EQ(counted.system.freeQueries.size(), 2U);
    EXPECT_EQ(&counted.ledger.volumeAt("/"), &other);
}

TEST(FreeSpaceLedger, AnEmptyPathIsTheCurrentFolder)
{
    Counted counted(kPlenty);
    EXPECT_EQ(counted.ledger.freeBytes(counted.ledger.volumeAt(""), 0), kPlenty);
    EXPECT_EQ(counted.system.freeQueries["."], 1U);
}

TEST(FreeSpaceLedger, AVolumeThatCannotBeAskedIsFull)
{
    Counted counted(kPlenty);
    counted.system.knowsFreeBytes = false;
    EXPECT_FALSE(counted.write(0));
}

TEST(FreeSpaceLedger, WhatFitsIsTheSameAsWhenAskedEveryTime)
{
    Random random(45);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 40; ++round) {
        const std::uint64_t all =
            random.chance(50) ? random.below(5000) : kMargin + random.below(5000);
        Counted counted(all);
        std::uint64_t left = all;
        for (int i = 0; i < 60; ++i) {
            const std::uint64_t count =
                random.chance(3) ? random.below(2 << 20) : random.below(300);
            const bool fits = left > count;
            ASSERT_EQ(counted.write(count), fits);
            left -= fits ? count : 0;
        }
    }
}

} // namespace talvek::test
