#include "recovery/PlaneReader.h"

#include "platform/FileManager.h"
#include "tests/recovery/Damaged.h"
#include "tests/support/ChannelData.h"
#include "tests/support/PackBits.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

TEST(PlaneReader, EveryPackingGivesTheSameRows)
{
    for (const int depth : {8, 16, 32}) {
        Random random(7);
        const Plane size{17, 23, depth};
        const Bytes pixels = randomPixels(17 * size.rowBytes(), random);
        for (const Packing packing :
             {Packing::raw, Packing::packBits, Packing::zip, Packing::zipPrediction}) {
            PsdBuilder builder;
            builder.size(23, 17).depth(depth).layer("one");
            builder.channelStream(0, static_cast<std::uint16_t>(packing),
                                  storedPlanes(pixels, size, 1, packing, random));
            const Found found(builder.build());
            EXPECT_TRUE(found.pixels(0, 0) == pixels) << depth << ", " << static_cast<int>(packing);
        }
    }
}

TEST(PlaneReader, RowsPassedOverAreNotMissed)
{
    const Found found(threeLayers().build());
    const Bytes pixels = found.pixels(0, 1);
    SourceFiles files(FileManager::defaultManager(), found.document().sources);
    const auto reader = openPlane(files, found.plane(0, 1));
    Bytes row(40);
    reader->skipRows(11);
    EXPECT_TRUE(reader->readRow(row));
    EXPECT_TRUE(std::equal(row.begin(), row.end(), pixels.begin() + 11 * 40));
    reader->skipRows(100);
    EXPECT_FALSE(reader->readRow(row));
    EXPECT_EQ(row, Bytes(40));
}

TEST(PlaneReader, LostRowsAreToldAndEmpty)
{
    Document document = threeLayers().build();
    const auto& channel = document.records[0].channels[0];
    document.zeroFill(channel.data + channel.length - 30, 30);
    const Found found(document);
    SourceFiles files(FileManager::defaultManager(), found.document().sources);
    const auto reader = openPlane(files, found.plane(0, 0));
    Bytes row(40);
    int recovered = 0;
    for (int y = 0; y < 30; ++y) {
        const bool there = reader->readRow(row);
        recovered += there ? 1 : 0;
        EXPECT_TRUE(there || row == Bytes(40));
    }
    EXPECT_EQ(recovered, found.plane(0, 0).rowsRecovered);
    EXPECT_LT(recovered, 30);
}

} // namespace talvek::test
