#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvek::test {

namespace {

const Bytes kTail = {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

/// A bench at the first layer of a document, before its extraction.
struct AtLayer : Workbench
{
    explicit AtLayer(const Document& built, SystemCalls& system = SystemCalls::real())
        : Workbench(built.bytes, system), source(built)
    {
        prepare();
        engine.layerStart = built.channelImageData;
    }

    AtLayer& extract(std::size_t index = 0)
    {
        engine.imageOfLayer(source.records[index].signature);
        return *this;
    }

    Document source;
};

PsdBuilder plainLayer()
{
    return PsdBuilder{}.size(5, 4).layer("sky");
}

/// The head of a salvaged document, by the source's own header.
Bytes headOf(const Document& source, std::uint8_t channels, const Bytes& height, const Bytes& width)
{
    const std::int64_t modeEnd = source.colourModeData.data + source.colourModeData.length;
    return joined({slice(source.bytes, 0, 12),
                   {0, channels},
                   height,
                   width,
                   slice(source.bytes, 22, modeEnd),
                   kTail});
}

/// A channel's packed bytes, its code and its table of row lengths taken off.
Bytes packedOf(const Document& source, const Document::Channel& channel, std::int64_t rows)
{
    return slice(source.bytes, channel.data + 2 + rows * 2, channel.data + channel.length);
}

/// A channel as it is kept undecoded, with the two bytes that follow it.
Bytes undecodedOf(const Document& source, const Document::Channel& channel)
{
    return slice(source.bytes, channel.data + 2, channel.data + 2 + channel.length);
}

std::string numberOfDocuments(const Document& document)
{
    AtLayer bench(document);
    bench.extract();
    return bench.names() + "/" + std::to_string(bench.engine.layer_counter);
}

} // namespace

TEST(ImageOfLayer, ATransparentPackBitsLayerGivesALayerAndAMaskDocument)
{
    const Document source = plainLayer().transparent().build();
    AtLayer bench(source);
    bench.extract();
    const auto& channels = source.records[0].channels;
    Bytes colours;
    for (std::size_t i = 1; i < channels.size(); ++i) {
        append(colours, packedOf(source, channels[i], 4));
    }
    const Bytes mask = packedOf(source, channels[0], 4);
    const Bytes head = headOf(source, 3, {0, 0, 0, 4}, {0, 0, 0, 5});
    EXPECT_EQ(bench.file("layer0_image.psd"), joined({head, plainDecoded(colours)}));
    EXPECT_EQ(bench.file("mask0_image.psd"),
              joined({head, plainDecoded(joined({mask, mask, mask}))}));
}

TEST(ImageOfLayer, TheDecodedPlanesHaveTheLayersSize)
{
    AtLayer bench(plainLayer().transparent().build());
    bench.extract();
    EXPECT_EQ(bench.file("layer0_image.psd").size(), 48U + 3 * 5 * 4);
    EXPECT_EQ(bench.file("mask0_image.psd").size(), 48U + 3 * 5 * 4);
}

TEST(ImageOfLayer, TheMaskStandsThreeTimesInAGrayscaleDocumentToo)
{
    AtLayer bench(plainLayer().mode(Mode::grayscale).transparent().build());
    bench.extract();
    EXPECT_EQ(bench.file("mask0_image.psd").size(), 48U + 3 * 5 * 4);
    EXPECT_EQ(bench.file("mask0_image.psd")[13], 1) << "declared with the layer's one colour";
}

TEST(ImageOfLayer, ARecordThatEndsInAUserMaskIsSkippedAndUsesNoNumber)
{
    const Document source = plainLayer().channels({0, 1, 2, -2}).build();
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(bench.names(), "");
    EXPECT_EQ(bench.engine.layer_counter, 0);
    EXPECT_EQ(bench.engine.layerStart, source.channelImageData);
    EXPECT_TRUE(bench.heard.all.empty());
}

TEST(ImageOfLayer, TheChannelListMustRiseByOne)
{
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({-1, 0, 1, 2}).build()),
              "layer0_image.psd,mask0_image.psd/1");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({-2, -1, 0}).build()),
              "layer0_image.psd,mask0_image.psd/1");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({-2, 0, 1, 2}).build()), "/0");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({2, 1, 0}).build()), "/0");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({1, 1}).build()), "/0");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({5}).build()), "layer0_image.psd/1");
}

