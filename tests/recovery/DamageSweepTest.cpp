#include "recovery/DeepRecovery.h"
#include "tests/recovery/Damaged.h"
#include "tests/support/Random.h"

#include <gtest/gtest.h>

namespace talvek::test {

using namespace recovery;

/// Whatever is called whole is what the undamaged document holds under this name.
void expectHonest(const Bytes& bytes, const Found& undamaged)
{
    const Found damaged(bytes);
    for (std::size_t i = 0; i < damaged.document().layers.size(); ++i) {
        const Layer& layer = damaged.layer(i);
        if (layer.state != State::Whole || !layer.hasRecord) {
            continue;
        }
        const auto& layers = undamaged.document().layers;
        const auto same = std::find_if(layers.begin(), layers.end(), [&](const Layer& other) {
            return other.bounds == layer.bounds;
        });
        ASSERT_NE(same, layers.end());
        const auto index = static_cast<std::size_t>(same - layers.begin());
        for (std::size_t c = 0; c < layer.channels.size(); ++c) {
            EXPECT_TRUE(damaged.pixels(i, c) == undamaged.pixels(index, c))
                << layer.name << ", channel " << c;
        }
    }
}

TEST(DamageSweep, CutAnywhereNothingWrongIsCalledWhole)
{
    const Document document = threeLayers().build();
    const Found undamaged(document);
    for (std::int64_t at = 0; at < document.size(); at += 61) {
        SCOPED_TRACE("at " + std::to_string(at));
        Document cut = document;
        expectHonest(cut.cutAt(at).bytes, undamaged);
    }
}

TEST(DamageSweep, BytesMissingAnywhereNothingWrongIsCalledWhole)
{
    const Document document = threeLayers().build();
    const Found undamaged(document);
    for (std::int64_t at = 0; at < document.size(); at += 67) {
        SCOPED_TRACE("at " + std::to_string(at));
        Document shorter = document;
        expectHonest(shorter.deleteBytes(at, 1 + at % 5).bytes, undamaged);
    }
}

TEST(DamageSweep, AZeroedSectorAnywhereCostsOnlyWhatItHits)
{
    const Document document = threeLayers().build();
    const Found undamaged(document);
    for (std::int64_t at = 0; at < document.size(); at += 73) {
        Document holed = document;
        holed.zeroFill(at, 64);
        expectHonest(holed.bytes, undamaged);
        const Found found(holed);
        for (std::size_t i = 0; i < document.records.size(); ++i) {
            const auto& channels = document.records[i].channels;
            const std::int64_t end = channels.back().data + channels.back().length;
            const bool hit = at + 64 > channels.front().data && at < end;
            const bool recordsHit = at < document.records.back().end;
            if (!hit && !recordsHit) {
                EXPECT_EQ(found.layer(i).state, State::Whole) << "hole at " << at;
            }
        }
    }
}

TEST(DamageSweep, RandomDocumentsWithRandomDamageEndInAnOutput)
{
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        Bytes bytes = threeLayers().pixelSeed(seed).build().bytes;
        for (int i = 0; i < 30; ++i) {
            bytes[random.below(bytes.size())] = static_cast<std::uint8_t>(random.below(256));
        }
        const Source source(bytes);
        DeepRecovery recovery;
        EXPECT_TRUE(
            recovery.recoverFileAtPath_andSaveAtPath(source.path(), source.folder().pathOf("out")));
    }
}

} // namespace talvek::test
