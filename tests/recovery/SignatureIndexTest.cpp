#include "recovery/SignatureIndex.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace talvek::test {

using namespace recovery;

SignatureIndex indexOf(Source& source)
{
    SignatureIndex index;
    const RunControl control;
    index.build(source.bytes(), control, [](std::int64_t) {});
    return index;
}

TEST(SignatureIndex, FindsEachKindWhereItStands)
{
    Source source(bytesOf("8BPS....8BIM..8B64 8BIN8BIM"));
    const SignatureIndex index = indexOf(source);
    EXPECT_EQ(index.headers(), std::vector<std::int64_t>({0}));
    EXPECT_EQ(index.blocks(), std::vector<std::int64_t>({8, 14, 23}));
    EXPECT_EQ(index.firstAtOrBehind(9), 14);
    EXPECT_EQ(index.firstAtOrBehind(24), -1);
}

TEST(SignatureIndex, FindsASignatureAcrossEveryBorderOfItsViews)
{
    const std::size_t view = SourceBytes::kMostView;
    for (std::size_t at = view - 8; at < view + 8; ++at) {
        Bytes bytes(2 * view, 'B');
        std::copy_n("8BIM", 4, bytes.begin() + static_cast<std::ptrdiff_t>(at));
        Source source(bytes);
        EXPECT_EQ(indexOf(source).blocks(),
                  std::vector<std::int64_t>({static_cast<std::int64_t>(at)}));
    }
}

TEST(SignatureIndex, AFileOfOneValueIsKnownAsSuch)
{
    Source zeros(Bytes(300000, 0));
    EXPECT_TRUE(indexOf(zeros).isOneValue());
    Source empty{Bytes{}};
    EXPECT_TRUE(indexOf(empty).isOneValue());
    Bytes almost(300000, 0);
    almost.back() = 1;
    Source other(almost);
    EXPECT_FALSE(indexOf(other).isOneValue());
}

TEST(SignatureIndex, ZerosBehindAnotherValueAreNotOneValue)
{
    Bytes bytes(300000, 0);
    std::fill_n(bytes.begin(), 100000, std::uint8_t{7});
    Source source(bytes);
    EXPECT_FALSE(indexOf(source).isOneValue());
}

TEST(SignatureIndex, FindsWhatStandsBehindAndBetweenTheHolesOfASparseFile)
{
    const TemporaryFolder folder;
    const std::string path = folder.pathOf("sparse");
    writeFile(path, bytesOf("8BPS"));
    constexpr std::int64_t kFar = std::int64_t{3} << 30U;
    std::filesystem::resize_file(path, kFar);
    std::ofstream(path, std::ios::app) << "8BIM";
    std::filesystem::resize_file(path, 2 * kFar);
    ReadingFileHandle handle = FileManager::defaultManager().openForReading(path);
    SourceBytes source(handle);
    SignatureIndex index;
    const RunControl control;
    index.build(source, control, [](std::int64_t) {});
    EXPECT_EQ(index.headers(), std::vector<std::int64_t>({0}));
    EXPECT_EQ(index.blocks(), std::vector<std::int64_t>({kFar}));
}

TEST(SourceBytes, ReadsTheSameAtEveryOffsetAroundABlocksBorder)
{
    Bytes bytes(600 << 10);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    }
    Source source(bytes);
    for (std::int64_t offset = (256 << 10) - 20; offset < (256 << 10) + 20; ++offset) {
        const auto view = source.bytes().at(offset, 100);
        ASSERT_EQ(view.size(), 100U);
        EXPECT_TRUE(std::equal(view.begin(), view.end(), bytes.begin() + offset));
    }
    EXPECT_EQ(source.bytes().at(source.bytes().size() - 3, 100).size(), 3U);
    EXPECT_TRUE(source.bytes().at(source.bytes().size(), 1).empty());
    EXPECT_TRUE(source.bytes().at(-1, 1).empty());
    EXPECT_EQ(source.bytes().u32(source.bytes().size() - 3), 0U);
}

} // namespace talvek::test
