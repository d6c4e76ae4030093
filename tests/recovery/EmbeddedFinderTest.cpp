#include "recovery/EmbeddedFinder.h"

#include "tests/recovery/Damaged.h"
#include "tests/recovery/Embedded.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

std::vector<EmbeddedFile> filesIn(const Bytes& bytes)
{
    Source source(bytes);
    SignatureIndex index;
    const RunControl control;
    index.build(source.bytes(), control, [](std::int64_t) {});
    return findEmbedded(source.bytes(), embeddedRanges(source.bytes(), index));
}

TEST(EmbeddedFinder, FindsEachFileWithItsName)
{
    Bytes entries = entryOf("a.psb", bytesOf("8BPS..."));
    append(entries, entryOf("b.png", bytesOf("\x89PNG, this one")));
    const auto files = filesIn(blockOf(entries, entries.size()));
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].name, "a.psb");
    EXPECT_EQ(files[0].uniqueId, "uid");
    EXPECT_EQ(files[0].type, "8BPB");
    EXPECT_EQ(files[0].data.length, 7);
    EXPECT_EQ(files[1].name, "b.png");
    EXPECT_EQ(files[1].state, State::Unproved);
}

TEST(EmbeddedFinder, AFileThatTheDocumentCutsShortIsPartial)
{
    const Bytes entries = entryOf("a.psb", Bytes(100, 'x'));
    Bytes file = blockOf(entries, entries.size());
    file.resize(file.size() - 40);
    const auto files = filesIn(file);
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0].state, State::Partial);
    EXPECT_LT(files[0].data.length, 100);
    EXPECT_GT(files[0].data.length, 50);
}

TEST(EmbeddedFinder, AFileEndsBeforeTheNextOneBegins)
{
    Bytes entries = entryOf("a.ai", bytesOf("%PDF"), 50);
    append(entries, entryOf("b.ai", bytesOf("%PDF-second, which is longer")));
    const auto files = filesIn(blockOf(entries, entries.size()));
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].state, State::Partial);
    EXPECT_LE(files[0].data.length, 8);
    EXPECT_EQ(files[1].state, State::Unproved);
}

TEST(EmbeddedFinder, NoDocumentFillsAFolder)
{
    const Bytes entry = entryOf("a", bytesOf("x"));
    Bytes entries;
    for (std::size_t i = 0; i < kMostEmbeddedFiles + 10; ++i) {
        append(entries, entry);
    }
    const Found found(threeLayers().globalBlock("lnk2", entries).build());
    EXPECT_EQ(found.document().embedded.size(), kMostEmbeddedFiles);
    ASSERT_FALSE(found.document().missing.empty());
    EXPECT_EQ(found.document().missing[0], "Embedded files were looked for up to the first 4096.");
}

TEST(EmbeddedFinder, ALengthBeyondTheFileGivesNoFile)
{
    const Bytes entries = entryOf("a.psb", bytesOf("8BPS"), std::uint64_t{1} << 60U);
    EXPECT_TRUE(filesIn(blockOf(entries, entries.size())).empty());
}

TEST(EmbeddedFinder, WhatIsInsideAFileIsNoneOfTheDocuments)
{
    const Bytes inner = entryOf("inner", bytesOf("zz"));
    const Bytes entries = entryOf("outer", blockOf(inner, inner.size()));
    const auto files = filesIn(blockOf(entries, entries.size()));
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0].name, "outer");
}

} // namespace talvek::test
