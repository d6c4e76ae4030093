#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PackBits.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvek::test {

namespace {

constexpr const char* kName = "layer0_image.psd";

/// A file of a prefix and a stream in the output folder, decoded.
struct Decoded : Workbench
{
    Decoded(const Bytes& stored, std::int64_t prefixLength,
            SystemCalls& system = SystemCalls::real())
        : Workbench({}, system)
    {
        prepare();
        files.createFile(folder + "/" + kName, stored);
        engine.decodeImage(folder + "/" + kName, prefixLength);
    }

    [[nodiscard]] Bytes bytes() const { return file(kName); }
};

/// What becomes of a stream behind a prefix of 48 bytes, the prefix taken off.
Bytes decoded(const Bytes& stream)
{
    const Decoded bench(joined({patternOf(48), stream}), 48);
    EXPECT_EQ(slice(bench.bytes(), 0, 48), patternOf(48));
    return slice(bench.bytes(), 48);
}

/// A stream of exactly `bytes` bytes: runs of `A`, two bytes each, and one that does nothing.
Bytes streamOf(std::size_t bytes)
{
    Bytes stream;
    while (stream.size() + 2 <= bytes) {
        append(stream, Bytes{0xFF, static_cast<std::uint8_t>(stream.size() / 2)});
    }
    if (stream.size() < bytes) {
        stream.insert(stream.begin(), 0x80);
    }
    return stream;
}

std::int16_t channelNumber(const Bytes& bytes)
{
    return Repair::channelNumber(bytes, static_cast<std::int32_t>(bytes.size()));
}

} // namespace

TEST(DecodeImage, TheThreeKindsOfRun)
{
    EXPECT_EQ(decoded({0xFF, 'X'}), bytesOf("XX"));
    EXPECT_EQ(decoded({0x00, 'X'}), bytesOf("X"));
    EXPECT_EQ(decoded({0x80}), Bytes{});
    EXPECT_EQ(decoded({0x80, 0x80, 0x01, 'a', 'b', 0x81, 'c'}),
              joined({bytesOf("ab"), Bytes(128, 'c')}));
}

TEST(DecodeImage, EveryControlByteAlone)
{
    for (int control = 0; control < 256; ++control) {
        Bytes stream = patternOf(130);
        stream[0] = static_cast<std::uint8_t>(control);
        stream.resize(control < 128   ? static_cast<std::size_t>(control) + 2
                      : control > 128 ? 2
                                      : 1);
        EXPECT_EQ(decoded(stream), plainDecoded(stream)) << control;
    }
}

TEST(DecodeImage, AStreamOf1024BytesIsOneBlockAndOneOf1025IsMore)
{
    // Behind the last byte one block stops; several go on with what is left in the buffer.
    EXPECT_EQ(decoded(streamOf(1024)).size(), 1024U);
    EXPECT_GT(decoded(joined({streamOf(1024), Bytes{0x80}})).size(), 1024U);
}

TEST(DecodeImage, StreamsAroundABlockAndABuffer)
{
    Random random(31);
    SCOPED_TRACE(random.seedText());
    for (const std::size_t size : {1U, 1022U, 1023U, 1024U, 1025U, 1026U, 2046U, 2047U, 2048U,
                                   2049U, 2050U, 2051U, 3071U, 3072U, 3073U, 4096U, 4097U}) {
        EXPECT_EQ(decoded(streamOf(size)), plainDecoded(streamOf(size))) << size;
        for (int round = 0; round < 20; ++round) {
            const Bytes stream = randomPackedStream(size, random);
            EXPECT_EQ(decoded(stream), plainDecoded(stream)) << size;
        }
    }
}

TEST(DecodeImage, ThousandsOfRandomStreams)
{
    Random random(32);
    SCOPED_TRACE(random.seedText());
    Workbench bench({});
    bench.prepare();
    const std::string path = bench.folder + "/" + kName;
    for (int round = 0; round < 3000; ++round) {
        const std::size_t size = random.chance(50) ? random.below(1200) : random.below(6000);
        const Bytes stream = randomPackedStream(size, random);
        writeFile(path, stream);
        bench.engine.decodeImage(path, 0);
        ASSERT_EQ(bench.file(kName), plainDecoded(stream)) << "round " << round;
    }
}

TEST(DecodeImage, EveryPrefixOfAValidStream)
{
    Random random(33);
    SCOPED_TRACE(random.seedText());
    const Bytes stream = packBitsAtRandom(randomPixels(700, random), random);
    Workbench bench({});
    bench.prepare();
    const std::string path = bench.folder + "/" + kName;
    for (std::int64_t size = 0; size <= static_cast<std::int64_t>(stream.size()); ++size) {
        writeFile(path, slice(stream, 0, size));
        bench.engine.decodeImage(path, 0);
        ASSERT_EQ(bench.file(kName), plainDecoded(slice(stream, 0, size))) << size;
    }
}

