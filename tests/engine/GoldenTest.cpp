#include "tests/engine/Expectation.h"
#include "tests/engine/Workbench.h"
#include "tests/support/PsdBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>

namespace talvek::test {

namespace {

/// Where the run takes the layers' channel data to begin.
enum class LayerStart
{
    none,        ///< there is no layer
    channelData, ///< where they do
    composite,   ///< behind the filter mask, which was taken for the last record's last block
    record501,   ///< behind the 500th record, which is the last that is taken note of
};

struct Golden
{
    std::string name;
    std::function<PsdBuilder()> builder;
    LayerStart layerStart = LayerStart::channelData;
};

std::ostream& operator<<(std::ostream& out, const Golden& golden)
{
    return out << golden.name;
}

std::int64_t offsetOf(LayerStart start, const Document& document)
{
    switch (start) {
    case LayerStart::channelData:
        return document.channelImageData;
    case LayerStart::composite:
        return document.composite;
    case LayerStart::record501:
        return document.records[500].start;
    case LayerStart::none:
        return 0;
    }
    return 0;
}

const Bytes kName = {0, 0, 0, 1, 0, 'x'}; // what "luni" holds

PsdBuilder picture()
{
    return PsdBuilder{}.size(23, 17).thumbnail(patternOf(333));
}

/// A layer whose record ends in a tagged block, as those of today's programs do.
PsdBuilder& named(PsdBuilder& builder, const std::string& name)
{
    return builder.layer(name).taggedBlock("luni", kName);
}

PsdBuilder twoLayers(PsdBuilder builder, Packing packing)
{
    named(builder, "sky").transparent().packing(packing);
    named(builder, "sea").bounds(2, 3, 9, 14).packing(packing);
    return builder.composite(packing);
}

PsdBuilder manyLayers(int count)
{
    PsdBuilder builder = PsdBuilder{}.size(2, 2).thumbnail(patternOf(9));
    for (int i = 0; i < count; ++i) {
        named(builder, "layer").transparent();
    }
    return builder;
}

PsdBuilder grouped()
{
    PsdBuilder builder = picture();
    named(builder, "ground");
    builder.beginGroup();
    named(builder, "tree").transparent().bounds(1, 1, 8, 9);
    named(builder, "leaf").masked();
    builder.endGroup("wood");
    return builder;
}

PsdBuilder ofMode(Mode mode, int depth)
{
    PsdBuilder builder = picture().mode(mode).depth(depth);
    if (mode == Mode::indexed || mode == Mode::duotone) {
        builder.colourModeData(patternOf(mode == Mode::indexed ? 768 : 40));
    }
    return builder;
}

PsdBuilder withResources(std::size_t bytes, bool thumbnailIsLast)
{
    PsdBuilder builder = PsdBuilder{}.size(23, 17);
    const std::size_t thumbnail = 12 + 28 + 334;
    if (thumbnailIsLast) {
        builder.fillResourcesTo(bytes - thumbnail).thumbnail(patternOf(334));
    } else {
        builder.thumbnail(patternOf(334)).fillResourcesTo(bytes);
    }
    return twoLayers(builder, Packing::packBits);
}

void addModesAndDepths(std::vector<Golden>& all)
{
    const std::vector<std::pair<std::string, Mode>> modes = {
        {"Bitmap", Mode::bitmap},   {"Grayscale", Mode::grayscale},
        {"Indexed", Mode::indexed}, {"Rgb", Mode::rgb},
        {"Cmyk", Mode::cmyk},       {"Lab", Mode::lab},
        {"Duotone", Mode::duotone}, {"Multichannel", Mode::multichannel}};
    for (const auto& [name, mode] : modes) {
        for (const int depth : {1, 8, 16, 32}) {
            all.push_back({name + std::to_string(depth), [mode = mode, depth] {
                               return twoLayers(ofMode(mode, depth), Packing::packBits);
                           }});
        }
        all.push_back({name + "FilterMask", [mode = mode] {
                           return twoLayers(ofMode(mode, 8), Packing::packBits).filterMask();
                       }});
    }
}

void addPackings(std::vector<Golden>& all)
{
    const std::vector<std::pair<std::string, Packing>> packings = {
        {"Raw", Packing::raw}, {"Zip", Packing::zip}, {"ZipPrediction", Packing::zipPrediction}};
    for (const auto& [name, packing] : packings) {
        for (const int depth : {8, 16, 32}) {
            all.push_back({name + std::to_string(depth), [packing = packing, depth] {
                               return twoLayers(ofMode(Mode::rgb, depth), packing);
                           }});
        }
    }
    // No code that the walk knows ends the last record, so it goes on to the filter mask.
    const auto zipped = [] {
        return twoLayers(picture(), Packing::zip).filterMask().composite(Packing::packBits);
    };
    all.push_back({"ZipLayersInFrontOfAFilterMask", zipped, LayerStart::composite});
}

/// Tells the first difference by name and offset, not by printing both.
void expectSame(const std::map<std::string, Bytes>& made,
                const std::map<std::string, Bytes>& expected)
{
    for (const auto& [name, bytes] : made) {
        EXPECT_TRUE(expected.contains(name)) << name;
    }
    for (const auto& [name, bytes] : expected) {
        ASSERT_TRUE(made.contains(name)) << name;
        const Bytes& other = made.at(name);
        EXPECT_EQ(other.size(), bytes.size()) << name;
        const auto [differs, end] =
            std::mismatch(bytes.begin(), bytes.end(), other.begin(), other.end());
        EXPECT_TRUE(other == bytes) << name << " from byte " << differs - bytes.begin();
    }
}

std::vector<Golden> goldens()
{
    std::vector<Golden> all = {
        {"NoLayers", picture, LayerStart::none},
        {"NoLayersFilterMask", [] { return picture().filterMask(); }, LayerStart::none},
        {"NoThumbnail", [] { return twoLayers(PsdBuilder{}.size(23, 17), Packing::packBits); }},
        {"NoThumbnailFilterMask",
         [] { return twoLayers(PsdBuilder{}.size(23, 17), Packing::packBits).filterMask(); }},
        {"Nothing", [] { return PsdBuilder{}.composite(Packing::raw); }, LayerStart::none},
        {"FilterMask", [] { return twoLayers(picture(), Packing::packBits).filterMask(); }},
        {"FilterMaskRaw", [] { return twoLayers(picture(), Packing::raw).filterMask(); }},
        {"FilterMaskBehindARecordWithoutBlocks", [] { return picture().layer("sky").filterMask(); },
         LayerStart::composite},
        {"Masked",
         [] {
             PsdBuilder builder = picture();
             return named(builder, "sky").masked();
         }},
        {"Groups", grouped},
        {"GroupsFilterMask", [] { return grouped().filterMask(); }},
        {"OldThumbnail",
         [] { return PsdBuilder{}.oldThumbnail(patternOf(80)).fillResourcesTo(500); },
         LayerStart::none},
        {"BigLayer",
         [] {
             PsdBuilder builder = PsdBuilder{}.size(300, 200).thumbnail(patternOf(5000));
             return named(builder, "sky").transparent();
         }},
        {"BigRawLayer",
         [] {
             PsdBuilder builder = PsdBuilder{}.size(300, 200).thumbnail(patternOf(5000));
             return named(builder, "sky").packing(Packing::raw).composite(Packing::raw);
         }},
        {"Resources4096", [] { return withResources(4096, false); }},
        {"Resources4097", [] { return withResources(4097, false); }},
        {"Resources4096ThumbnailLast", [] { return withResources(4096, true); }},
        {"Resources4098ThumbnailLast", [] { return withResources(4098, true); }},
        {"Resources9000ThumbnailLast", [] { return withResources(9000, true); }},
    };
    addModesAndDepths(all);
    addPackings(all);
    for (const int count : {1, 2, 499, 500, 501}) {
        all.push_back({"Layers" + std::to_string(count), [count] { return manyLayers(count); },
                       count > 500 ? LayerStart::record501 : LayerStart::channelData});
    }
    return all;
}

} // namespace

class GoldenRun : public testing::TestWithParam<Golden>
{};

TEST_P(GoldenRun, LeavesAndPostsWhatTheRulesSay)
{
    const Document document = GetParam().builder().build();
    const Expectation expected(document, offsetOf(GetParam().layerStart, document));
    Workbench bench(document.bytes);
    bench.run();
    expectSame(filesIn(bench.folder), expected.files);
    EXPECT_EQ(bench.heard.progress(), expected.progress);
    EXPECT_EQ(bench.heard.shapes(), std::string(expected.progress.size(), 'p') + "c");
    EXPECT_EQ(bench.listedBytes(), expected.listedBytes());
    ASSERT_EQ(bench.listing().size(), expected.listed.size());
    for (std::size_t i = 0; i < expected.listed.size(); ++i) {
        const std::string& name = expected.listed[i];
        const FileRecord record = {std::to_string(i + 1), name.substr(0, name.size() - 4),
                                   std::to_string(expected.files.at(name).size() / 1024),
                                   bench.folder + "/" + name};
        EXPECT_TRUE(bench.listing()[i] == record) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, GoldenRun, testing::ValuesIn(goldens()),
                         [](const auto& instance) { return instance.param.name; });

} // namespace talvek::test
