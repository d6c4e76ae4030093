#include "engine/PackedDraft.h"

#include "tests/engine/Workbench.h"
#include "tests/platform/MemoryFile.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvek::test {

namespace {

constexpr std::size_t kHead = 20;
constexpr std::size_t kRange = 3000;
constexpr std::size_t kTail = 18;

/// A draft of own bytes, a range of the document from 100 on, own bytes and a second range.
struct Drafted
{
    explicit Drafted(SystemCalls& system, const Bytes& document)
        : handle(system, "document"), draft(handle)
    {
        draft.appendOwn(Bytes(kHead, 1));
        draft.appendRange(100, kRange);
        draft.appendOwn(Bytes(kTail, 2));
        draft.appendRange(50, -1);
        whole = Bytes(kHead, 1);
        whole.insert(whole.end(), document.begin() + 100, document.begin() + 100 + kRange);
        whole.insert(whole.end(), kTail, 2);
        whole.insert(whole.end(), document.begin() + 50, document.end());
    }

    ReadingFileHandle handle;
    PackedDraft draft;
    Bytes whole; ///< what the written document would hold
};

} // namespace

TEST(PackedDraft, EveryReadIsThatOfTheWrittenDocument)
{
    MemoryFile memory(patternOf(5000));
    Drafted drafted(memory, memory.bytes);
    ASSERT_EQ(drafted.draft.size(), static_cast<std::int64_t>(drafted.whole.size()));
    for (const std::size_t count : {1U, 17U, 2048U, 4000U, 70'000U}) {
        for (std::size_t offset = 0; offset < drafted.whole.size() + 40; offset += 13) {
            Bytes into(count);
            const std::size_t read = drafted.draft.read(static_cast<std::int64_t>(offset), into);
            const std::size_t left = drafted.whole.size() - std::min(offset, drafted.whole.size());
            ASSERT_EQ(read, std::min(count, left)) << offset;
            ASSERT_TRUE(std::equal(into.begin(), into.begin() + static_cast<std::ptrdiff_t>(read),
                                   drafted.whole.end() - static_cast<std::ptrdiff_t>(left)))
                << offset << " " << count;
        }
    }
    EXPECT_FALSE(drafted.draft.hasFailed());
}

TEST(PackedDraft, BytesInPlaceAreThoseOfARangeOrNone)
{
    MemoryFile memory(patternOf(5000));
    Drafted drafted(memory, memory.bytes);
    constexpr std::size_t kCount = 100;
    std::size_t served = 0;
    for (std::size_t offset = 0; offset < drafted.whole.size() + 40; ++offset) {
        const auto bytes = drafted.draft.inPlace(static_cast<std::int64_t>(offset), kCount);
        const std::size_t end = offset + kCount;
        const bool isInARange = (offset >= kHead && end <= kHead + kRange) ||
                                (offset >= kHead + kRange + kTail && end <= drafted.whole.size());
        ASSERT_EQ(bytes.size(), isInARange ? kCount : 0) << offset;
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(),
                               drafted.whole.begin() +
                                   static_cast<std::ptrdiff_t>(isInARange ? offset : 0)))
            << offset;
        served += bytes.size();
    }
    EXPECT_GT(served, 0U);
    EXPECT_TRUE(drafted.draft.inPlace(-1, 1).empty());
}

TEST(PackedDraft, AReadEndsWhereTheDocumentCannotBeRead)
{
    MemoryFile memory(patternOf(5000));
    Drafted drafted(memory, memory.bytes);
    memory.bytes.resize(100 + 700); // it shrinks while the draft is there
    Bytes into(4000, 9);
    EXPECT_EQ(drafted.draft.read(0, into), kHead + 700);
    EXPECT_TRUE(drafted.draft.hasFailed());
    drafted.whole.resize(kHead + 700);
    drafted.whole.resize(into.size(), 9);
    EXPECT_EQ(into, drafted.whole);
}

TEST(PackedDraft, OffsetsBeforeTheStartBringNothing)
{
    MemoryFile memory(patternOf(5000));
    Drafted drafted(memory, memory.bytes);
    Bytes into(10);
    EXPECT_EQ(drafted.draft.read(-1, into), 0U);
}

} // namespace talvek::test
