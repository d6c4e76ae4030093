#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

Bytes idOf(std::uint8_t id)
{
    return {0, 0, 0, id};
}

PsdBuilder layersWithIds(std::uint8_t first, std::uint8_t second)
{
    PsdBuilder builder;
    builder.size(40, 30).resource(0x0FA0, Bytes(4096));
    builder.layer("sky").transparent().taggedBlock("lyid", idOf(first));
    builder.layer("sea").transparent().bounds(2, 3, 25, 31).taggedBlock("lyid", idOf(second));
    builder.beginGroup().transparent().taggedBlock("lyid", idOf(20));
    builder.layer("sand").transparent().bounds(10, 1, 29, 39).taggedBlock("lyid", idOf(9));
    builder.endGroup("beach").transparent().taggedBlock("lyid", idOf(21));
    return builder;
}

/// The piece with the records stands a second time, in front of them.
Document withRecordsTwice(Document document)
{
    const std::int64_t start = document.records.front().start;
    const Bytes piece(document.bytes.begin() + start,
                      document.bytes.begin() + document.records.back().end);
    document.overwrite(document.imageResources.data + 100, piece);
    return document;
}

TEST(DoubleRecords, RecordsThatStandTwiceAreOneLayerEach)
{
    const Document document = layersWithIds(7, 8).build();
    const Found undamaged(document);
    const Found found(withRecordsTwice(document));
    EXPECT_EQ(found.names(), undamaged.names());
    expectSamePixels(found, undamaged);
}

TEST(DoubleRecords, AnIdThatIsRepeatedOverOtherLayersSaysNothing)
{
    const Found found(layersWithIds(7, 7).build());
    EXPECT_EQ(found.document().layers.size(), 5U);
    EXPECT_EQ(Found(withRecordsTwice(layersWithIds(7, 7).build())).layer(1).name, "sea");
}

TEST(DoubleRecords, LayersThatAreAlikeWithPixelsOfTheirOwnStay)
{
    PsdBuilder builder;
    builder.size(40, 30);
    for (int i = 0; i < 2; ++i) {
        builder.layer("leaf").packing(Packing::raw).taggedBlock("lyid", idOf(7));
        builder.beginGroup().transparent().taggedBlock("lyid", idOf(0));
        builder.endGroup("twig").transparent().taggedBlock("lyid", idOf(0));
    }
    EXPECT_EQ(Found(builder.build()).document().layers.size(), 6U);
}

} // namespace talvek::test
