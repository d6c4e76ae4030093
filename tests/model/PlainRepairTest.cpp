// The oracle has no oracle: what it must make of a few small documents is worked out by hand here.

#include "tests/model/PlainRepair.h"

#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace talvek::model {

namespace {

using test::append;
using test::bytesOf;
using test::Document;
using test::Mode;
using test::Packing;
using test::PsdBuilder;

constexpr const char* kPath = "/documents/a.psd";
constexpr const char* kFolder = "/documents/out";

Event progress(double percentage)
{
    return {Event::Kind::progress, percentage, {}, 0};
}

Event progressAt(std::int64_t offset, const Document& document)
{
    return progress(static_cast<double>(offset) / static_cast<double>(document.size()) * 100.0);
}

Event aborted()
{
    return {Event::Kind::abort, 0, {}, 0};
}

FileRecord record(int number, const std::string& name, const std::string& ending)
{
    return {std::to_string(number), name, "0", std::string(kFolder) + "/" + name + ending};
}

Event completed(std::vector<FileRecord> listing, std::uint64_t total)
{
    return {Event::Kind::completion, 0, std::move(listing), total};
}

/// The places of events that differ, said in a way that a person can read.
std::string words(const std::vector<Event>& events)
{
    std::string said;
    for (const Event& event : events) {
        said += event.kind == Event::Kind::progress ? "progress " + std::to_string(event.percentage)
                : event.kind == Event::Kind::abort  ? "abort"
                                                    : "completion";
        for (const FileRecord& file : event.listing) {
            said += " [" + file.fileNumber + " " + file.fileName + " " + file.fileSize + "]";
        }
        said += event.kind == Event::Kind::completion ? " " + std::to_string(event.totalBytes) : "";
        said += "\n";
    }
    return said;
}

void expectEvents(const std::vector<Event>& found, const std::vector<Event>& wanted)
{
    EXPECT_EQ(words(found), words(wanted));
    EXPECT_TRUE(found == wanted);
}

/// 46 bytes: sections of no length at 26, 30 and 34, a raw composite of 6 bytes at 38.
Document flatDocument()
{
    return PsdBuilder{}.size(2, 1).compositeStream(0, {1, 2, 3, 4, 5, 6}).build();
}

/// The rebuilt form of `flatDocument`: without a thumbnail the resources' length field passes for
/// the layer section's, so the composite seems to start four bytes early, at that section's length.
Bytes flatDocumentRebuilt()
{
    Bytes rebuilt = flatDocument().bytes;
    rebuilt.resize(30);
    append(rebuilt, Bytes{0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    append(rebuilt, Bytes{0, 0, 0, 0, 1, 2, 3, 4, 5, 6});
    return rebuilt;
}

/// A composite of one packed stream, found because a thumbnail shows where the resources end.
Document packedComposite(const Bytes& stream)
{
    Bytes rows = {0, 0}; // one row's length, which nobody reads
    append(rows, stream);
    return PsdBuilder{}
        .mode(Mode::grayscale)
        .size(1, 1)
        .thumbnail({})
        .compositeStream(1, rows)
        .build();
}

/// What stands behind the prefix of the rebuilt document.
Bytes decodedComposite(const Bytes& stream)
{
    const Outcome outcome = repair(packedComposite(stream).bytes, kPath, kFolder);
    const Bytes rebuilt = outcome.files.at("a.psd_repaired.psd");
    return {rebuilt.begin() + 48, rebuilt.end()};
}

/// One byte of transparency and two of gray, each channel a row of PackBits.
PsdBuilder oneLayer()
{
    return PsdBuilder{}
        .mode(Mode::grayscale)
        .size(2, 1)
        .thumbnail(bytesOf("JPEG"))
        .layer("sky")
        .channels({-1, 0})
        .channelStream(-1, 1, {0, 2, 0xFF, 7})
        .channelStream(0, 1, {0, 3, 1, 10, 11})
        .compositeStream(0, {1, 2});
}

Bytes layerDocument(const Bytes& pixels)
{
    Bytes document = bytesOf("8BPS");
    append(document, Bytes{0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 0, 8, 0, 1});
    append(document, Bytes{0, 0, 0, 0});
    append(document, Bytes{0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    append(document, pixels);
    return document;
}

} // namespace

TEST(PlainRepair, LengthsAreSigned)
{
    const Bytes bytes = {0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(PlainRepair::sizeOfLength(bytes.data(), 4), -1);
    EXPECT_EQ(PlainRepair::sizeOfLength(bytes.data() + 4, 4), 2147483647);
    EXPECT_EQ(PlainRepair::sizeOfLength(bytes.data(), 2), 65535);
    EXPECT_EQ(PlainRepair::sizeOfLength(bytes.data(), 0), 0);
    EXPECT_EQ(PlainRepair::channelNumber(bytes.data(), 2), -1);
    EXPECT_EQ(PlainRepair::channelNumber(bytes.data() + 4, 2), 0x7FFF);
}

TEST(PlainRepair, AFileThatIsNoDocumentLeavesNothingAndSaysNothing)
{
    const Outcome outcome = repair(bytesOf("GIF89a"), kPath, kFolder);
    EXPECT_TRUE(outcome.files.empty());
    EXPECT_TRUE(outcome.events.empty());
}

TEST(PlainRepair, AFlatDocumentIsRebuilt)
{
    const Document document = flatDocument();
    ASSERT_EQ(document.size(), 46);
    const Outcome outcome = repair(document.bytes, kPath, kFolder);
    EXPECT_EQ(outcome.files,
              (std::map<std::string, Bytes>{{"a.psd_repaired.psd", flatDocumentRebuilt()}}));
    expectEvents(outcome.events, {progress(0), progressAt(30, document), progress(0),
                                  progressAt(34, document), progressAt(36, document), progress(100),
                                  completed({record(1, "a.psd_repaired", ".psd")}, 58)});
}

TEST(PlainRepair, AStoppedRunPostsNoCompletion)
{
    Settings settings;
    settings.stopFlag = true;
    const Outcome outcome = repair(flatDocument().bytes, kPath, kFolder, settings);
    EXPECT_EQ(outcome.files.at("a.psd_repaired.psd"), flatDocumentRebuilt());
    ASSERT_EQ(outcome.events.size(), 6U);
    EXPECT_TRUE(outcome.events.back() == progress(100));
}

TEST(PlainRepair, AVolumeThatFillsUpAbortsAtTheWriteThatDoesNotFit)
{
    // 30 bytes of head, 18 fixed ones, 10 of composite; each needs one byte more than itself.
    const std::map<std::uint64_t, std::size_t> reached = {{0, 0},   {30, 0},  {31, 30}, {48, 30},
                                                          {49, 48}, {58, 48}, {59, 58}};
    for (const auto& [freeBytes, wanted] : reached) {
        Settings settings;
        settings.freeBytes = freeBytes;
        const Outcome outcome = repair(flatDocument().bytes, kPath, kFolder, settings);
        const auto file = outcome.files.find("a.psd_repaired.psd");
        EXPECT_EQ(file == outcome.files.end() ? 0 : file->second.size(), wanted) << freeBytes;
    }
}

TEST(PlainRepair, ARefusedHeadIsFollowedByAWriteToNoFile)
{
    const Document document = flatDocument();
    Settings settings;
    settings.freeBytes = 10; // neither the head nor the fixed bytes fit
    const Outcome outcome = repair(document.bytes, kPath, kFolder, settings);
    EXPECT_TRUE(outcome.files.empty());
    expectEvents(outcome.events,
                 {progress(0), progressAt(30, document), progress(0), progressAt(34, document),
                  aborted(), aborted(), progressAt(36, document), progress(100),
                  completed({record(1, "a.psd_repaired", ".psd")}, 0)});
}

TEST(PlainRepair, ALayerGivesADocumentOfColoursAndOneOfMasks)
{
    const Document document = oneLayer().build();
    const Outcome outcome = repair(document.bytes, kPath, kFolder);
    ASSERT_EQ(outcome.files.size(), 4U);
    EXPECT_EQ(outcome.files.at("a.psd_thumbnail.jpg"), bytesOf("JPEG"));
    EXPECT_EQ(outcome.files.at("layer0_image.psd"), layerDocument({10, 11}));
    EXPECT_EQ(outcome.files.at("mask0_image.psd"), layerDocument({7, 7, 7, 7, 7, 7}));
    EXPECT_EQ(outcome.files.at("a.psd_repaired.psd"), layerDocument({1, 2}));
    const Document::Record& sky = document.records.front();
    expectEvents(
        outcome.events,
        {progressAt(document.thumbnails.front().start, document),
         progressAt(document.layerAndMask.start, document),
         progressAt(document.channelImageData, document),
         progressAt(sky.channels[1].data, document),
         progressAt(sky.channels[1].data + sky.channels[1].length, document),
         progressAt(document.composite, document), progressAt(document.composite + 2, document),
         progress(100),
         completed({record(1, "a.psd_repaired", ".psd"), record(2, "a.psd_thumbnail", ".jpg"),
                    record(3, "mask0_image", ".psd"), record(4, "layer0_image", ".psd")},
                   50 + 4 + 54 + 50)});
}

TEST(PlainRepair, AChannelThatIsNotPackedIsKeptWithTwoBytesMoreUnderAnotherName)
{
    const Document document = oneLayer().channelStream(0, 0, {10, 11}).build();
    const Outcome outcome = repair(document.bytes, kPath, kFolder);
    EXPECT_FALSE(outcome.files.contains("layer0_image.psd"));
    const auto behind = document.bytes.begin() + document.records[0].channels[1].data + 4;
    EXPECT_EQ(outcome.files.at("layer0_image .psd"), layerDocument({10, 11, behind[0], behind[1]}));
}

TEST(PlainRepair, AMaskBehindTheColoursHidesTheLayer)
{
    const Document document = oneLayer().channels({0, -2}).build();
    const Outcome outcome = repair(document.bytes, kPath, kFolder);
    EXPECT_FALSE(outcome.files.contains("layer0_image.psd"));
    EXPECT_FALSE(outcome.files.contains("mask0_image.psd"));
}

TEST(PlainRepair, AStreamOfOneBlockIsDecodedToItsEnd)
{
    EXPECT_EQ(decodedComposite({}), (Bytes{}));
    EXPECT_EQ(decodedComposite({0xFF, 5, 0x80, 0x00, 6, 0x02, 1, 2, 3}), (Bytes{5, 5, 6, 1, 2, 3}));
    // A literal that is cut goes on in a buffer of zeros.
    EXPECT_EQ(decodedComposite({0x03, 9}), (Bytes{9, 0, 0, 0}));
}

TEST(PlainRepair, TheLastOfSeveralBlocksGoesOnInTheLeftoversOfTheOneBefore)
{
    Bytes stream;
    for (int i = 0; i < 512; ++i) {
        append(stream, Bytes{0xFF, 0x00});
    }
    stream.push_back(0x80);
    Bytes wanted(1024, 0x00);
    wanted.resize(1024 + 511, 0xFF); // 00 FF, read as a literal, from the second byte on
    wanted.push_back(0x80);          // the last of them ends in the first read's last byte
    EXPECT_EQ(decodedComposite(stream), wanted);
}

} // namespace talvek::model
