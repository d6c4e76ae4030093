#include "recovery/BlockCheck.h"
#include "recovery/EngineText.h"
#include "recovery/TaggedBlocks.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using recovery::State;

Bytes unicodeName(std::string_view name)
{
    Bytes data;
    appendU32(data, static_cast<std::uint32_t>(name.size()));
    for (const char letter : name) {
        appendU16(data, static_cast<std::uint8_t>(letter));
    }
    return data;
}

/// Layers whose records have blocks that can be checked.
PsdBuilder namedLayers()
{
    PsdBuilder builder;
    builder.size(40, 30);
    for (const char* name : {"clouds", "waves", "sands", "rocks"}) {
        builder.layer(name).transparent();
        builder.taggedBlock("luni", unicodeName(name)).taggedBlock("lclr", Bytes(8));
    }
    return builder;
}

std::int64_t offsetOf(const Document& document, std::string_view text, std::int64_t from)
{
    const auto found =
        std::search(document.bytes.begin() + from, document.bytes.end(), text.begin(), text.end());
    return found - document.bytes.begin();
}

TEST(ChangedBytes, AnUndamagedDocumentHasNone)
{
    const Found found(namedLayers().build());
    EXPECT_TRUE(found.document().missing.empty());
    for (const recovery::Layer& layer : found.document().layers) {
        EXPECT_EQ(layer.state, State::Whole) << layer.name;
    }
}

TEST(ChangedBytes, OneInARecordLeavesNothingProved)
{
    Document document = namedLayers().build();
    const std::int64_t block = offsetOf(document, "8BIMlclr", document.records[1].start);
    document.flipByte(block + 12 + 5);
    const Found found(document);
    for (const recovery::Layer& layer : found.document().layers) {
        EXPECT_EQ(layer.state, State::Unproved) << layer.name;
    }
    EXPECT_FALSE(found.document().missing.empty());
}

TEST(ChangedBytes, AFillerByteThatIsNotZeroIsOne)
{
    Document document = namedLayers().build();
    document.flipByte(document.records[1].signature + 11);
    const Found found(document);
    EXPECT_EQ(found.names(), "clouds,waves,sands,rocks");
    EXPECT_EQ(found.layer(3).state, State::Unproved);
}

TEST(ChangedBytes, OneInACopyOfALayersPlaneIsOne)
{
    const Document document = namedLayers().build();
    const auto& plane = document.records[1].channels[1];
    const auto from = document.bytes.begin() + plane.data;
    const Bytes copy(from, from + plane.length);
    for (const bool isChanged : {false, true}) {
        Document twice = document;
        Bytes resource = copy;
        resource.at(resource.size() - 1) ^= isChanged ? 0x10 : 0;
        // In front of the layers, as after a range of the file was written twice.
        twice.insertBytes(document.layerAndMask.lengthField, resource);
        const Found found(twice);
        EXPECT_EQ(found.layer(0).state, isChanged ? State::Unproved : State::Whole);
    }
}

TEST(ChangedBytes, OneLetterOfANameIsEnough)
{
    Document document = namedLayers().build();
    const std::int64_t block = offsetOf(document, "8BIMluni", document.records[2].start);
    document.overwrite(block + 12 + 4 + 1, {'z'});
    EXPECT_EQ(Found(document).layer(0).state, State::Unproved);
}

TEST(ChangedBytes, ABrokenRowBetweenSoundOnesLeavesNothingProved)
{
    Document document = threeLayers().build();
    const auto& channel = document.records[0].channels[1];
    std::int64_t row = channel.data + 2 + 30 * 2;
    for (int i = 0; i < 10; ++i) {
        const auto entry = static_cast<std::size_t>(channel.data + 2 + 2 * i);
        row += document.bytes[entry] * 256 + document.bytes[entry + 1];
    }
    document.overwrite(row, {0x7F});
    const Found found(document);
    EXPECT_EQ(found.plane(0, 1).state, State::Partial);
    EXPECT_EQ(found.layer(1).state, State::Unproved);
    EXPECT_EQ(found.document().composite.state, State::Unproved);
}

TEST(ChangedBytes, AHoleIsNoSuchSign)
{
    Document document = threeLayers().build();
    const auto& channel = document.records[0].channels[1];
    document.zeroFill(channel.data + channel.length / 2, 200);
    const Found found(document);
    EXPECT_EQ(found.layer(0).state, State::Partial);
    EXPECT_EQ(found.layer(1).state, State::Whole);
    EXPECT_EQ(found.layer(2).state, State::Whole);
}

TEST(ChangedBytes, ZipPlanesStayProved)
{
    PsdBuilder builder = namedLayers();
    builder.layer("zipped").transparent().packing(Packing::zip);
    Document document = builder.build();
    const std::int64_t block = offsetOf(document, "8BIMlclr", document.records[1].start);
    document.flipByte(block + 12 + 5);
    const Found found(document);
    EXPECT_EQ(found.layer(0).state, State::Unproved);
    EXPECT_EQ(found.layer(4).state, State::Whole);
}

