#include "recovery/RecordFinder.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

std::vector<LayerRecord> recordsIn(const Document& document)
{
    Source source(document.bytes);
    const RunControl control;
    SignatureIndex index;
    index.build(source.bytes(), control, [](std::int64_t) {});
    return findRecords(source.bytes(), index, {}, control).records;
}

TEST(RecordFinder, FindsEveryRecordFromItsStartToItsEnd)
{
    const Document document = threeLayers().build();
    const auto records = recordsIn(document);
    ASSERT_EQ(records.size(), 3U);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].start, document.records[i].start);
        EXPECT_EQ(records[i].end, document.records[i].end);
        EXPECT_TRUE(records[i].endIsProved);
        EXPECT_EQ(records[i].layer.name, document.records[i].name);
    }
}

TEST(RecordFinder, TheBlendModeIsNotNeeded)
{
    Document document = threeLayers().build();
    document.overwrite(document.records[1].signature + 4, bytesOf("????"));
    EXPECT_EQ(recordsIn(document).size(), 3U);
}

TEST(RecordFinder, ALostExtraLengthIsFoundFromTheBlocks)
{
    Document document =
        threeLayers().taggedBlock("lyid", {0, 0, 0, 9}).taggedBlock("lclr", Bytes(8)).build();
    document.lieLength(document.records[2].extraLength, 0x7FFFFFFF);
    const auto records = recordsIn(document);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[2].end, document.records[2].end);
    EXPECT_EQ(records[2].layer.id, 9U);
}

TEST(RecordFinder, ARecordWithALyingLengthEndsWhereTheNextBegins)
{
    Document document = threeLayers().build();
    document.lieLength(document.records[0].extraLength, 5);
    const auto records = recordsIn(document);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0].end, document.records[1].start);
}

TEST(RecordFinder, ACountThatDoesNotAgreeWithItsListIsNoRecord)
{
    Document document = threeLayers().build();
    document.flipByte(document.records[1].start + 17); // the count's low byte
    EXPECT_EQ(recordsIn(document).size(), 2U);
}

TEST(RecordFinder, ChannelsTwiceInAListAreNoRecord)
{
    Document document = threeLayers().build();
    document.overwrite(document.records[0].channels[1].entry, {0xFF, 0xFF}); // -1 again
    EXPECT_EQ(recordsIn(document).size(), 2U);
}

TEST(RecordFinder, OnlyListsThatProgramsWriteAreUsual)
{
    LayerRecord record;
    for (const int id : {-1, 0, 1, 2}) {
        record.entries.push_back({static_cast<std::int16_t>(id), 2});
    }
    EXPECT_TRUE(hasUsualChannels(record, 3));
    record.entries.back().id = 5;
    EXPECT_FALSE(hasUsualChannels(record, 3));
}

TEST(RecordFinder, RecordsBehindThePlanesOfACompleteDocumentAreAnothers)
{
    const Document document = threeLayers().build();
    Bytes both = document.bytes;
    append(both, threeLayers().build().bytes);
    const Found found(both);
    EXPECT_EQ(found.names(), "sky,sea,sand");
}

TEST(RecordFinder, ARecordThatTheFileEndsInKeepsAWholeBlendMode)
{
    Document document = threeLayers().build();
    document.cutAt(document.records[1].signature + 6);
    const Found found(document);
    for (const recovery::Layer& layer : found.document().layers) {
        EXPECT_EQ(layer.blend.size(), 4U) << layer.name;
    }
}

TEST(RecordFinder, ChannelsWithoutBytesAreChannels)
{
    Document document = threeLayers().build();
    const auto& record = document.records[1];
    for (const auto& channel : record.channels) {
        document.overwrite(channel.entry + 2, Bytes(4));
    }
    document.overwrite(record.start, Bytes(16));
    const auto records = recordsIn(document);
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1].entries.size(), 4U);
    EXPECT_TRUE(records[1].layer.bounds.isEmpty());
}

TEST(RecordFinder, LengthsAsSmallAsCountsMakeNoShorterList)
{
    PsdBuilder builder = threeLayers();
    for (const std::vector<std::int16_t>& ids :
         {std::vector<std::int16_t>{0, 1, 2}, {-1, 0}, {-1, 0, 1, 2}, {0, 1, 2, 3}}) {
        builder.layer("empty").bounds(0, 0, 0, 0).channels(ids);
    }
    const Document document = builder.build();
    const auto records = recordsIn(document);
    ASSERT_EQ(records.size(), document.records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].start, document.records[i].start) << i;
        EXPECT_EQ(records[i].entries.size(), document.records[i].channels.size()) << i;
    }
}

TEST(RecordFinder, RecordsWithMoreChannelsThanDocumentsHaveAreBounded)
{
    Bytes record(16);
    record[11] = record[15] = 100;
    appendU16(record, 56);
    for (int id = -1; id < 55; ++id) {
        appendU16(record, static_cast<std::uint16_t>(id));
        appendU32(record, 2);
    }
    append(record, bytesOf("8BIMnorm"));
    appendU32(record, 0xFF000000);
    appendU32(record, 0);
    Bytes file = threeLayers().build().bytes;
    for (std::size_t i = 0; i < FoundRecords::kMostChannels / 56 + 10; ++i) {
        append(file, record);
    }
    const Found found(file);
    std::size_t channels = 0;
    for (const recovery::Layer& layer : found.document().layers) {
        channels += layer.channels.size();
    }
    EXPECT_LE(channels, FoundRecords::kMostChannels);
    ASSERT_FALSE(found.document().missing.empty());
    EXPECT_EQ(found.document().missing[0].find("More layers or channels"), 0U);
}

TEST(RecordFinder, ABlockTooManyCostsARecordNothing)
{
    PsdBuilder builder = threeLayers();
    builder.taggedBlock("abcd", {}).taggedBlock("lyid", {0, 0, 0, 9});
    for (int i = 0; i < 20000; ++i) {
        builder.taggedBlock("abcd", {});
    }
    const auto records = recordsIn(builder.build());
    ASSERT_EQ(records.size(), 3U);
    EXPECT_TRUE(records[2].endIsProved);
    EXPECT_EQ(records[2].layer.id, 9U);
    EXPECT_LT(records[2].layer.blocks.size(), 20000U);
}

} // namespace talvek::test