TEST(DecodeImage, AnEmptyStreamLeavesThePrefixAlone)
{
    EXPECT_EQ(Decoded(patternOf(48), 48).bytes(), patternOf(48));
    EXPECT_EQ(Decoded(patternOf(20), 48).bytes(), patternOf(20));
    EXPECT_EQ(Decoded({}, 48).bytes(), Bytes{});
    EXPECT_EQ(Decoded(patternOf(20), 20 + 2000).bytes(), patternOf(20));
}

TEST(DecodeImage, AShortLastReadIsFollowedByWhatTheBufferHeldBefore)
{
    // 1025 bytes: the second read brings one byte, and the loop goes on over those of the first.
    Bytes stream;
    for (int i = 0; i < 512; ++i) {
        append(stream, Bytes{0x00, static_cast<std::uint8_t>('a' + i % 20)});
    }
    stream.push_back(0x80);
    const Bytes made = decoded(stream);
    EXPECT_EQ(made, plainDecoded(stream));
    EXPECT_EQ(made[511], 'a' + 511 % 20);
    EXPECT_GT(made.size(), 1000U) << "512 bytes of its own, and as many of the leftovers";
}

TEST(DecodeImage, ARunAcrossABlocksEndIsTakenWhole)
{
    Bytes stream = streamOf(1023);
    append(stream, Bytes{127});
    append(stream, patternOf(128));
    append(stream, Bytes{0xFF, 'z'});
    const Bytes made = decoded(stream);
    EXPECT_EQ(slice(made, 1022, 1022 + 128), patternOf(128));
    EXPECT_EQ(slice(made, 1150, 1152), bytesOf("zz"));
}

TEST(DecodeImage, ARunThatReachesBehindOneBlockTakesZeros)
{
    EXPECT_EQ(decoded({3, 'a'}), joined({bytesOf("a"), Bytes(3)}));
    EXPECT_EQ(decoded({0xFE}), Bytes(3));
}

TEST(DecodeImage, TheResultTakesTheInputsNameAndNoWorkFileStays)
{
    const Decoded bench(joined({patternOf(48), Bytes{0, 'x'}}), 48);
    EXPECT_EQ(bench.names(), kName);
}

TEST(DecodeImage, TheResultGoesIntoTheListThatTheRunIsAt)
{
    Workbench bench({});
    bench.prepare();
    const std::string path = bench.folder + "/" + kName;
    bench.engine.decodeImage(path, 48);
    EXPECT_EQ(bench.engine.mutableStringArray, std::vector{path});
    EXPECT_TRUE(bench.engine.mainFileArray.empty());
    bench.engine.boolValue = true;
    bench.engine.decodeImage(path, 48);
    EXPECT_EQ(bench.engine.mainFileArray, std::vector{path});
    EXPECT_EQ(bench.engine.mutableStringArray.size(), 1U);
}

TEST(DecodeImage, APrefixBelowZeroIsTheWholeFileAndNothingIsDecoded)
{
    for (const std::int64_t prefix : {-1LL, -1024LL, -3000LL, -2147483600LL}) {
        EXPECT_EQ(Decoded(patternOf(3000), prefix).bytes(), patternOf(3000)) << prefix;
    }
}

TEST(DecodeImage, APrefixBelowZeroPassesItsTestForRoom)
{
    FaultySystem system;
    system.freeAtFirst = 0;
    const Decoded bench(patternOf(30), -5, system);
    EXPECT_EQ(bench.heard.aborts(), 0U);
    EXPECT_EQ(bench.bytes(), patternOf(30));
}

TEST(DecodeImage, RoomForThePrefixIsTestedAgainstItsStatedLength)
{
    FaultySystem system;
    system.freeAtFirst = 5000 + 30; // the file itself takes 30
    EXPECT_EQ(Decoded(patternOf(30), 5000, system).heard.aborts(), 1U);
    system.freeAtFirst = 5001 + 60;
    EXPECT_EQ(Decoded(patternOf(30), 5000, system).heard.aborts(), 0U);
}

TEST(DecodeImage, WithoutRoomForThePrefixTheDocumentIsLost)
{
    FaultySystem system;
    system.freeAtFirst = 90;
    const Decoded bench(joined({patternOf(48), Bytes{0, 'x'}}), 48, system);
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.names(), "");
    EXPECT_EQ(bench.engine.mutableStringArray, std::vector{bench.folder + "/" + kName});
}

