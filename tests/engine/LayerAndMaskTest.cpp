#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvek::test {

namespace {

/// With a thumbnail, so that the layer-and-mask section is where it is.
PsdBuilder standard()
{
    return PsdBuilder{}.thumbnail(patternOf(20));
}

/// A layer of which the last tagged block ends where the channel data begin.
PsdBuilder withLayers(int count)
{
    PsdBuilder builder = standard();
    for (int i = 0; i < count; ++i) {
        builder.layer("layer").taggedBlock("luni", Bytes(8));
    }
    return builder;
}

/// A bench whose layer stage has run.
struct Walked : Workbench
{
    explicit Walked(const Document& built) : Workbench(built.bytes)
    {
        prepare();
        engine.layerAndMaskOffset = built.layerAndMask.start;
        heard.onPost = [this] {
            if (heard.all.size() == 1) {
                firstLayerStart = engine.layerStart;
            }
        };
        engine.layerAndMaskImage();
    }

    std::int64_t firstLayerStart = -1; ///< before the layers' channels moved it
};

/// The two bytes behind the filter mask of a document whose section says less than it holds.
std::int64_t compositeWith(std::uint8_t first, std::uint8_t second)
{
    Document document = standard().filterMask().composite(Packing::raw).build();
    document.overwrite(document.composite, {first, second});
    document.lieLength(document.layerAndMask.lengthField, 10);
    return Walked(document).engine.mainImageOffset - document.composite;
}

std::string layersAt(const Document& document)
{
    const Walked bench(document);
    return std::to_string(bench.firstLayerStart - document.channelImageData);
}

} // namespace

TEST(LayerAndMask, IndexedAndMultichannelDocumentsHaveNoLayersExtractedAndNoCountLogged)
{
    for (const Mode mode : {Mode::indexed, Mode::multichannel}) {
        const Document document = withLayers(2).mode(mode).build();
        const LogLines log;
        const Walked bench(document);
        EXPECT_EQ(bench.names(), "");
        EXPECT_EQ(bench.engine.mainImageOffset, document.composite);
        EXPECT_EQ(log.lines, std::vector{std::to_string(document.composite)});
    }
}

TEST(LayerAndMask, AnIndexedDocumentWithAFilterMaskEndsThereAndPostsNothing)
{
    Document document = withLayers(1).mode(Mode::indexed).filterMask().build();
    document.lieLength(document.layerAndMask.lengthField, 5);
    const Walked bench(document);
    EXPECT_EQ(bench.engine.mainImageOffset, document.composite);
    EXPECT_EQ(bench.engine.offsetForProgressBar, static_cast<double>(document.composite));
    EXPECT_TRUE(bench.heard.all.empty());
}

TEST(LayerAndMask, AnIndexedDocumentWithoutAFilterMaskPostsOnce)
{
    const Document document = standard().mode(Mode::indexed).build();
    const Walked bench(document);
    EXPECT_EQ(bench.heard.progress(),
              std::vector{percentageOf(document.composite, document.size())});
}

TEST(LayerAndMask, EveryOtherModeIsWalked)
{
    for (const Mode mode :
         {Mode::bitmap, Mode::grayscale, Mode::rgb, Mode::cmyk, Mode::duotone, Mode::lab}) {
        const Walked bench(withLayers(2).mode(mode).build());
        EXPECT_EQ(bench.engine.noOfLayer, 2);
        EXPECT_EQ(bench.names(), "layer0_image.psd,layer1_image.psd");
    }
}