TEST(ImageOfLayer, ALayerOfMasksAloneHasALayerDocumentWithoutAPicture)
{
    AtLayer bench(plainLayer().channels({-1}).build());
    bench.extract();
    EXPECT_EQ(bench.names(), "layer0_image.psd,mask0_image.psd");
    EXPECT_EQ(bench.file("layer0_image.psd").size(), 48U);
    EXPECT_EQ(bench.file("mask0_image.psd")[13], 0);
}

TEST(ImageOfLayer, AListOfTwentyChannelsIsTakenAndOneOfTwentyOneIsNot)
{
    std::vector<std::int16_t> ids;
    for (std::int16_t id = 0; id < 20; ++id) {
        ids.push_back(id);
    }
    EXPECT_EQ(numberOfDocuments(plainLayer().channels(ids).build()), "layer0_image.psd/1");
    ids.push_back(20);
    EXPECT_EQ(numberOfDocuments(plainLayer().channels(ids).build()), "/0");
}

TEST(ImageOfLayer, NoIdentifierIsOneLessThanTheLowest)
{
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({32767, -32768}).build()), "/0");
    EXPECT_EQ(numberOfDocuments(plainLayer().channels({-32768}).build()),
              "layer0_image.psd,mask0_image.psd/1");
}

TEST(ImageOfLayer, TheChannelCountIsSigned)
{
    Document source = plainLayer().channels({0}).build();
    source.overwrite(source.records[0].channels[0].entry - 2, {0xFF, 0xFF});
    EXPECT_EQ(numberOfDocuments(source), "/0");
}

TEST(ImageOfLayer, RawChannelsAreKeptUnderTheNameWithTheBlankAndListedOnceEach)
{
    const Document source = plainLayer().packing(Packing::raw).build();
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(bench.names(), "layer0_image .psd");
    Bytes expected = headOf(source, 3, {0, 0, 0, 4}, {0, 0, 0, 5});
    for (const auto& channel : source.records[0].channels) {
        append(expected, undecodedOf(source, channel));
    }
    EXPECT_EQ(bench.file("layer0_image .psd"), expected);
    EXPECT_EQ(bench.engine.mutableStringArray,
              std::vector<std::string>(3, bench.folder + "/layer0_image .psd"));
}

TEST(ImageOfLayer, TheTwoBytesBehindAnUndecodedChannelComeAlong)
{
    AtLayer bench(plainLayer().mode(Mode::grayscale).packing(Packing::raw).build());
    bench.extract();
    EXPECT_EQ(bench.file("layer0_image .psd").size(), 48U + 5 * 4 + 2);
}

TEST(ImageOfLayer, ZipChannelsAreCopiedVerbatimBehindAHeaderThatSaysRaw)
{
    for (const Packing packing : {Packing::zip, Packing::zipPrediction}) {
        const Document source =
            plainLayer().mode(Mode::grayscale).transparent().packing(packing).build();
        AtLayer bench(source);
        bench.extract();
        const Bytes head = headOf(source, 1, {0, 0, 0, 4}, {0, 0, 0, 5});
        const auto& channels = source.records[0].channels;
        EXPECT_EQ(bench.file("mask0_image .psd"), joined({head, undecodedOf(source, channels[0])}));
        EXPECT_EQ(bench.file("layer0_image .psd"),
                  joined({head, undecodedOf(source, channels[1])}));
        EXPECT_EQ(Bytes(head.end() - 2, head.end()), Bytes({0, 0}));
    }
}

TEST(ImageOfLayer, AnyCodeButPackBitsCountsAsUncompressed)
{
    for (const std::uint16_t code :
         std::initializer_list<std::uint16_t>{0, 2, 3, 4, 256, 257, 65535}) {
        AtLayer bench(plainLayer().channels({0}).channelStream(0, code, patternOf(30)).build());
        bench.extract();
        EXPECT_EQ(bench.names(), "layer0_image .psd") << code;
    }
}

TEST(ImageOfLayer, ACodeThatIsReadShortCountsAsUncompressed)
{
    Document source = plainLayer().channels({0}).build();
    source.cutAt(source.channelImageData + 1);
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(bench.names(), "layer0_image .psd");
    EXPECT_EQ(bench.file("layer0_image .psd").size(), 48U);
}

