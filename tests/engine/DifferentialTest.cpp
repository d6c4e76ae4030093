// The engine against the plain one: the same files to the byte, the same notifications to the last
// bit, on documents sound and damaged, on volumes of every size, stopped anywhere.

#include "tests/engine/Bench.h"
#include "tests/support/PackBits.h"
#include "tests/support/PsdBuilder.h"
#include "tests/support/RandomDocument.h"
#include "tests/support/Thoroughness.h"

#include <gtest/gtest.h>

namespace talvek::test {

namespace {

using model::Settings;

constexpr int kParts = 8;

/// Most runs have room; some have too little, and a few are stopped before or during the run.
Settings randomSettings(const Bench& bench, Random& random)
{
    Settings settings;
    if (random.chance(30)) {
        settings.freeBytes = random.below(bench.plain().writtenBytes + 200);
    }
    if (random.chance(5)) {
        settings.stopFlag = true;
    } else if (random.chance(10)) {
        settings.stopAtEvent = 1 + random.below(12);
    }
    return settings;
}

std::string wordsOf(const Settings& settings)
{
    std::string words = settings.stopFlag ? ", stopped" : "";
    if (settings.freeBytes) {
        words += ", " + std::to_string(*settings.freeBytes) + " bytes free";
    }
    if (settings.stopAtEvent) {
        words += ", stopped at notification " + std::to_string(*settings.stopAtEvent);
    }
    return words;
}

Document damagedDocument(Random& random)
{
    Document document = randomDocument(random);
    const std::uint64_t wounds = random.chance(15) ? 0 : 1 + random.below(4);
    for (std::uint64_t i = 0; i < wounds; ++i) {
        damage(document, random);
    }
    return document;
}

/// Every size of the volume, from nothing to more than the run takes.
void sweepFreeBytes(const Document& document)
{
    const Bench bench(document.bytes);
    const std::uint64_t needed = bench.plain().writtenBytes;
    ASSERT_GT(needed, 0U);
    for (std::uint64_t freeBytes = 0; freeBytes <= needed + 130; freeBytes += stepOfSweeps()) {
        Settings settings;
        settings.freeBytes = freeBytes;
        ASSERT_EQ(bench.difference(settings), "") << freeBytes << " of " << needed << " bytes free";
    }
}

PsdBuilder smallDocument()
{
    return PsdBuilder{}
        .mode(Mode::grayscale)
        .size(6, 4)
        .thumbnail(bytesOf("JPEG"))
        .layer("sky")
        .transparent();
}

class DifferentialPart : public ::testing::TestWithParam<int>
{};

} // namespace

TEST_P(DifferentialPart, DamagedDocuments)
{
    Bench bench;
    const int rounds = documentsOfDifferentials() / kParts;
    for (int i = 0; i < rounds; ++i) {
        Random random(static_cast<std::uint64_t>(GetParam()) * 1'000'000 +
                      static_cast<std::uint64_t>(i));
        bench.replaceDocument(damagedDocument(random).bytes);
        const Settings settings = randomSettings(bench, random);
        ASSERT_EQ(bench.difference(settings), "") << random.seedText() << wordsOf(settings);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, DifferentialPart, ::testing::Range(0, kParts));

TEST(Differential, DocumentsCutAtEveryByte)
{
    const Document whole = smallDocument().filterMask().build();
    Bench bench;
    for (std::int64_t end = 0; end < whole.size(); ++end) {
        bench.replaceDocument(Document(whole).cutAt(end).bytes);
        ASSERT_EQ(bench.difference(), "") << "cut at byte " << end;
    }
}

TEST(Differential, DocumentsWithEveryByteFlipped)
{
    const Document whole = smallDocument().filterMask().build();
    Bench bench;
    for (std::int64_t place = 0; place < whole.size(); ++place) {
        bench.replaceDocument(Document(whole).flipByte(place).bytes);
        ASSERT_EQ(bench.difference(), "") << "byte " << place << " flipped";
    }
}

TEST(Differential, DocumentsOfMoreLayersThanAreTakenNoteOf)
{
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
        Random random(seed);
        const Bench bench(documentOfManyLayers(random).bytes);
        EXPECT_EQ(bench.difference(), "") << random.seedText();
    }
}

TEST(Differential, PackedStreamsOfEveryLengthAroundABlock)
{
    Bench bench;
    for (std::size_t length = 0; length<2200; length += length> 40 && length < 1000 ? 37 : 1) {
        Random random(length);
        Bytes stream(6); // the composite's row lengths: three rows of one channel
        append(stream, randomPackedStream(length, random));
        bench.replaceDocument(smallDocument().size(4, 3).compositeStream(1, stream).build().bytes);
        ASSERT_EQ(bench.difference(), "") << length << " packed bytes";
    }
}

TEST(DifferentialFreeBytes, PackedLayerAndRawComposite)
{
    sweepFreeBytes(smallDocument().composite(Packing::raw).build());
}

TEST(DifferentialFreeBytes, RawLayerAndPackedComposite)
{
    sweepFreeBytes(smallDocument().packing(Packing::raw).filterMask().build());
}

TEST(DifferentialFreeBytes, CompositeOfSeveralBlocks)
{
    Random random(3);
    Bytes stream(2);
    append(stream, packBits(randomPixels(1700, random)));
    sweepFreeBytes(PsdBuilder{}
                       .mode(Mode::grayscale)
                       .size(9, 1)
                       .thumbnail({})
                       .compositeStream(1, stream)
                       .build());
}

TEST(DifferentialFreeBytes, ThumbnailOfSeveralBlocks)
{
    Random random(4);
    sweepFreeBytes(PsdBuilder{}.thumbnail(random.bytes(2500)).build());
}

TEST(DifferentialFreeBytes, LengthsThatAskForEverything)
{
    Document document = smallDocument().layer("sea").transparent().build();
    document.lieLength(document.records[0].channels[0].entry + 2, 0x01000000);
    document.lieLength(document.records[1].channels[1].entry + 2, -77);
    sweepFreeBytes(document);
}

} // namespace talvek::test
