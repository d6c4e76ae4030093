#include "recovery/FileKind.h"

#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace std::string_view_literals;

std::string kindOf(std::string_view text)
{
    Source source(bytesOf(text));
    return recovery::otherKindOf(source.bytes());
}

TEST(FileKind, IsToldByTheFirstBytes)
{
    EXPECT_EQ(kindOf("\x89PNG\r\n\x1A\n and more"sv), "a PNG picture");
    EXPECT_EQ(kindOf("\xFF\xD8\xFF\xE0 and more"sv), "a JPEG picture");
    EXPECT_EQ(kindOf("RIFF1234WEBP"sv), "a WebP picture");
    EXPECT_EQ(kindOf("%PDF-1.7"sv), "a PDF or Illustrator document");
}

TEST(FileKind, OfADocumentOrOfAFewBytesIsNone)
{
    EXPECT_EQ(kindOf("8BPS\0\1"sv), "");
    EXPECT_EQ(kindOf("\x89PN"sv), "");
    EXPECT_EQ(kindOf(""sv), "");
}

TEST(FileKind, IsSaidWhereNothingWasFound)
{
    Document picture;
    picture.bytes = bytesOf("\x89PNG\r\n\x1A\n and more of it than this");
    const Found found(picture);
    ASSERT_FALSE(found.document().missing.empty());
    EXPECT_EQ(found.document().missing.front(),
              "The file begins like a PNG picture, not like a Photoshop document.");
    EXPECT_EQ(found.document().facts.origin, recovery::HeaderOrigin::Unknown);
    Document zeros;
    zeros.bytes = Bytes(100);
    EXPECT_EQ(Found(zeros).document().facts.origin, recovery::HeaderOrigin::Unknown);
}

} // namespace talvek::test