TEST(LayerAndMask, WithoutAFilterMaskTheStoredLengthDecidesWhateverWasFound)
{
    for (const std::int64_t length : {0, 1, 77, 100'000, -50}) {
        Document document = withLayers(2).build();
        document.lieLength(document.layerAndMask.lengthField, length);
        EXPECT_EQ(Walked(document).engine.mainImageOffset, document.layerAndMask.data + length);
    }
}

TEST(LayerAndMask, AFilterMaskBeforeCodeTwoFallsBackToTheStoredLength)
{
    const Document document = standard().filterMask().build();
    const std::int64_t stored = document.layerAndMask.data + 10 - document.composite;
    EXPECT_EQ(compositeWith(0, 2), stored);
    EXPECT_EQ(compositeWith(1, 0), stored);
    EXPECT_EQ(compositeWith(0, 255), stored);
}

TEST(LayerAndMask, AFilterMaskBeforeCodeZeroOrOneIsTheCompositesStart)
{
    EXPECT_EQ(compositeWith(0, 0), 0);
    EXPECT_EQ(compositeWith(0, 1), 0);
}

TEST(LayerAndMask, AFilterMaskAtTheSectionsEndNeedsNoCode)
{
    Document document = standard().filterMask().build();
    document.overwrite(document.composite, {9, 9});
    EXPECT_EQ(Walked(document).engine.mainImageOffset, document.composite);
}

TEST(LayerAndMask, AFilterMaskWhoseCodeIsCutFallsBackToTheStoredLength)
{
    Document document = standard().filterMask().composite(Packing::raw).build();
    document.lieLength(document.layerAndMask.lengthField, 10);
    document.cutAt(document.composite + 1);
    EXPECT_EQ(Walked(document).engine.mainImageOffset, document.layerAndMask.data + 10);
}

TEST(LayerAndMask, AStopDuringTheLayersKeepsTheCompositesPlace)
{
    const Document document = withLayers(3).build();
    Workbench bench(document.bytes);
    bench.heard.onPost = [&bench] { // in the first layer
        bench.engine.setStopflag(bench.heard.progress().size() >= 4);
    };
    bench.run();
    EXPECT_EQ(bench.file("layer1_image.psd"), Bytes{});
    EXPECT_EQ(bench.engine.mainImageOffset, document.composite);
    const auto figures = bench.heard.progress();
    EXPECT_EQ(std::count(figures.begin(), figures.end(),
                         percentageOf(document.composite, document.size())),
              1);
}

TEST(LayerAndMask, ProgressMayGoDownAndUpAgain)
{
    Document document = withLayers(2).build();
    document.lieLength(document.records[0].channels[0].entry + 2, -40);
    const Walked bench(document);
    const auto figures = bench.heard.progress();
    EXPECT_FALSE(std::is_sorted(figures.begin(), figures.end()));
    EXPECT_LT(figures[1], figures[0]);
}

TEST(LayerAndMask, ProgressIsTheChannelDataEachChannelAndTheComposite)
{
    const Document document = withLayers(2).build();
    std::vector<double> expected = {percentageOf(document.channelImageData, document.size())};
    for (const auto& record : document.records) {
        for (const auto& channel : record.channels) {
            expected.push_back(percentageOf(channel.data + channel.length, document.size()));
        }
    }
    expected.push_back(percentageOf(document.composite, document.size()));
    EXPECT_EQ(Walked(document).heard.progress(), expected);
}

TEST(LayerAndMask, WithoutARecordTheChannelDataCountAsAtZeroAndThatIsPosted)
{
    const Document document = standard().build();
    Workbench bench(document.bytes);
    bench.prepare();
    bench.engine.layerAndMaskOffset = document.layerAndMask.start;
    bench.engine.layerStart = 99;
    bench.engine.last8BIMOffset = 98;
    bench.engine.layerAndMaskImage();
    EXPECT_EQ(bench.engine.layerStart, 0);
    EXPECT_EQ(bench.engine.last8BIMOffset, 98) << "no search for a last block";
    EXPECT_EQ(bench.heard.progress().front(), 0.0);
    EXPECT_EQ(bench.heard.progress().size(), 2U);
}

TEST(LayerAndMask, TheLastTaggedBlockLeadsToTheChannelData)
{
    EXPECT_EQ(layersAt(withLayers(2).build()), "0");
    EXPECT_EQ(layersAt(withLayers(2).filterMask().build()), "0");
}

TEST(LayerAndMask, WithoutATaggedBlockTheRecordsOwnLengthLeadsThere)
{
    EXPECT_EQ(layersAt(standard().layer("a").layer("b").build()), "0");
}

TEST(LayerAndMask, ADamagedRecordLengthLeadsAstray)
{
    Document document = standard().layer("a").layer("b").build();
    const auto& record = document.records[1];
    document.lieLength(record.extraLength, 5000);
    EXPECT_EQ(Walked(document).firstLayerStart, record.extraLength + 4 + 5000);
}

TEST(LayerAndMask, ADamagedRecordLengthDoesNotMatterBehindATaggedBlock)
{
    Document document = withLayers(2).build();
    document.lieLength(document.records[1].extraLength, 5000);
    EXPECT_EQ(layersAt(document), "0");
}

TEST(LayerAndMask, WithoutATaggedBlockTheFilterMaskIsTakenForTheLastOne)
{
    const Document document = standard().layer("a").filterMask().build();
    const Walked bench(document);
    EXPECT_EQ(bench.engine.last8BIMOffset, document.globalBlocks[0].start);
    EXPECT_EQ(bench.firstLayerStart, document.composite);
}

TEST(LayerAndMask, WithoutAFilterMaskTheLastBlockIsLookedForOnlyEarlyInTheFile)
{
    // The bound is an offset that is still zero, so the length is less than zero.
    for (const bool isLate : {false, true}) {
        Document document =
            PsdBuilder{}.thumbnail(patternOf(isLate ? 2000 : 20)).layer("a").build();
        document.insertBytes(document.records[0].end, bytesOf("8BIMluni"));
        document.insertBytes(document.records[0].end + 8, {0, 0, 0, 2, 7, 7});
        const Walked bench(document);
        EXPECT_EQ(document.records[0].signature >= 2039, isLate);
        EXPECT_EQ(bench.engine.last8BIMOffset, isLate ? 0 : document.records[0].end);
    }
}

TEST(LayerAndMask, TheBoundOfTheLastBlocksSearchLeavesOutExactlyMinus1024)
{
    // length = -1 - L - 8; at L = 1015 it is -1024, and nothing is read.
    for (const std::size_t record : {1014U, 1015U, 1016U, 2038U, 2039U}) {
        Bytes document(4000, 0x77);
        put(document, 0, "8BPS");
        put(document, record, "8BIMnorm");
        put(document, record + 20, "8BIMluni");
        std::fill_n(document.begin() + static_cast<std::ptrdiff_t>(record) + 28, 6,
                    std::uint8_t{0});
        Workbench bench(document);
        bench.prepare();
        bench.engine.layerAndMaskImage();
        const bool isFound = record != 1015 && record < 2039;
        EXPECT_EQ(bench.engine.last8BIMOffset, isFound ? static_cast<std::int64_t>(record) + 20 : 0)
            << record;
    }
}

TEST(LayerAndMask, TheLayerCounterStartsAtZeroEveryTime)
{
    const Document document = withLayers(1).build();
    Workbench bench(document.bytes);
    bench.engine.layer_counter = 9;
    bench.run();
    EXPECT_EQ(bench.engine.layer_counter, 1);
    EXPECT_EQ(bench.file("layer0_image.psd").empty(), false);
}

TEST(LayerAndMask, AnAbortInALayerLeavesTheOthersAndStillDecidesTheComposite)
{
    const Document document = withLayers(3).build();
    FaultySystem system;
    Workbench bench(document.bytes, system);
    bench.prepare();
    bench.engine.layerAndMaskOffset = document.layerAndMask.start;
    system.freeAtFirst = 60; // enough for the first document's head
    bench.engine.layerAndMaskImage();
    EXPECT_EQ(bench.engine.layer_counter, 1);
    EXPECT_EQ(bench.engine.mainImageOffset, document.composite);
    EXPECT_EQ(bench.heard.progress().back(), percentageOf(document.composite, document.size()));
}

TEST(LayerAndMask, ALengthBehindTheEndKeepsTheFieldBefore)
{
    Document document = standard().build();
    Workbench bench(document.bytes);
    bench.prepare();
    bench.engine.layerAndMaskOffset = document.size();
    bench.engine.temporary = {0, 0, 0, 9};
    bench.engine.layerAndMaskImage();
    EXPECT_EQ(bench.engine.sizeOFLayerAndMask, 9);
    EXPECT_EQ(bench.engine.mainImageOffset, document.size() + 13);
}

TEST(LayerAndMask, TheNumberOfLayersAndTheCompositesPlaceAreLogged)
{
    const Document document = withLayers(3).build();
    const LogLines log;
    const Walked bench(document);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"3", std::to_string(document.composite)}));
}

TEST(LayerAndMask, ACompositeBeforeTheStartIsLoggedUnsigned)
{
    Document document = standard().build();
    document.lieLength(document.layerAndMask.lengthField, -document.layerAndMask.data - 1);
    const LogLines log;
    const Walked bench(document);
    EXPECT_EQ(log.lines.back(), "18446744073709551615");
}

TEST(LayerAndMask, LayersAreFoundWhateverTheSectionSays)
{
    Document document = withLayers(4).build();
    document.lieLength(document.layerAndMask.lengthField, 0)
        .zeroFill(document.layerAndMask.data, 6);
    EXPECT_EQ(Walked(document).engine.noOfLayer, 4);
}

} // namespace talvek::test
