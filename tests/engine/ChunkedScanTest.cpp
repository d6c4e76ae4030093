#include "engine/ChunkedScan.h"

#include "engine/SignatureSearch.h"
#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/platform/MemoryFile.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

namespace talvek::test {

namespace {

constexpr std::int64_t kKiB = 1024;
constexpr std::int64_t kMiB = 1024 * kKiB;

bool isAny(std::span<const std::uint8_t> /*bytes*/, std::size_t /*position*/)
{
    return true;
}

/// The longest match that there is: a signature, a key and an opacity.
bool isOpaque(std::span<const std::uint8_t> bytes, std::size_t position)
{
    return holdsAt(bytes, position + 4, "pass\xFF");
}

std::int64_t scan(MemoryFile& memory, std::int64_t start, std::int64_t length)
{
    ReadingFileHandle handle(memory, "document");
    SignatureMemo memo;
    return scanChunks(handle, memo, start, length, isAny);
}

} // namespace

TEST(ChunkedScan, FindsASignatureAcrossEveryBorderOfAWindow)
{
    MemoryFile memory(Bytes(static_cast<std::size_t>(3 * kMiB)));
    const Bytes blank(4);
    for (const std::int64_t border : {16 * kKiB, 64 * kKiB, 80 * kKiB, 256 * kKiB, 336 * kKiB, kMiB,
                                      kMiB + 336 * kKiB, 2 * kMiB, 2 * kMiB + 336 * kKiB}) {
        for (std::int64_t offset = border - 1100; offset < border + 1100;
             offset += 1 + offset % 7) {
            put(memory.bytes, static_cast<std::size_t>(offset), "8BIM");
            ASSERT_EQ(scan(memory, 26, 3 * kMiB), offset);
            put(memory.bytes, static_cast<std::size_t>(offset), std::string_view("\0\0\0\0", 4));
        }
    }
}

TEST(ChunkedScan, FindsTheSignatureAtEveryOffsetOfAWindowsBorderFromEveryStart)
{
    MemoryFile memory(Bytes(static_cast<std::size_t>(40 * kKiB)));
    for (std::int64_t start = 0; start < 34; ++start) {
        for (std::int64_t offset = 16 * kKiB - 10; offset < 16 * kKiB + 50; ++offset) {
            put(memory.bytes, static_cast<std::size_t>(offset), "8BIM");
            ASSERT_EQ(scan(memory, start, 40 * kKiB), offset) << start;
            put(memory.bytes, static_cast<std::size_t>(offset), std::string_view("\0\0\0\0", 4));
        }
    }
}

TEST(ChunkedScan, EveryLengthReachesAsFarAsItsChunks)
{
    MemoryFile memory(Bytes(8000));
    put(memory.bytes, 4000, "8BIM");
    for (std::int64_t length = -5000; length < 5000; length += 7) {
        for (const std::int64_t start : {0, 1000, 2967, 2968, 2972, 2973, 3999, 4000, 4001}) {
            ASSERT_EQ(scan(memory, start, length),
                      plainScan(memory.bytes, start, length, plainBlock("")))
                << start << " " << length;
        }
    }
}

TEST(ChunkedScan, EveryCutOfADocumentAgreesWithThePlainScan)
{
    Bytes whole(2200);
    put(whole, 2090, "8BIM");
    for (std::int64_t size = 2080; size < 2110; ++size) {
        MemoryFile memory(slice(whole, 0, size));
        for (const std::int64_t length : {1, 1024, 1025, 2048, 2080, 3000, 1 << 30}) {
            ASSERT_EQ(scan(memory, 10, length),
                      plainScan(memory.bytes, 10, std::min<std::int64_t>(length, 10'000),
                                plainBlock("")));
        }
    }
}

TEST(ChunkedScan, RandomDocumentsStartsAndLengths)
{
    Random random(42);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 4000; ++round) {
        MemoryFile memory(Bytes(random.below(30'000)));
        for (std::uint64_t i = random.below(4); i > 0 && memory.bytes.size() > 4; --i) {
            put(memory.bytes, random.below(memory.bytes.size() - 4), "8BIM");
        }
        const std::int64_t start = random.between(-3000, 31'000);
        const std::int64_t length = random.between(-3000, 33'000);
        ASSERT_EQ(scan(memory, start, length),
                  plainScan(memory.bytes, start, length, plainBlock("")))
            << start << " " << length;
    }
}

TEST(ChunkedScan, AForwardScanCostsAboutOneReadAWindow)
{
    MemoryFile memory(Bytes(static_cast<std::size_t>(16 * kMiB)));
    EXPECT_EQ(scan(memory, 26, 16 * kMiB - 26), 0);
    EXPECT_LE(memory.reads, 16U + 6U);
    EXPECT_LE(memory.bytesRead, static_cast<std::uint64_t>(17 * kMiB));
}

TEST(ChunkedScan, ChunksThatReadNothingCostNothing)
{
    MemoryFile memory(Bytes(5000));
    EXPECT_EQ(scan(memory, 26, std::int64_t{1} << 60), 0);
    EXPECT_EQ(scan(memory, 9000, std::int64_t{1} << 60), 0);
    EXPECT_EQ(scan(memory, -(std::int64_t{1} << 60), std::int64_t{1} << 60), 0);
    EXPECT_LE(memory.reads, 12U);
}

TEST(ChunkedScan, AScanFromBeforeTheStartKeepsItsGrid)
{
    Bytes document(3000);
    put(document, 0, "8BIM"); // an offset of 0 can never be a match
    put(document, 1022, "8BIM");
    MemoryFile memory(document);
    for (std::int64_t start = -3000; start < 0; start += 13) {
        for (const std::int64_t length : {1024, 2048, 3072, 4096, 9000}) {
            ASSERT_EQ(scan(memory, start, length),
                      plainScan(document, start, length, plainBlock("")))
                << start << " " << length;
        }
    }
}

TEST(ChunkedScan, WhatIsRememberedOfEarlierScansChangesNoAnswer)
{
    Random random(46);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 300; ++round) {
        MemoryFile memory(Bytes(100 + random.below(20'000)));
        for (std::uint64_t i = random.below(30); i > 0; --i) {
            put(memory.bytes, random.below(memory.bytes.size() - 9),
                random.chance(50) ? "8BIMpass\xFF" : "8BIMpass");
        }
        ReadingFileHandle handle(memory, "document");
        SignatureMemo memo;
        for (int repeat = 0; repeat < 12; ++repeat) {
            const std::int64_t start = random.chance(40) ? 26 : random.between(-2000, 20'000);
            const std::int64_t length = random.between(-3000, 22'000);
            const bool isLong = random.chance(50);
            ASSERT_EQ(scanChunks(handle, memo, start, length, isLong ? isOpaque : isAny),
                      plainScan(memory.bytes, start, length, plainBlock(isLong ? "pass\xFF" : "")))
                << start << " " << length;
        }
    }
}

// A signature that is known is still not seen by a read that ends within it, and one that is not
// known yet is seen at the very end of a read.
TEST(ChunkedScan, WhatIsRememberedIsCutByTheEndOfTheLastRead)
{
    for (std::int64_t reach = 1015; reach < 1040; ++reach) {
        MemoryFile memory(Bytes(6000));
        put(memory.bytes, static_cast<std::size_t>(2000 + reach), "8BIMpass\xFF");
        put(memory.bytes, static_cast<std::size_t>(2000 + reach + 4), "8BIMpass\xFF");
        for (const std::int64_t before : {0, 1000, 3000, 6000}) {
            ReadingFileHandle handle(memory, "document");
            SignatureMemo memo;
            scanChunks(handle, memo, 26, before, isOpaque);
            for (const std::int64_t length : {-1, 0, 1, 1024, 1025, 2048}) {
                ASSERT_EQ(scanChunks(handle, memo, 2000, length, isAny),
                          plainScan(memory.bytes, 2000, length, plainBlock("")))
                    << reach << " " << before << " " << length;
            }
        }
    }
}

TEST(ChunkedScan, MoreSignaturesThanAreRememberedAreAllFound)
{
    Bytes document;
    while (document.size() < 5 * SignatureMemo::kMostOffsets) {
        append(document, "-8BIM");
    }
    append(document, "-8BIMpass\xFF");
    MemoryFile memory(document);
    ReadingFileHandle handle(memory, "document");
    SignatureMemo memo;
    const auto size = static_cast<std::int64_t>(document.size());
    for (int repeat = 0; repeat < 2; ++repeat) {
        EXPECT_EQ(scanChunks(handle, memo, 26, size, isOpaque), size - 9);
        EXPECT_EQ(scanChunks(handle, memo, size - 30, size, isAny), size - 29);
    }
}

TEST(ChunkedScan, WhatIsRememberedIsNotReadAgain)
{
    MemoryFile memory(Bytes(static_cast<std::size_t>(8 * kMiB)));
    ReadingFileHandle handle(memory, "document");
    SignatureMemo memo;
    scanChunks(handle, memo, 26, 8 * kMiB, isAny);
    const std::size_t before = memory.reads;
    scanChunks(handle, memo, 26, 8 * kMiB, isAny);
    EXPECT_LE(memory.reads, before + 4);
}

TEST(ChunkedScan, EmptyBlocksAreThoseThatCanReadNothing)
{
    EXPECT_EQ(emptyBlocks(100, 7, 1024, 100), 7);
    EXPECT_EQ(emptyBlocks(99, 7, 1024, 100), 0);
    EXPECT_EQ(emptyBlocks(0, 7, 1024, 100), 0);
    EXPECT_EQ(emptyBlocks(-1, 7, 1024, 100), 1);
    EXPECT_EQ(emptyBlocks(-1024, 7, 1024, 100), 1);
    EXPECT_EQ(emptyBlocks(-1025, 7, 1024, 100), 2);
    EXPECT_EQ(emptyBlocks(-100'000, 7, 1024, 100), 7);
    EXPECT_EQ(emptyBlocks(0, 7, 1024, 0), 7);
}

} // namespace talvek::test
