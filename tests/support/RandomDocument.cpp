#include "tests/support/RandomDocument.h"

#include "tests/support/PackBits.h"
#include "tests/support/PsdBuilder.h"

#include <string>

namespace talvek::test {

namespace {

std::string randomBlend(Random& random)
{
    if (random.chance(50)) {
        return "norm";
    }
    return random.pick<const char*>({"norm", "mul ", "lum ", "pLit", "over", "scrn", "hMix", "lddg",
                                     "sLit", "vLit", "idiv", "colr", "hue ", "lgCl", "pass", "sat ",
                                     "diss", "diff", "div ", "hLit", "lite", "smud", "fdiv", "fsub",
                                     "dkCl", "lbrn", "lLit", "dark", "Norm", "mul_"});
}

/// Now and then, a block's data look like what a repair searches for.
Bytes randomBlockData(Random& random)
{
    Bytes data = random.bytes(random.below(random.chance(10) ? 1500 : 24));
    if (random.chance(8)) {
        append(data,
               random.pick<const char*>({"8BIM", "8BIMnorm", "8BIMFMsk", "8BIMfxrp", "8BIMm"}));
    }
    if (random.chance(30)) {
        append(data, Bytes(2 + random.below(6)));
    }
    return data;
}

void addTaggedBlocks(PsdBuilder& builder, Random& random)
{
    while (random.chance(55)) {
        builder.taggedBlock(
            random.pick<const char*>({"luni", "lyid", "lfx2", "fxrp", "shmd", "TySh", "clbl"}),
            randomBlockData(random));
    }
}

std::vector<std::int16_t> randomChannels(Random& random)
{
    std::vector<std::int16_t> ids;
    auto id = static_cast<std::int16_t>(random.between(-3, 1));
    const auto count = static_cast<int>(random.below(random.chance(10) ? 25 : 6));
    for (int i = 0; i < count; ++i) {
        ids.push_back(id);
        id = random.chance(93) ? static_cast<std::int16_t>(id + 1)
                               : static_cast<std::int16_t>(random.between(-3, 4));
    }
    return ids;
}

Packing randomPacking(Random& random)
{
    return random.chance(70) ? Packing::packBits
                             : random.pick({Packing::raw, Packing::zip, Packing::zipPrediction});
}

void addBounds(PsdBuilder& builder, Random& random)
{
    const auto top = static_cast<std::int32_t>(random.between(-20, 20));
    const auto left = static_cast<std::int32_t>(random.between(-20, 20));
    const std::int32_t bottom = top + static_cast<std::int32_t>(random.between(-2, 40));
    const std::int32_t right = left + static_cast<std::int32_t>(random.between(-2, 60));
    builder.bounds(top, left, bottom, right);
}

void addChannels(PsdBuilder& builder, Random& random)
{
    builder.packing(randomPacking(random));
    if (random.chance(60)) {
        builder.transparent();
    }
    if (random.chance(10)) {
        builder.masked();
    }
    if (random.chance(25)) {
        builder.channels(randomChannels(random));
    }
    const auto some = static_cast<std::int16_t>(random.between(-1, 2));
    if (random.chance(10)) {
        builder.channelPacking(some, randomPacking(random));
    }
    if (random.chance(15)) {
        const std::size_t count = random.below(random.chance(50) ? 3000 : 60);
        builder.channelStream(some, random.chance(85) ? 1 : random.byte(),
                              randomPackedStream(count, random));
    }
}

void addLayer(PsdBuilder& builder, Random& random)
{
    if (random.chance(8)) {
        random.chance(50) ? builder.beginGroup() : builder.endGroup("group");
    } else {
        builder.layer(std::string(random.below(12), 'n')).blend(randomBlend(random));
        builder.opacity(random.chance(80) ? 255 : random.byte());
        if (random.chance(60)) {
            addBounds(builder, random);
        }
        addChannels(builder, random);
    }
    addTaggedBlocks(builder, random);
}

Bytes randomJpeg(Random& random)
{
    const std::size_t count = random.chance(30)
                                  ? random.pick({0U, 1U, 1023U, 1024U, 1025U, 2048U, 5000U})
                                  : random.below(random.chance(20) ? 6000 : 300);
    return random.bytes(count);
}

void addResources(PsdBuilder& builder, Random& random)
{
    while (random.chance(40)) {
        builder.resource(static_cast<std::uint16_t>(random.between(1000, 1100)),
                         random.bytes(random.below(60)), random.chance(20) ? "named" : "");
    }
    if (random.chance(10)) {
        builder.oldThumbnail(randomJpeg(random));
    }
    if (random.chance(10)) {
        // The search's steps, and what lies around them.
        builder.fillResourcesTo(8000 + random.below(400));
    }
    if (random.chance(75)) {
        builder.thumbnail(randomJpeg(random));
    }
    if (random.chance(15)) {
        builder.fillResourcesTo(16376 + random.below(16));
    }
}

void addShape(PsdBuilder& builder, Random& random)
{
    const Mode mode =
        random.pick({Mode::rgb, Mode::rgb, Mode::rgb, Mode::grayscale, Mode::grayscale, Mode::cmyk,
                     Mode::lab, Mode::duotone, Mode::bitmap, Mode::indexed, Mode::multichannel});
    builder.mode(mode).depth(mode == Mode::bitmap ? 1 : random.pick({8, 8, 8, 16, 32}));
    const std::uint64_t side = random.chance(15) ? 90 : 24;
    builder.size(static_cast<std::uint32_t>(random.below(side)),
                 static_cast<std::uint32_t>(random.below(side)));
    if (mode == Mode::indexed) {
        builder.colourModeData(random.bytes(768));
    } else if (random.chance(25)) {
        builder.colourModeData(random.bytes(random.below(random.chance(20) ? 5000 : 100)));
    }
    if (random.chance(30)) {
        builder.channelCount(static_cast<int>(random.between(0, 6)));
    }
}

void addGlobalBlocks(PsdBuilder& builder, Random& random)
{
    if (random.chance(30)) {
        builder.globalBlock("Patt", randomBlockData(random));
    }
    if (random.chance(55)) {
        builder.filterMask();
    }
    if (random.chance(30)) {
        builder.globalBlock("cinf", randomBlockData(random));
    }
    if (random.chance(10)) {
        builder.layersInBlock();
    }
    if (random.chance(10)) {
        builder.mergedAlpha();
    }
}

void addComposite(PsdBuilder& builder, Random& random)
{
    builder.composite(randomPacking(random));
    if (random.chance(20)) {
        const std::size_t count = random.below(random.chance(50) ? 5000 : 1100);
        builder.compositeStream(random.chance(80) ? 1 : random.byte(),
                                randomPackedStream(count, random));
    }
    if (random.chance(20)) {
        builder.trailing(random.bytes(random.below(5000)));
    }
}

// Damage.

std::vector<std::int64_t> lengthFields(const Document& document)
{
    std::vector<std::int64_t> fields = {document.colourModeData.start,
                                        document.imageResources.start, document.layerAndMask.start,
                                        document.layerAndMask.data};
    for (const Document::Block& block : document.thumbnails) {
        fields.push_back(block.lengthField);
    }
    for (const Document::Block& block : document.globalBlocks) {
        fields.push_back(block.lengthField);
    }
    for (const Document::Record& record : document.records) {
        fields.push_back(record.extraLength);
        for (const Document::Channel& channel : record.channels) {
            fields.push_back(channel.entry + 2);
        }
    }
    return fields;
}

/// Of anything that a repair looks at.
std::int64_t sorePoint(const Document& document, Random& random)
{
    std::vector<std::int64_t> points = lengthFields(document);
    for (const Document::Record& record : document.records) {
        points.insert(points.end(),
                      {record.start, record.start + 16, record.signature, record.end});
        for (const Document::Channel& channel : record.channels) {
            points.insert(points.end(),
                          {channel.entry, channel.data, channel.data + channel.length});
        }
    }
    points.insert(points.end(), {0, 12, 25, document.channelImageData, document.composite,
                                 document.composite + 2, document.size()});
    return random.pick(points) + random.between(-12, 12);
}

std::int64_t anyPlace(const Document& document, Random& random)
{
    return random.chance(50) ? sorePoint(document, random) : random.between(0, document.size());
}

Bytes falseSignature(Random& random)
{
    Bytes signature = bytesOf(random.pick<const char*>(
        {"8BIM", "8BIMnorm", "8BIMmul \xFF", "8BIMFMsk", "8BIM\x04\x0C", "8BIMdark", "8B8BIMno"}));
    if (random.chance(50)) {
        appendI32(signature, lyingLength(0, random));
    }
    if (random.chance(30)) {
        append(signature, Bytes{0, 1});
    }
    return signature;
}

void lieAboutLength(Document& document, Random& random)
{
    const std::int64_t field = random.pick(lengthFields(document));
    if (field < 0 || field + 4 > document.size()) {
        return;
    }
    std::int64_t truth = 0;
    for (std::int64_t i = 0; i < 4; ++i) {
        truth = truth * 256 + document.bytes[static_cast<std::size_t>(field + i)];
    }
    document.lieLength(field, lyingLength(truth, random));
}

void lieAboutBounds(Document& document, Random& random)
{
    if (!document.records.empty()) {
        const Document::Record& record = random.pick(document.records);
        document.lieLength(record.start + 4 * random.between(0, 3), lyingLength(10, random));
    }
}

void lieInHeader(Document& document, Random& random)
{
    switch (random.below(3)) {
    case 0:
        document.overwrite(25, {static_cast<std::uint8_t>(random.below(11))});
        break;
    case 1:
        document.lieLength(14, lyingLength(20, random));
        break;
    default:
        document.overwrite(random.between(4, 25), {random.byte()});
    }
}

} // namespace

Document randomDocument(Random& random)
{
    PsdBuilder builder;
    builder.pixelSeed(random.next());
    addShape(builder, random);
    addResources(builder, random);
    const std::uint64_t layers = random.chance(5) ? random.below(20) : random.below(5);
    for (std::uint64_t i = 0; i < layers; ++i) {
        addLayer(builder, random);
    }
    addGlobalBlocks(builder, random);
    addComposite(builder, random);
    return builder.build();
}

Document documentOfManyLayers(Random& random)
{
    PsdBuilder builder;
    builder.mode(Mode::grayscale).size(2, 1).thumbnail({});
    const std::int64_t layers = random.between(495, 501);
    for (std::int64_t i = 0; i < layers; ++i) {
        builder.layer("").packing(randomPacking(random));
    }
    if (random.chance(50)) {
        builder.filterMask();
    }
    return builder.build();
}

std::int64_t lyingLength(std::int64_t truth, Random& random)
{
    switch (random.below(6)) {
    case 0:
        return truth + random.between(-20, 20);
    case 1:
        return random.between(-40, 40);
    case 2:
        return random.pick({1024, 2048, 4096, 8192, -1024, -2048, -4096}) + random.between(-2, 2);
    case 3:
        return random.pick({INT32_MAX, INT32_MIN, -65536, 65535, 0x01000000}) -
               random.between(0, 1);
    case 4:
        return random.between(-20000, 20000);
    default:
        return random.between(INT32_MIN, INT32_MAX);
    }
}

void damage(Document& document, Random& random)
{
    switch (random.below(10)) {
    case 0:
        document.cutAt(anyPlace(document, random));
        break;
    case 1:
        document.flipByte(anyPlace(document, random));
        break;
    case 2:
        document.zeroFill(random.between(0, document.size()) / 512 * 512, 512);
        break;
    case 3:
        document.deleteBytes(anyPlace(document, random), random.between(1, 600));
        break;
    case 4:
        document.insertBytes(anyPlace(document, random), random.bytes(random.below(600)));
        break;
    case 5:
        document.overwrite(anyPlace(document, random), falseSignature(random));
        break;
    case 6:
        lieAboutBounds(document, random);
        break;
    case 7:
        lieInHeader(document, random);
        break;
    default:
        lieAboutLength(document, random);
    }
}

} // namespace talvek::test
