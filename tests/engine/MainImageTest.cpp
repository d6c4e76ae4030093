#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"
#include "tests/platform/FaultySystem.h"
#include "tests/support/PackBits.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvek::test {

namespace {

constexpr const char* kName = "a.psd_repaired.psd";
const Bytes kFixed = {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

/// A bench whose last stage has run on the composite where it really is.
struct Rebuilt : Workbench
{
    explicit Rebuilt(const Document& built, SystemCalls& system = SystemCalls::real())
        : Workbench(built.bytes, system)
    {
        prepare();
        engine.mainImageOffset = built.composite;
        engine.mainImage();
    }

    [[nodiscard]] Bytes bytes() const { return file(kName); }
};

PsdBuilder withPalette()
{
    return PsdBuilder{}.mode(Mode::indexed).colourModeData(patternOf(768));
}

/// Bytes that a copy from `start` to the end of `document` appends.
Bytes copied(const Bytes& document, std::int64_t start)
{
    Workbench bench(document);
    bench.prepare();
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.readDAtaUptoEndFileAndStoreForMainImage(bench.engine.fileHandle, start, output);
    output.close();
    return bench.file("out.psd");
}

} // namespace

TEST(MainImage, ARawCompositeIsCopiedBehindAHeadOf48BytesAndTheColourModeData)
{
    const Document document = withPalette().size(90, 80).composite(Packing::raw).build();
    const Rebuilt bench(document);
    EXPECT_EQ(bench.bytes(), joined({slice(document.bytes, 0, 30 + 768), kFixed,
                                     slice(document.bytes, document.composite + 2)}));
    EXPECT_EQ(static_cast<std::int64_t>(bench.bytes().size()),
              48 + 768 + document.size() - document.composite - 2);
}

TEST(MainImage, ARawCompositeIsListedFirst)
{
    Workbench bench(PsdBuilder{}.thumbnail(patternOf(9)).composite(Packing::raw).build().bytes);
    bench.run();
    EXPECT_EQ(bench.listing().front().fileName, "a.psd_repaired");
    EXPECT_EQ(bench.engine.mainFileArray.size(), 1U);
}

TEST(MainImage, APackBitsCompositeOfThreeChannelsAndAHundredRowsStarts602BytesIn)
{
    const Document document = PsdBuilder{}.size(7, 100).build();
    const LogLines log;
    const Rebuilt bench(document);
    EXPECT_EQ(log.lines, std::vector{std::to_string(document.composite + 602)});
    EXPECT_EQ(bench.heard.progress().front(),
              percentageOf(document.composite + 602, document.size()));
    EXPECT_EQ(slice(bench.bytes(), 48),
              plainDecoded(slice(document.bytes, document.composite + 602)));
}

TEST(MainImage, APackBitsCompositeIsDecodedToItsPixels)
{
    const Document document = PsdBuilder{}.size(6, 5).build();
    const Rebuilt bench(document);
    EXPECT_EQ(bench.bytes().size(), 48U + 3 * 6 * 5);
    EXPECT_EQ(bench.engine.mainFileArray, std::vector{bench.folder + "/" + kName});
    EXPECT_TRUE(bench.engine.boolValue);
    EXPECT_EQ(bench.heard.progress().back(), 100.0);
}

TEST(MainImage, AZipCompositeLeavesAnUnlistedHead)
{
    for (const Packing packing : {Packing::zip, Packing::zipPrediction}) {
        const Rebuilt bench(withPalette().composite(packing).build());
        EXPECT_EQ(bench.bytes().size(), 48U + 768);
        EXPECT_TRUE(bench.engine.mainFileArray.empty());
        EXPECT_TRUE(bench.heard.all.empty());
    }
}

TEST(MainImage, AnyOtherCodeLeavesAnUnlistedHeadToo)
{
    for (const std::uint16_t code : std::initializer_list<std::uint16_t>{4, 256, 257, 65535}) {
        const Rebuilt bench(PsdBuilder{}.compositeStream(code, patternOf(50)).build());
        EXPECT_EQ(bench.bytes().size(), 48U) << code;
        EXPECT_TRUE(bench.engine.mainFileArray.empty());
    }
}

TEST(MainImage, TheFixedBytesAreTheSameForEveryDocument)
{
    for (const Mode mode : {Mode::bitmap, Mode::rgb, Mode::cmyk, Mode::lab}) {
        for (const Packing packing : {Packing::raw, Packing::packBits, Packing::zip}) {
            const Rebuilt bench(PsdBuilder{}.mode(mode).size(9, 2).composite(packing).build());
            EXPECT_EQ(slice(bench.bytes(), 30, 48), kFixed);
        }
    }
}

TEST(MainImage, ARawCompositePostsItsStartAfterTheCopyAndAHundredIsTheDriversToPost)
{
    const Document document = PsdBuilder{}.composite(Packing::raw).build();
    const Rebuilt bench(document);
    EXPECT_EQ(bench.heard.progress(),
              std::vector{percentageOf(document.composite + 2, document.size())});
    EXPECT_EQ(bench.engine.offsetForProgressBar, static_cast<double>(document.size()));
    EXPECT_FALSE(bench.engine.boolValue);
}

TEST(MainImage, ACodeThatCannotBeReadIsRaw)
{
    Document document = PsdBuilder{}.build();
    document.cutAt(document.composite + 1);
    const Rebuilt bench(document);
    EXPECT_EQ(bench.bytes().size(), 48U);
    EXPECT_EQ(bench.engine.mainFileArray.size(), 1U);
}

TEST(MainImage, HeaderAndLengthsAreTrustedAsStored)
{
    Document document = PsdBuilder{}.size(4, 3).build();
    document.overwrite(14, {0, 0, 1, 0}); // 256 rows
    const LogLines log;
    const Rebuilt bench(document);
    EXPECT_EQ(log.lines, std::vector{std::to_string(document.composite + 2 + 256 * 3 * 2)});
    EXPECT_EQ(bench.bytes().size(), 48U) << "the copy starts behind the end";
}

TEST(MainImage, RowsBelowZeroMoveTheStartBack)
{
    Document document = PsdBuilder{}.size(4, 3).layer("sky").build();
    document.lieLength(14, -4); // 3 channels, 2 bytes a row
    const std::int64_t start = document.composite + 2 - 24;
    const Rebuilt bench(document);
    EXPECT_EQ(bench.bytes(), joined({slice(document.bytes, 0, 30), kFixed,
                                     plainDecoded(slice(document.bytes, start))}));
}

TEST(MainImage, TheHeightPassesThroughTheSharedLengthField)
{
    const Rebuilt bench(PsdBuilder{}.size(4, 3).colourModeData(patternOf(9)).build());
    EXPECT_EQ(Repair::sizeOfLength(bench.engine.temporary, 4), 3);
}

TEST(MainImage, AColourModeLengthBehindTheEndTakesTheWholeDocumentAsHead)
{
    Document document = PsdBuilder{}.composite(Packing::raw).build();
    document.lieLength(26, 1'000'000);
    EXPECT_EQ(Rebuilt(document).bytes(),
              joined({document.bytes, kFixed, slice(document.bytes, document.composite + 2)}));
}

TEST(MainImage, AColourModeLengthFarBelowZeroTakesTheWholeDocumentAsHead)
{
    for (const std::int64_t length : {-31LL, -5000LL, -2147483648LL}) {
        Document document = PsdBuilder{}.composite(Packing::raw).build();
        document.lieLength(26, length);
        EXPECT_EQ(Rebuilt(document).bytes(),
                  joined({document.bytes, kFixed, slice(document.bytes, document.composite + 2)}));
    }
}

TEST(MainImage, AColourModeLengthALittleBelowZeroTakesAPartOfTheHeader)
{
    Document document = PsdBuilder{}.composite(Packing::raw).build();
    document.lieLength(26, -10);
    EXPECT_EQ(slice(Rebuilt(document).bytes(), 0, 38),
              joined({slice(document.bytes, 0, 20), kFixed}));
}

TEST(MainImage, APrefixBelowZeroLeavesTheDecodedDocumentAsItWasCopied)
{
    Document document = PsdBuilder{}.build();
    document.lieLength(26, -100);
    const std::int64_t start = document.composite + 2 + 3 * 3 * 2;
    EXPECT_EQ(Rebuilt(document).bytes(),
              joined({document.bytes, kFixed, slice(document.bytes, start)}));
}

TEST(MainImage, WithoutRoomForTheHeadThereIsNoDocument)
{
    FaultySystem system;
    system.freeAtFirst = 30;
    const Rebuilt bench(PsdBuilder{}.composite(Packing::raw).build(), system);
    EXPECT_EQ(bench.names(), "");
    EXPECT_EQ(bench.heard.aborts(), 1U) << "there is room for the 18 bytes, but no file";
}

TEST(MainImage, WithoutRoomForTheFixedBytesTheHeadStaysAlone)
{
    FaultySystem system;
    system.freeAtFirst = 30 + 18;
    const Rebuilt bench(PsdBuilder{}.composite(Packing::raw).build(), system);
    EXPECT_EQ(bench.bytes().size(), 30U);
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(bench.heard.shapes(), "ap");
}

TEST(MainImage, WithoutRoomForABlockTheCopyEndsWithOneAbort)
{
    FaultySystem system;
    system.freeAtFirst = 48 + 4096 + 4096;
    const Document document = PsdBuilder{}.size(100, 100).composite(Packing::raw).build();
    const Rebuilt bench(document, system);
    EXPECT_EQ(bench.heard.aborts(), 1U);
    EXPECT_EQ(slice(bench.bytes(), 48),
              slice(document.bytes, document.composite + 2, document.composite + 2 + 4096));
}

TEST(MainImage, AfterAnAbortAPackBitsDocumentIsLost)
{
    FaultySystem system;
    system.freeAtFirst = 48 + 10;
    const Rebuilt bench(PsdBuilder{}.size(40, 30).build(), system);
    EXPECT_EQ(bench.names(), "");
    EXPECT_EQ(bench.engine.mainFileArray, std::vector<std::string>{"/a.psd_repaired.psd"});
}

TEST(MainImage, APathInTheRootFolderIsListedWithSizeZero)
{
    FaultySystem system;
    system.freeAtFirst = 48 + 10;
    const Document document = PsdBuilder{}.mode(Mode::indexed).thumbnail({}).size(40, 30).build();
    Workbench bench(document.bytes, system);
    bench.run();
    const FileRecord expected = {"1", "a.psd_repaired", "0", "/a.psd_repaired.psd"};
    ASSERT_EQ(bench.listing().size(), 2U);
    EXPECT_EQ(bench.listing()[0], expected);
    EXPECT_EQ(bench.listedBytes(), 0U);
}

TEST(MainImage, CopiesOfEverySizeAroundABlock)
{
    const Bytes document = patternOf(13'000);
    for (const std::int64_t size : {0, 1, 4095, 4096, 4097, 8191, 8192, 8193, 12'999, 13'000}) {
        EXPECT_EQ(copied(document, 13'000 - size), slice(document, 13'000 - size)) << size;
    }
}

TEST(MainImage, ACopyFromBehindTheEndAsksForRoomOnceWithinABlockOfIt)
{
    for (const std::int64_t past : {0, 1, 4095, 4096, 5000}) {
        FaultySystem system;
        system.freeAtFirst = 0;
        Workbench bench(patternOf(100), system);
        bench.prepare();
        WritingFileHandle output = bench.output("out.psd");
        bench.engine.readDAtaUptoEndFileAndStoreForMainImage(bench.engine.fileHandle, 100 + past,
                                                             output);
        EXPECT_EQ(bench.heard.aborts(), past > 0 && past < 4096 ? 1U : 0U) << past;
    }
}

TEST(MainImage, ACopyFromBeforeTheStartSkipsWhatIsNotThere)
{
    const Bytes document = patternOf(5000);
    EXPECT_EQ(copied(document, -4096), document);
    EXPECT_EQ(copied(document, -8192), document);
    EXPECT_EQ(copied(document, -4095), slice(document, 1));
    EXPECT_EQ(copied(document, -1), slice(document, 4095));
}

TEST(MainImage, TheCopyHonoursNoFlagAndLogsItsStart)
{
    Workbench bench(patternOf(5000));
    bench.prepare();
    bench.engine.setStopflag(true);
    bench.engine.setPauseRepair(true);
    const LogLines log;
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.readDAtaUptoEndFileAndStoreForMainImage(bench.engine.fileHandle, 10, output);
    output.close();
    EXPECT_EQ(bench.file("out.psd").size(), 4990U);
    EXPECT_EQ(log.lines, std::vector<std::string>{"10"});
}

TEST(MainImage, AnAbortedCopyCopiesNothingAndStillLogsItsStart)
{
    Workbench bench(patternOf(5000));
    bench.prepare();
    const LogLines log;
    WritingFileHandle output = bench.output("out.psd");
    bench.engine.recoverFileLocationField.clear();
    bench.engine.readDAtaUptoEndFileAndStoreForMainImage(bench.engine.fileHandle, -1, output);
    output.close();
    EXPECT_EQ(bench.file("out.psd").size(), 0U);
    EXPECT_EQ(log.lines, std::vector<std::string>{"18446744073709551615"});
}

} // namespace talvek::test