TEST(ChangedBytes, WhatAllRecordsDoAlikeIsAHabit)
{
    PsdBuilder builder;
    builder.size(40, 30);
    for (const char* name : {"a", "b", "c", "d"}) {
        builder.layer(name).transparent().taggedBlock("lclr", Bytes(8, 9));
    }
    EXPECT_EQ(Found(builder.build()).layer(0).state, State::Whole);
}

/// A block by itself, as the checks see it.
bool contradicts(std::uint32_t key, const Bytes& data)
{
    Source source(data);
    recovery::TaggedBlock block;
    block.key = key;
    block.data = {0, static_cast<std::int64_t>(data.size()), 0};
    return recovery::contradictsFormat(source.bytes(), block);
}

TEST(BlockCheck, LocksUseTheLastByteAlone)
{
    EXPECT_FALSE(contradicts(recovery::key("lspf"), {0, 0, 0, 4}));
    EXPECT_FALSE(contradicts(recovery::key("lspf"), {0x80, 0, 0, 0}));
    EXPECT_TRUE(contradicts(recovery::key("lspf"), {0, 0, 0xD7, 4}));
    EXPECT_TRUE(contradicts(recovery::key("lspf"), {0, 7, 0, 4}));
}

TEST(BlockCheck, AVectorMaskHoldsKnotsNearTheCanvasAndAnEmptyRule)
{
    Bytes mask = {0, 0, 0, 3, 0, 0, 0, 0, 0, 6};
    mask.resize(8 + 26);
    EXPECT_FALSE(contradicts(recovery::key("vmsk"), mask));
    mask.at(20) = 51;
    EXPECT_TRUE(contradicts(recovery::key("vmsk"), mask));
    mask.at(20) = 0;
    mask.at(9) = 8; // what is filled at first
    mask.at(11) = 1;
    EXPECT_FALSE(contradicts(recovery::key("vmsk"), mask));
    mask.at(12) = 182;
    EXPECT_TRUE(contradicts(recovery::key("vmsk"), mask));
    mask.at(9) = 2; // a knot
    EXPECT_FALSE(contradicts(recovery::key("vmsk"), mask));
    mask.at(10) = 42; // canvases away
    EXPECT_TRUE(contradicts(recovery::key("vmsk"), mask));
    mask.at(10) = 0xFF; // one in front
    EXPECT_FALSE(contradicts(recovery::key("vmsk"), mask));
}

TEST(BlockCheck, TheLayersCompositionsAreADescriptor)
{
    Bytes entry;
    append(entry, "8BIMcmls");
    appendU32(entry, 0);
    appendU32(entry, 26);
    appendU32(entry, 16); // version of the descriptor
    appendU32(entry, 0);  // no name
    appendU32(entry, 0);
    append(entry, "null");
    appendU32(entry, 1);
    appendU32(entry, 0);
    append(entry, "Hr");
    Bytes sheet = {0, 0, 0, 1};
    sheet.insert(sheet.end(), entry.begin(), entry.end());
    EXPECT_TRUE(contradicts(recovery::key("shmd"), sheet)); // ends inside a key
    sheet.resize(sheet.size() - 2);
    sheet.at(4 + 15) = 24;
    sheet.at(sheet.size() - 5) = 0; // no items
    EXPECT_FALSE(contradicts(recovery::key("shmd"), sheet));
}

TEST(BlockCheck, KeysOneLetterOffAreMisspelt)
{
    EXPECT_TRUE(recovery::isMisspeltKey(recovery::key("luni") ^ 0x80U));
    EXPECT_FALSE(recovery::isMisspeltKey(recovery::key("luni")));
    EXPECT_FALSE(recovery::isMisspeltKey(recovery::key("zzzz")));
}

TEST(EngineText, BalancesAndHoldsKnownWords)
{
    EXPECT_TRUE(recovery::isEngineText(
        bytesOf("\n\n<<\n\t/EngineDict\n\t<<\n\t\t/Text (\xFE\xFF a\\)b)\n\t\t/List [ 1 -.5 true ]"
                "\n\t>>\n>>")));
    EXPECT_FALSE(recovery::isEngineText(bytesOf("<< /A 1 ")));
    EXPECT_FALSE(recovery::isEngineText(bytesOf("<< /A y >>")));
    EXPECT_FALSE(recovery::isEngineText(bytesOf("<< /A [ 1 >> ]")));
    EXPECT_FALSE(recovery::isEngineText(bytesOf("<< /A (never closed >>")));
    EXPECT_FALSE(recovery::isEngineText(bytesOf("<< /A 1 > >")));
}

TEST(EngineText, HoldsNoControlsInItsTexts)
{
    using namespace std::string_view_literals;
    const auto isText = [](std::string_view text) { return recovery::isEngineText(bytesOf(text)); };
    EXPECT_TRUE(isText("<< /Name (\xFE\xFF\0a\0\r\0b\0\x03) >>"sv));
    EXPECT_FALSE(isText("<< /Name (\xFE\xFF\0a\0\x1D\0b) >>"sv));
    EXPECT_FALSE(isText("<< /Name (\xFE\xFF\0a\0) >>"sv));
}

} // namespace talvek::test
