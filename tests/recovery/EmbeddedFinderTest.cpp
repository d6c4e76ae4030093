#include "recovery/EmbeddedFinder.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

void appendU64(Bytes& to, std::uint64_t value)
{
    appendU32(to, static_cast<std::uint32_t>(value >> 32U));
    appendU32(to, static_cast<std::uint32_t>(value));
}

/// One entry of a linked-files block.
Bytes entryOf(std::string_view name, const Bytes& data, std::uint64_t stated)
{
    Bytes body = bytesOf("liFD");
    appendU32(body, 2);
    body.push_back(3);
    append(body, "uid");
    appendU32(body, static_cast<std::uint32_t>(name.size()));
    for (const char letter : name) {
        appendU16(body, static_cast<std::uint8_t>(letter));
    }
    append(body, "8BPB");
    append(body, "8BIM");
    appendU64(body, stated);
    body.push_back(0);
    append(body, data);
    Bytes entry;
    appendU64(entry, body.size());
    append(entry, body);
    entry.resize((entry.size() + 3) / 4 * 4);
    return entry;
}

Bytes entryOf(std::string_view name, const Bytes& data)
{
    return entryOf(name, data, data.size());
}

Bytes blockOf(const Bytes& entries, std::size_t stated)
{
    Bytes file = bytesOf("in front8BIMlnk2");
    appendU32(file, static_cast<std::uint32_t>(stated));
    append(file, entries);
    return file;
}

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
    EXPECT_EQ(files[1].state, State::Whole);
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
