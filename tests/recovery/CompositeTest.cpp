#include "recovery/BlindComposite.h"
#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

TEST(Composite, PackBitsRowsReachTheEndOfTheFile)
{
    const Document document = PsdBuilder{}.size(40, 30).build();
    Source source(document.bytes);
    const auto found = compositeAt(source.bytes(), document.composite, 2);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->shape, (PlaneShape{90, 40}));
}

TEST(Composite, IsFoundBlindBehindBytesOfAnyKind)
{
    const Document document = threeLayers().build();
    Source source(document.bytes);
    const RunControl control;
    const auto found = findBlindComposite(source.bytes(), document.channelImageData, 2, control);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->offset, document.composite);
}

TEST(Composite, ARawOneIsThereButNotProved)
{
    const Found found(PsdBuilder{}.size(40, 30).composite(Packing::raw).build());
    EXPECT_EQ(found.document().composite.state, State::Unproved);
    EXPECT_EQ(found.document().composite.rowsRecovered, 90);
}

TEST(Composite, ACutOneKeepsTheRowsBeforeTheCut)
{
    Document document = PsdBuilder{}.size(40, 30).build();
    document.cutAt(document.size() - 60);
    const Found found(document);
    EXPECT_EQ(found.document().composite.state, State::Partial);
    EXPECT_GE(found.document().composite.rowsRecovered, 87);
    EXPECT_LT(found.document().composite.rowsRecovered, 90);
}

TEST(Composite, LayersRowsAreNotTakenForThoseOfALostOne)
{
    for (const Packing packing : {Packing::packBits, Packing::raw}) {
        PsdBuilder builder;
        builder.size(40, 30);
        for (const char* name : {"sky", "sea", "sand"}) {
            builder.layer(name).packing(packing);
        }
        const Document document = builder.build();
        for (const auto& record : document.records) {
            Document cut = document;
            const auto& channel = record.channels[1];
            const Found found(cut.cutAt(channel.data + channel.length / 2));
            EXPECT_EQ(found.document().composite.state, State::Lost) << record.name;
            EXPECT_EQ(found.document().composite.bytes.length, 0) << record.name;
        }
    }
}

TEST(Composite, PlanesInBlocksAreNotTakenForALostOne)
{
    const Document other = threeLayers().build();
    const Bytes planes(other.bytes.begin() + other.channelImageData,
                       other.bytes.begin() + other.composite);
    const Document document = threeLayers().globalBlock("FXid", planes).build();
    const auto& block = document.globalBlocks.at(0);
    for (const std::int64_t end : {document.composite, block.data + block.length / 2}) {
        Document cut = document;
        const Found found(cut.cutAt(end));
        EXPECT_EQ(found.names(), "sky,sea,sand");
        EXPECT_EQ(found.document().composite.state, State::Lost);
        EXPECT_TRUE(found.document().composite.flattened);
    }
}

TEST(Composite, ALostOneIsFlattenedAnewAndSaysSo)
{
    Document document = threeLayers().build();
    document.cutAt(document.composite);
    const Found found(document);
    EXPECT_EQ(found.document().composite.state, State::Lost);
    EXPECT_TRUE(found.document().composite.flattened);
}

} // namespace talvek::test
