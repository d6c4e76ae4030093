#include "recovery/output/Verdict.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::output::Outcome;
using recovery::output::outcome;
using recovery::output::tally;
using recovery::output::verdict;

namespace {

constexpr std::uint16_t kGroupIds = 0x0402;

/// Zeros over a layer's record and all of its pixels.
void wipe(Document& document, std::size_t index)
{
    const Document::Record& record = document.records[index];
    document.zeroFill(record.start, record.end - record.start);
    for (const Document::Channel& channel : record.channels) {
        document.zeroFill(channel.data, channel.length);
    }
}

void setCount(Document& document, std::uint8_t count)
{
    document.overwrite(document.layerCount, {0, count});
}

std::int64_t gone(const Document& document)
{
    return tally(Found(document).document()).gone;
}

} // namespace

TEST(LayerCount, ALayerThatVanishedEntirelyIsMissed)
{
    for (std::size_t index = 0; index < 3; ++index) {
        Document document = threeLayers().build();
        wipe(document, index);
        const Found found(document);
        EXPECT_EQ(tally(found.document()).gone, 1) << index;
        EXPECT_EQ(outcome(found.document()), Outcome::Damaged) << index;
        EXPECT_NE(verdict(found.document()).find("; 1 more layer or group is gone without a trace"),
                  std::string::npos)
            << verdict(found.document());
    }
}

TEST(LayerCount, ALayerThatVanishedIsMissedInLayersOf16BitsAndInLargeDocuments)
{
    for (std::size_t index = 0; index < 3; ++index) {
        Document deep = threeLayers().depth(16).layersInBlock().build();
        wipe(deep, index);
        EXPECT_EQ(gone(deep), 1) << index;
        Document large = threeLayers().version(2).build();
        wipe(large, index);
        EXPECT_EQ(gone(large), 1) << index;
    }
}

TEST(LayerCount, ALayerThatVanishedIsMissedWithoutAHeader)
{
    Document document = threeLayers().build();
    wipe(document, 1);
    document.zeroFill(0, 26);
    EXPECT_EQ(gone(document), 1);
}

TEST(LayerCount, ADocumentWithoutLayersHasLostNone)
{
    PsdBuilder builder;
    builder.size(40, 30).resource(0x0425, Bytes(16)).globalBlock("Patt", Bytes(8));
    const Document document = builder.build();
    EXPECT_FALSE(Found(document).document().layersMayBeLost);
    Document lying = document;
    lying.lieLength(document.layerAndMask.lengthField, 0);
    EXPECT_FALSE(Found(lying).document().layersMayBeLost);
    Document headless = document;
    EXPECT_FALSE(Found(headless.zeroFill(0, 26)).document().layersMayBeLost);
    Document shifted = document;
    shifted.deleteBytes(document.imageResources.data + 20, 1);
    EXPECT_FALSE(Found(shifted).document().layersMayBeLost);
}

TEST(LayerCount, LayersThatWereWrittenOverMayBeLost)
{
    const Document document = threeLayers().build();
    for (const int value : {0x00, 0xFF}) {
        Document damaged = document;
        const std::int64_t from = document.layerAndMask.lengthField;
        damaged.overwrite(from, Bytes(static_cast<std::size_t>(document.composite - from),
                                      static_cast<std::uint8_t>(value)));
        const Found found(damaged);
        EXPECT_EQ(found.document().composite.state, recovery::State::Whole) << value;
        EXPECT_TRUE(found.document().layersMayBeLost) << value;
        EXPECT_EQ(outcome(found.document()), Outcome::Damaged) << value;
    }
}

TEST(LayerCount, ANegativeCountCountsToo)
{
    Document document = threeLayers().channelCount(4).mergedAlpha().build();
    wipe(document, 2);
    EXPECT_EQ(gone(document), 1);
}

TEST(LayerCount, RecordsBehindTheFilesEndAreMissed)
{
    Document document = threeLayers().build();
    document.cutAt(document.records[2].start);
    EXPECT_EQ(gone(document), 1);
}

TEST(LayerCount, ADamagedCountMakesNothingMissing)
{
    for (const int count : {0, 2, 4, 5, 77, 255}) {
        Document document = threeLayers().build();
        setCount(document, static_cast<std::uint8_t>(count));
        const Found found(document);
        EXPECT_EQ(tally(found.document()).gone, 0) << count;
        EXPECT_EQ(outcome(found.document()), Outcome::Complete) << count;
    }
}

TEST(LayerCount, ACountWithoutRoomForItsRecordsIsNotBelieved)
{
    Document document = threeLayers().build();
    wipe(document, 1);
    setCount(document, 200);
    EXPECT_LE(gone(document), 1);
}

TEST(LayerCount, LostPixelsAloneMakeNoLayerMissing)
{
    Document document = threeLayers().build();
    const auto& channels = document.records[0].channels;
    document.zeroFill(channels.front().data, channels.back().data - channels.front().data);
    EXPECT_EQ(gone(document), 0);
}

TEST(LayerCount, ResourcesThatALayersRemoverLeftBehindAreNotBelieved)
{
    const Document document = threeLayers().resource(kGroupIds, Bytes(10, 0)).build();
    const Found found(document);
    EXPECT_EQ(tally(found.document()).gone, 0);
    EXPECT_EQ(outcome(found.document()), Outcome::Complete);
}

TEST(LayerCount, AFlatDocumentLacksNoLayers)
{
    const Found found(PsdBuilder().size(200, 100).build());
    EXPECT_EQ(tally(found.document()).gone, 0);
    EXPECT_EQ(outcome(found.document()), Outcome::Complete);
}

TEST(LayerCount, RecordsThatVanishedAllAreMissed)
{
    Document document = threeLayers().build();
    const auto& records = document.records;
    document.zeroFill(records[0].start, records[2].end - records[0].start);
    for (const Document::Channel& channel : records[2].channels) {
        document.zeroFill(channel.data, channel.length);
    }
    const Found found(document);
    EXPECT_GE(tally(found.document()).gone, 1) << verdict(found.document());
    EXPECT_EQ(outcome(found.document()), Outcome::Damaged);
}

TEST(LayerCount, PlanesInBlocksAreNoLayersWhereNoneIsMissing)
{
    // Filters keep planes that look like those of layers.
    const Document other = threeLayers().build();
    const auto& channel = other.records[0].channels[0];
    const auto begin = other.bytes.begin() + channel.data;
    const Bytes plane(begin, begin + channel.length);
    const auto damaged = [](const Document& base) {
        Document document = base;
        document.lieLength(document.globalBlocks.at(0).lengthField, 0x7FFFFFFF);
        return document;
    };
    const Found found(damaged(threeLayers().globalBlock("FXid", plane).build()));
    EXPECT_EQ(found.names(), "sky,sea,sand");
    EXPECT_EQ(outcome(found.document()), Outcome::Complete);
}

TEST(LayerCount, ResourcesTellOfWhatIsMissingWhereTheCountIsLost)
{
    Document document = threeLayers().resource(kGroupIds, Bytes(6, 0)).build();
    wipe(document, 0);
    setCount(document, 0);
    EXPECT_EQ(gone(document), 1);
}

} // namespace talvek::test
