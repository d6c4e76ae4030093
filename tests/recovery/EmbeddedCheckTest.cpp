#include "recovery/EmbeddedCheck.h"

#include "tests/recovery/Damaged.h"
#include "tests/recovery/Embedded.h"

#include <gtest/gtest.h>
#include <zlib.h>

namespace talvek::test {

using namespace recovery;

void addChunk(Bytes& png, std::string_view type, const Bytes& data)
{
    Bytes summed = bytesOf(type);
    append(summed, data);
    appendU32(png, static_cast<std::uint32_t>(data.size()));
    append(png, summed);
    const uLong sum = crc32(0, summed.data(), static_cast<uInt>(summed.size()));
    appendU32(png, static_cast<std::uint32_t>(sum));
}

/// As far as its chunks go; longer than one view of the source.
Bytes png()
{
    Bytes file = bytesOf("\x89PNG\r\n\x1A\n");
    addChunk(file, "IHDR", Bytes(13, 1));
    addChunk(file, "IDAT", Bytes(200000, 7));
    addChunk(file, "IEND", {});
    return file;
}

Found with(std::string_view name, const Bytes& data)
{
    return Found(threeLayers().globalBlock("lnk2", entryOf(name, data)).build());
}

State stateOf(const Found& found)
{
    return found.document().embedded.empty() ? State::Lost : found.document().embedded[0].state;
}

bool isSaidDamaged(const Found& found, const std::string& name)
{
    const auto& missing = found.document().missing;
    return std::find(missing.begin(), missing.end(), "1 embedded file is damaged: " + name + ".") !=
           missing.end();
}

TEST(EmbeddedCheck, APngIsWholeByItsChecksums)
{
    const Found found = with("a.png", png());
    EXPECT_EQ(stateOf(found), State::Whole);
    EXPECT_TRUE(found.document().missing.empty());
}

TEST(EmbeddedCheck, APngWithAHoleIsPartialAndNamed)
{
    Bytes file = png();
    std::fill_n(file.begin() + 100000, 4096, 0);
    const Found found = with("a.png", file);
    EXPECT_EQ(stateOf(found), State::Partial);
    EXPECT_TRUE(isSaidDamaged(found, "a.png"));
}

TEST(EmbeddedCheck, APngWithoutItsEndIsPartial)
{
    Bytes file = png();
    file.resize(file.size() - 12);
    EXPECT_EQ(stateOf(with("a.png", file)), State::Partial);
}

TEST(EmbeddedCheck, AChunkLongerThanThePngIsDamage)
{
    Bytes file = png();
    file[8] = 0xFF;
    EXPECT_EQ(stateOf(with("a.png", file)), State::Partial);
}

TEST(EmbeddedCheck, ADocumentIsExamined)
{
    Document document = threeLayers().build();
    EXPECT_EQ(stateOf(with("a.psb", document.bytes)), State::Whole);
    document.zeroFill(document.records[1].channels[1].data, 200);
    const Found found = with("a.psb", document.bytes);
    EXPECT_EQ(stateOf(found), State::Partial);
    EXPECT_TRUE(isSaidDamaged(found, "a.psb"));
    EXPECT_EQ(found.names(), "sky,sea,sand");
}

TEST(EmbeddedCheck, WhatIsInADocumentInADocumentIsNotLookedInto)
{
    const Document inner = threeLayers().globalBlock("lnk2", entryOf("b.png", png())).build();
    EXPECT_EQ(stateOf(with("a.psb", inner.bytes)), State::Whole);
}

TEST(EmbeddedCheck, OtherFilesAreThereAndUnproved)
{
    const Found found = with("a.ai", bytesOf("%PDF-1.4"));
    EXPECT_EQ(stateOf(found), State::Unproved);
    EXPECT_TRUE(found.document().missing.empty());
}

} // namespace talvek::test