TEST(ImageOfLayer, AnUndecodedMaskIsCopiedOnce)
{
    const Document source =
        plainLayer().mode(Mode::grayscale).transparent().channelPacking(-1, Packing::raw).build();
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(bench.file("mask0_image .psd").size(), 48U + 5 * 4 + 2);
    EXPECT_EQ(bench.file("layer0_image.psd").size(), 48U + 5 * 4) << "decoded all the same";
    EXPECT_EQ(bench.engine.mutableStringArray,
              (std::vector<std::string>{bench.folder + "/mask0_image .psd",
                                        bench.folder + "/layer0_image.psd"}));
}

TEST(ImageOfLayer, ADocumentOfBothKindsStaysUndecodedAndHoldsAllChannels)
{
    const Document source = plainLayer().channelPacking(1, Packing::raw).build();
    AtLayer bench(source);
    bench.extract();
    const auto& channels = source.records[0].channels;
    EXPECT_EQ(bench.names(), "layer0_image .psd");
    EXPECT_EQ(slice(bench.file("layer0_image .psd"), 48),
              joined({packedOf(source, channels[0], 4), undecodedOf(source, channels[1]),
                      packedOf(source, channels[2], 4)}));
    EXPECT_EQ(bench.engine.mutableStringArray.size(), 1U);
}

TEST(ImageOfLayer, ARightEdgeLeftOfTheLeftOneBeginsTheWidthWithFFFF)
{
    Document source = plainLayer().transparent().packing(Packing::raw).build();
    source.lieLength(source.records[0].start + 12, -3);
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(slice(bench.file("layer0_image .psd"), 18, 22), Bytes({0xFF, 0xFF, 0xFF, 0xFD}));
}

TEST(ImageOfLayer, ARightEdgeBelowZeroBeforeChannelZeroIsTakenForAChannel)
{
    // Its first two bytes, FF FF, read as the identifier that the walk expects.
    Document source = plainLayer().channels({0}).build();
    source.lieLength(source.records[0].start + 12, -3);
    EXPECT_EQ(numberOfDocuments(source), "/0");
}

TEST(ImageOfLayer, ASizeKeepsItsTwoLowBytesAndItsSign)
{
    Document source = plainLayer().channels({0}).packing(Packing::raw).build();
    source.lieLength(source.records[0].start + 8, 0x123456);
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(slice(bench.file("layer0_image .psd"), 14, 18), Bytes({0, 0, 0x34, 0x56}));
}

TEST(ImageOfLayer, ColourModeDataAreCopiedIntoBothDocuments)
{
    const Document source =
        plainLayer().mode(Mode::duotone).colourModeData(patternOf(99)).transparent().build();
    AtLayer bench(source);
    bench.extract();
    const Bytes head = headOf(source, 1, {0, 0, 0, 4}, {0, 0, 0, 5});
    EXPECT_EQ(slice(bench.file("layer0_image.psd"), 0, 147), head);
    EXPECT_EQ(slice(bench.file("mask0_image.psd"), 0, 147), head);
    EXPECT_EQ(bench.file("layer0_image.psd").size(), 147U + 20);
}

TEST(ImageOfLayer, DocumentsAreNumberedFromZeroAndSkippedLayersUseNoNumber)
{
    PsdBuilder builder = plainLayer();
    builder.layer("bad").channels({0, 1, 2, -2}).layer("sea");
    const Document source = builder.build();
    AtLayer bench(source);
    bench.extract(0).extract(1);
    EXPECT_EQ(bench.names(), "layer0_image.psd");
    EXPECT_EQ(bench.engine.layerStart, source.records[1].channels[0].data);
    bench.extract(2);
    EXPECT_EQ(bench.engine.layer_counter, 2);
    EXPECT_EQ(bench.names().substr(0, 29), "layer0_image.psd,layer1_image");
}

TEST(ImageOfLayer, EveryChannelMovesTheDataOnAndPostsThatPlace)
{
    const Document source = plainLayer().transparent().build();
    AtLayer bench(source);
    bench.extract();
    std::vector<double> expected;
    for (const auto& channel : source.records[0].channels) {
        expected.push_back(percentageOf(channel.data + channel.length, source.size()));
    }
    EXPECT_EQ(bench.heard.progress(), expected);
}

TEST(ImageOfLayer, TheMaskDocumentIsDecodedAndListedFirst)
{
    AtLayer bench(plainLayer().transparent().build());
    bench.extract();
    EXPECT_EQ(bench.engine.mutableStringArray,
              (std::vector<std::string>{bench.folder + "/mask0_image.psd",
                                        bench.folder + "/layer0_image.psd"}));
}