TEST(DecodeImage, WithoutRoomForARunTheRunIsDroppedAndThePartStays)
{
    for (const bool isLong : {false, true}) {
        const Bytes stream = isLong ? streamOf(1500) : Bytes{0xFD, 'a', 0xFD, 'b', 0xFD, 'c'};
        FaultySystem system;
        // The file, its copied prefix, one run, and then less than a run and a byte.
        system.freeAtFirst = 48 + stream.size() + 48 + (isLong ? 2 + 2 : 4 + 4);
        const Decoded bench(joined({patternOf(48), stream}), 48, system);
        EXPECT_EQ(bench.heard.aborts(), 1U);
        EXPECT_EQ(bench.bytes(),
                  joined({patternOf(48), slice(plainDecoded(stream), 0, isLong ? 2 : 4)}));
    }
}

TEST(DecodeImage, AShortStreamAsksForRoomOnTheOutputsVolumeWhereThereAreNoApplications)
{
    FaultySystem system;
    system.freeAtFirst = 1 << 20;
    const Decoded bench(joined({patternOf(48), Bytes{0, 'x'}}), 48, system);
    if (bench.files.existsAtPath("/Applications")) {
        EXPECT_GE(system.freeQueries["/Applications"], 1U);
    } else {
        EXPECT_EQ(system.freeQueries.size(), 1U);
        EXPECT_GE(system.freeQueries[bench.place.path()], 2U);
    }
}

TEST(DecodeImage, ARunThatMakesNothingNeedsNoRoom)
{
    FaultySystem system;
    system.freeAtFirst = 548 + 49; // the file, and a byte more than its prefix
    const Decoded bench(joined({patternOf(48), Bytes(500, 0x80)}), 48, system);
    EXPECT_EQ(bench.heard.aborts(), 0U);
    EXPECT_EQ(bench.bytes(), patternOf(48));
}

TEST(DecodeImage, TheFlagsAreNotLookedAt)
{
    Workbench bench({});
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    writeFile(bench.folder + "/" + kName, {0, 'x'});
    bench.engine.decodeImage(bench.folder + "/" + kName, 0);
    EXPECT_EQ(bench.file(kName), bytesOf("x"));
}

TEST(DecodeImage, AMissingFileIsToleratedAndListed)
{
    Workbench bench({});
    bench.prepare();
    bench.engine.decodeImage(bench.folder + "/absent.psd", 48);
    EXPECT_EQ(bench.names(), "absent.psd") << "the work file, empty, under its final name";
    EXPECT_EQ(bench.file("absent.psd"), Bytes{});
}

TEST(DecodeImage, AfterAnAbortNothingIsMadeInTheRootFolderAndTheInputGoes)
{
    FaultySystem system;
    Workbench bench({}, system);
    bench.prepare();
    const std::string path = bench.folder + "/" + kName;
    writeFile(path, {0, 'x'});
    bench.engine.recoverFileLocationField.clear();
    bench.engine.decodeImage(path, 0);
    EXPECT_EQ(bench.names(), "");
    EXPECT_TRUE(system.opensForWriting.empty());
    EXPECT_EQ(bench.engine.mutableStringArray, std::vector<std::string>{"/layer0_image.psd"});
}

TEST(DecodeImage, NothingInTheRootFolderIsReadMovedOrDeleted)
{
    FaultySystem system;
    Workbench bench({}, system);
    bench.prepare();
    bench.engine.recoverFileLocationField.clear();
    bench.engine.decodeImage("/etc", 0);
    EXPECT_TRUE(bench.files.isFolder("/etc"));
    EXPECT_TRUE(system.opensForWriting.empty());
    EXPECT_EQ(std::count(system.opened.begin(), system.opened.end(), "/etc"), 0);
}

TEST(DecodeImage, AMoveThatFailsLeavesTheWorkFile)
{
    FaultySystem system;
    system.moves = false;
    const Decoded bench(joined({patternOf(48), Bytes{0, 'x'}}), 48, system);
    EXPECT_EQ(bench.names(), "decode_layer0_image.psd");
    EXPECT_EQ(bench.engine.mutableStringArray, std::vector{bench.folder + "/" + kName});
}

TEST(DecodeImage, RunsAreNotCutAtRows)
{
    EXPECT_EQ(decoded({0x81, 'x', 0x81, 'x'}), Bytes(256, 'x'));
}

TEST(ChannelNumber, TwoBytesAreASignedNumber)
{
    EXPECT_EQ(channelNumber({0xFF, 0xFE}), -2);
    EXPECT_EQ(channelNumber({0xFF, 0xFF}), -1);
    EXPECT_EQ(channelNumber({0x00, 0x03}), 3);
    EXPECT_EQ(channelNumber({0x80, 0x00}), -32768);
}

TEST(ChannelNumber, OfMoreBytesTheLastTwoSurvive)
{
    EXPECT_EQ(channelNumber({9, 8, 0x01, 0x02}), 0x0102);
    EXPECT_EQ(channelNumber({}), 0);
    EXPECT_EQ(channelNumber({7}), 7);
}

} // namespace talvek::test
