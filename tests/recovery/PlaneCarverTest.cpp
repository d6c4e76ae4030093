#include "tests/recovery/Damaged.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

Document withoutRecords(PsdBuilder builder)
{
    Document document = builder.build();
    document.zeroFill(document.layerCount, document.records.back().end - document.layerCount);
    return document;
}

TEST(PlaneCarver, PlanesWithoutAnyRecordHaveTheirExactSizeAndPixels)
{
    const Found undamaged(threeLayers().build());
    const Found found(withoutRecords(threeLayers()));
    ASSERT_EQ(found.document().planesWithoutRecord, 13);
    // Between the brackets of "Found without a record".
    EXPECT_EQ(found.layer(1).name, "Recovered 1");
    for (std::size_t layer = 0; layer < 3; ++layer) {
        EXPECT_EQ(found.layer(layer + 1).state, State::Partial);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            EXPECT_EQ(found.pixels(layer + 1, channel), undamaged.pixels(layer, channel));
            EXPECT_EQ(found.plane(layer + 1, channel).state, State::Whole);
        }
    }
}

TEST(PlaneCarver, ZipPlanesOfTheCanvasAreFoundByTheirSize)
{
    PsdBuilder builder;
    builder.size(30, 20).layer("zip").packing(Packing::zip);
    const Found undamaged(builder.build());
    const Found found(withoutRecords(builder));
    ASSERT_EQ(found.document().planesWithoutRecord, 3);
    EXPECT_EQ(found.pixels(1, 2), undamaged.pixels(0, 2));
}

TEST(PlaneCarver, AnUndamagedDocumentHasNoPlanesWithoutARecord)
{
    EXPECT_EQ(Found(threeLayers().build()).document().planesWithoutRecord, 0);
}

} // namespace talvek::test