TEST(ImageOfLayer, AStoppedListWalkYieldsOneChannel)
{
    AtLayer bench(plainLayer().build());
    bench.engine.setStopflag(true);
    bench.extract();
    EXPECT_EQ(bench.engine.layer_counter, 0) << "one entry, three stated";
    AtLayer single(plainLayer().channels({0}).build());
    single.engine.setStopflag(true);
    single.extract();
    EXPECT_EQ(single.names(), "layer0_image.psd");
}

TEST(ImageOfLayer, AChannelShorterThanItsRowTableCopiesEverythingToTheEnd)
{
    Document source = plainLayer().channels({0}).build();
    source.lieLength(source.records[0].channels[0].entry + 2, 5); // 2 + 4 rows * 2 is 10
    AtLayer bench(source);
    bench.extract();
    const Bytes rest = slice(source.bytes, source.channelImageData + 10);
    EXPECT_EQ(slice(bench.file("layer0_image.psd"), 48), plainDecoded(rest));
    EXPECT_EQ(bench.engine.layerStart, source.channelImageData + 5);
}

TEST(ImageOfLayer, RowsBelowZeroStartBeforeTheData)
{
    Document source = plainLayer().channels({0}).build();
    source.lieLength(source.records[0].start + 8, -10); // the bottom edge
    AtLayer bench(source);
    bench.extract();
    const auto& channel = source.records[0].channels[0];
    EXPECT_EQ(slice(bench.file("layer0_image.psd"), 48),
              plainDecoded(packedOf(source, channel, -10)));
}

TEST(ImageOfLayer, AColourModeLengthBelowZeroCopiesTheDocumentFromThere)
{
    Document source = plainLayer().channels({0}).packing(Packing::raw).build();
    source.lieLength(26, -9);
    AtLayer bench(source);
    bench.extract();
    EXPECT_EQ(slice(bench.file("layer0_image .psd"), 26, source.size()), slice(source.bytes, 26));
    EXPECT_EQ(bench.engine.layer_counter, 1);
}

TEST(ImageOfLayer, WithoutRoomForTheHeadThereIsOneAbortAndNoDocument)
{
    for (const std::uint64_t free : {48U, 49U}) {
        FaultySystem system;
        system.freeAtFirst = free;
        AtLayer bench(plainLayer().channels({-1}).build(), system);
        bench.extract();
        EXPECT_EQ(bench.heard.aborts(), 1U);
        EXPECT_EQ(bench.names(), free > 48 ? "layer0_image.psd" : "");
        EXPECT_TRUE(bench.heard.progress().empty()) << "no channel was looked at";
    }
}

TEST(ImageOfLayer, WithoutRoomForAChannelItsDocumentStaysPacked)
{
    FaultySystem system;
    system.freeAtFirst = 48 + 5;
    const Document source = plainLayer().build();
    AtLayer bench(source, system);
    bench.extract();
    EXPECT_EQ(bench.file("layer0_image.psd").size(), 48U);
    EXPECT_EQ(bench.heard.shapes(), "ap") << "the channel that failed still posts its place";
    EXPECT_TRUE(bench.engine.mutableStringArray.empty());
}

TEST(ImageOfLayer, TheMasksOtherCopiesAreTriedAfterAnAbort)
{
    // Room for the two heads and for less than one copy: each of the three is refused on its own.
    FaultySystem system;
    system.freeAtFirst = 48 + 48 + 3;
    AtLayer bench(plainLayer().channels({-1}).build(), system);
    bench.extract();
    EXPECT_EQ(bench.heard.shapes(), "aaap");
    EXPECT_EQ(bench.file("mask0_image.psd").size(), 48U);
}

TEST(ImageOfLayer, AMoveThatFailsKeepsTheFirstNameAndIsDecoded)
{
    FaultySystem system;
    system.moves = false;
    const Document source =
        plainLayer().channels({0}).channelStream(0, 0, Bytes{0xFF, 'a', 0xFF, 'b'}).build();
    AtLayer bench(source, system);
    bench.extract();
    EXPECT_EQ(bench.names(), "decode_layer0_image.psd") << "decoded, and not moved back either";
    EXPECT_EQ(bench.engine.mutableStringArray,
              (std::vector<std::string>{bench.folder + "/layer0_image .psd",
                                        bench.folder + "/layer0_image.psd"}));
}

} // namespace talvek::test
