// Corners that random damage hardly ever finds: the engine against the plain one on documents that
// are made for them.

#include "tests/engine/Bench.h"
#include "tests/engine/Workbench.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

namespace talvek::test {

namespace {

constexpr std::uint64_t kLedgerMargin = 64U << 20U;

std::string differenceOn(const Document& document)
{
    return Bench(document.bytes).difference();
}

PsdBuilder oneLayer()
{
    return PsdBuilder{}.mode(Mode::grayscale).size(6, 4).thumbnail({}).layer("sky").transparent();
}

} // namespace

TEST(DifferentialCorners, AThumbnailWhoseSignatureEndsInTheReadBefore)
{
    Document document = PsdBuilder{}.fillResourcesTo(9000).build();
    // The last read, at 30 + 2 * 4096, ends with "8BIM" at its byte 10; the identifier behind it is
    // what the read before held there.
    document.overwrite(30 + 4096 + 14, {0x04, 0x0C});
    document.overwrite(30 + 8192 + 10, bytesOf("8BIM")).cutAt(30 + 8192 + 14);
    const Bench bench(document.bytes);
    EXPECT_TRUE(bench.plain().files.contains("a.psd_thumbnail.jpg"));
    EXPECT_EQ(bench.difference(), "");
}

TEST(DifferentialCorners, AThumbnailAroundTheEndOfTheLastRead)
{
    for (std::int64_t place = 4085; place < 4105; ++place) {
        Document document = PsdBuilder{}.trailing(Bytes(6000, 7)).build();
        document.overwrite(30 + place, bytesOf("8BIM\x04\x0C"));
        EXPECT_EQ(differenceOn(document), "") << place;
    }
}

TEST(DifferentialCorners, RecordsAroundTheBordersOfAChunk)
{
    for (std::int64_t place = 26 + 1010; place < 26 + 1040; ++place) {
        for (const char* signature : {"8BIMnorm", "8BIMmul \xFF", "8BIMFMsk"}) {
            Document document = PsdBuilder{}.trailing(Bytes(1500, 7)).build();
            document.overwrite(place, bytesOf(signature));
            EXPECT_EQ(differenceOn(document), "") << signature << " at " << place;
            document.cutAt(place + 9);
            EXPECT_EQ(differenceOn(document), "") << signature << " at " << place << ", then cut";
            document.cutAt(place + 8);
            EXPECT_EQ(differenceOn(document), "") << signature << " at the end, " << place;
        }
    }
}

TEST(DifferentialCorners, AsManyChannelsAsTheTableHolds)
{
    for (int count = 18; count < 24; ++count) {
        std::vector<std::int16_t> ids;
        for (int i = 0; i < count; ++i) {
            ids.push_back(static_cast<std::int16_t>(i - 1));
        }
        const Document document = oneLayer().channels(ids).build();
        EXPECT_EQ(differenceOn(document), "") << count << " channels";
    }
}

TEST(DifferentialCorners, ChannelIdentifiersAtTheEndsOfTheirRange)
{
    EXPECT_EQ(differenceOn(oneLayer().channels({INT16_MAX, INT16_MIN}).build()), "");
    EXPECT_EQ(differenceOn(oneLayer().channels({INT16_MIN, INT16_MIN + 1}).build()), "");
    EXPECT_EQ(differenceOn(oneLayer().channels({INT16_MAX - 1, INT16_MAX}).build()), "");
}

TEST(DifferentialCorners, ABlockWithoutItsLengthAtTheEndOfTheFile)
{
    Document document = oneLayer().build();
    document.cutAt(document.records[0].end);
    Bytes blocks = bytesOf("8BIMluni");
    appendI32(blocks, -7); // of the next block, seven bytes back is the middle of its key
    append(blocks, "8BIM");
    append(blocks, Bytes(4));
    document.insertBytes(document.size(), blocks);
    EXPECT_EQ(differenceOn(document), "");
}

TEST(DifferentialCorners, BlocksThatLeadBackToThemselves)
{
    for (std::int64_t back = 0; back < 60; ++back) {
        Document document =
            oneLayer().taggedBlock("luni", {9, 9}).taggedBlock("lyid", {9, 9}).build();
        document.lieLength(document.records[0].end - 6, -back);
        EXPECT_EQ(differenceOn(document), "") << back << " bytes back";
    }
}

// The search for the last tagged block is one read of 1032 bytes from behind the record's key; the
// whole file has been searched before, so the block's signature is known wherever it stands.
TEST(DifferentialCorners, ATaggedBlockAroundTheEndOfTheRead)
{
    for (std::size_t reach = 1020; reach < 1036; ++reach) {
        Bytes document(4000, 0x77);
        put(document, 0, "8BPS");
        put(document, 200, "8BIMnorm");
        put(document, 208 + reach, "8BIMluni");
        std::fill_n(document.begin() + static_cast<std::ptrdiff_t>(208 + reach) + 8, 6,
                    std::uint8_t{0});
        EXPECT_EQ(Bench(document).difference(), "") << reach;
    }
}

TEST(DifferentialCorners, ColourModeLengthsAroundAndBelowZero)
{
    const Document whole = oneLayer().filterMask().build();
    for (std::int64_t length = -200; length < 20; ++length) {
        Document document = whole;
        document.lieLength(26, length);
        EXPECT_EQ(differenceOn(document), "") << "colour-mode length " << length;
    }
}

TEST(DifferentialCorners, CompositesAroundTheEndOfTheFile)
{
    for (std::int64_t place = -6; place < 6; ++place) {
        Document document = oneLayer().filterMask().trailing({0, 1, 0, 0, 1, 0}).build();
        const std::int64_t start = document.size() + place;
        Document byFilterMask = document;
        byFilterMask.lieLength(document.globalBlocks[0].lengthField,
                               start - document.globalBlocks[0].data);
        EXPECT_EQ(differenceOn(byFilterMask), "") << place << ", by the filter mask";
        document.overwrite(document.globalBlocks[0].start, bytesOf("none"));
        document.lieLength(document.layerAndMask.start, start - document.layerAndMask.data);
        EXPECT_EQ(differenceOn(document), "") << place << ", by the section";
    }
}

TEST(DifferentialCorners, RowsThatMoveTheCompositeFarAway)
{
    for (const std::int64_t rows : {-1, -300, -5000, INT32_MIN, INT32_MAX, 300, 3000}) {
        for (const std::uint64_t freeBytes : {60U, 100U, 100'000U}) {
            Document document = oneLayer().trailing(Bytes(300, 3)).build();
            document.lieLength(14, rows);
            model::Settings settings;
            settings.freeBytes = freeBytes;
            EXPECT_EQ(Bench(document.bytes).difference(settings), "")
                << rows << " rows, " << freeBytes << " bytes free";
        }
    }
}

TEST(DifferentialCorners, VolumesAtTheLedgersMargin)
{
    Bytes stream(2);
    for (std::uint64_t i = 0; i < kLedgerMargin / 128 + 2000; ++i) {
        append(stream, Bytes{0x81, static_cast<std::uint8_t>(i)}); // 128 bytes each
    }
    const Bench bench(PsdBuilder{}
                          .mode(Mode::grayscale)
                          .size(9, 1)
                          .thumbnail({})
                          .compositeStream(1, stream)
                          .build()
                          .bytes);
    const std::uint64_t needed = bench.plain().writtenBytes;
    for (const std::uint64_t freeBytes : {kLedgerMargin + 1, needed, needed + 1}) {
        model::Settings settings;
        settings.freeBytes = freeBytes;
        EXPECT_EQ(bench.difference(settings), "") << freeBytes << " of " << needed;
    }
}

// The packed documents of a layer are decoded from where they stand as long as there is room to
// spare for them. A stream that unpacks into more than that fills the volume while the first of
// them, or the second, is decoded.
TEST(DifferentialCorners, VolumesThatFillUpWhileAnUnwrittenLayerIsDecoded)
{
    Bytes stream(2); // the row table
    for (std::uint64_t i = 0; i < kLedgerMargin / 128 / 3 + 3000; ++i) {
        append(stream, Bytes{0x81, static_cast<std::uint8_t>(i)});
    }
    const Bench bench(PsdBuilder{}
                          .mode(Mode::grayscale)
                          .size(9, 1)
                          .layer("sky")
                          .transparent()
                          .channelStream(-1, 1, stream)
                          .channelStream(0, 1, stream)
                          .taggedBlock("lclr", Bytes(8))
                          .filterMask()
                          .build()
                          .bytes);
    const std::uint64_t needed = bench.plain().writtenBytes;
    const std::uint64_t packed = 4 * stream.size();
    const std::uint64_t decoded = (stream.size() - 2) / 2 * 128;
    for (const std::uint64_t freeBytes :
         {kLedgerMargin + packed, kLedgerMargin + packed + 200, kLedgerMargin + packed + 100'000,
          packed + 3 * decoded + 96, packed + 3 * decoded + 300, packed + 3 * decoded + 90'000,
          needed, needed + 1}) {
        model::Settings settings;
        settings.freeBytes = freeBytes;
        EXPECT_EQ(bench.difference(settings), "") << freeBytes << " of " << needed;
    }
}

} // namespace talvek::test
