#include "samples/PsdWriter.h"

#include "samples/Jpeg.h"

#include <algorithm>

namespace talvek::samples {

namespace {

std::string number(std::uint32_t value, int bytes)
{
    std::string text;
    for (int byte = bytes - 1; byte >= 0; --byte) {
        text += static_cast<char>(value >> static_cast<unsigned>(8 * byte));
    }
    return text;
}

std::string number32(std::size_t value)
{
    return number(static_cast<std::uint32_t>(value), 4);
}

std::string section(const std::string& contents)
{
    return number32(contents.size()) + contents;
}

std::string padded(std::string contents, std::size_t multiple)
{
    contents.resize((contents.size() + multiple - 1) / multiple * multiple);
    return contents;
}

std::string pascalName(const std::string& name)
{
    return padded(static_cast<char>(name.size()) + name, 4);
}

std::string taggedBlock(const std::string& key, const std::string& contents)
{
    return "8BIM" + key + section(padded(contents, 4));
}

/// The equal bytes that a row begins with; `atMost` of them at most.
std::size_t runAt(const std::uint8_t* bytes, std::size_t atMost)
{
    std::size_t run = 1;
    while (run < atMost && bytes[run] == bytes[0]) {
        ++run;
    }
    return run;
}

constexpr std::size_t kLongestRun = 128;

std::string packedRow(const std::uint8_t* row, std::size_t bytes)
{
    std::string packed;
    std::string literal;
    const auto putLiteral = [&] {
        if (!literal.empty()) {
            packed += static_cast<char>(literal.size() - 1) + literal;
            literal.clear();
        }
    };
    for (std::size_t place = 0; place < bytes;) {
        const std::size_t run = runAt(row + place, std::min(bytes - place, kLongestRun));
        if (run > 2) {
            putLiteral();
            packed += static_cast<char>(257 - run);
            packed += static_cast<char>(row[place]);
            place += run;
        } else {
            literal += static_cast<char>(row[place++]);
            if (literal.size() == kLongestRun) {
                putLiteral();
            }
        }
    }
    putLiteral();
    return packed;
}

struct PackedPlane
{
    std::string rowLengths;
    std::string rows;
};

PackedPlane packed(const std::vector<std::uint8_t>& plane, const Rectangle& bounds)
{
    PackedPlane result;
    const auto columns = static_cast<std::size_t>(bounds.columns());
    for (std::size_t start = 0; start < plane.size(); start += columns) {
        const std::string row = packedRow(plane.data() + start, columns);
        result.rowLengths += number(static_cast<std::uint32_t>(row.size()), 2);
        result.rows += row;
    }
    return result;
}

std::string channelData(const std::vector<std::uint8_t>& plane, const Layer& layer)
{
    // A group has no rows, so its channels are nothing but their compression codes.
    if (layer.raw || plane.empty()) {
        return number(0, 2) + std::string(plane.begin(), plane.end());
    }
    const PackedPlane plain = packed(plane, layer.picture.bounds());
    return number(1, 2) + plain.rowLengths + plain.rows;
}

struct Channel
{
    int identifier;
    std::string data;
};

/// Channels stand in the order of their identifiers, the mask, -2, first of all.
std::vector<Channel> channelsOf(const Layer& layer)
{
    std::vector<Channel> channels;
    if (!layer.mask.empty()) {
        channels.push_back({-2, channelData(layer.mask, layer)});
    }
    if (layer.clear) {
        channels.push_back({-1, channelData(layer.picture.channel(3), layer)});
    }
    for (int color = 0; color < 3; ++color) {
        const auto plane = layer.picture.channel(static_cast<std::size_t>(color));
        channels.push_back({color, channelData(plane, layer)});
    }
    return channels;
}

std::string rectangle(const Rectangle& bounds)
{
    std::string text;
    for (const int side : {bounds.top, bounds.left, bounds.bottom, bounds.right}) {
        text += number(static_cast<std::uint32_t>(side), 4);
    }
    return text;
}

std::string maskOf(const Layer& layer)
{
    if (layer.mask.empty()) {
        return {};
    }
    return rectangle(layer.picture.bounds()) + std::string(4, '\0');
}

std::string tagsOf(const Layer& layer, std::size_t identifier)
{
    std::string name = number32(layer.name.size());
    for (const char letter : layer.name) {
        name += '\0';
        name += letter;
    }
    std::string tags = taggedBlock("luni", name) + taggedBlock("lyid", number32(identifier));
    if (layer.role == Role::groupTop) {
        tags += taggedBlock("lsct", number(1, 4) + "8BIM" + layer.blendMode);
    } else if (layer.role == Role::groupBottom) {
        tags += taggedBlock("lsct", number(3, 4));
    }
    return tags;
}

std::string recordOf(const Layer& layer, const std::vector<Channel>& channels,
                     std::size_t identifier)
{
    std::string record = rectangle(layer.picture.bounds());
    record += number(static_cast<std::uint32_t>(channels.size()), 2);
    for (const Channel& channel : channels) {
        record += number(static_cast<std::uint32_t>(channel.identifier), 2);
        record += number32(channel.data.size());
    }
    record += "8BIM" + layer.blendMode + std::string("\xFF\0\0\0", 4);
    return record + section(section(maskOf(layer)) + section({}) + pascalName(layer.name) +
                            tagsOf(layer, identifier));
}

std::string layerSection(const std::vector<Layer>& layers)
{
    std::string records;
    std::string data;
    for (const Layer& layer : layers) {
        const auto channels = channelsOf(layer);
        records += recordOf(layer, channels, static_cast<std::size_t>(&layer - layers.data()) + 1);
        for (const Channel& channel : channels) {
            data += channel.data;
        }
    }
    const std::string info =
        padded(number(static_cast<std::uint32_t>(layers.size()), 2) + records + data, 4);
    const std::string filterMask = number(0, 2) + std::string(8, '\0') + number(50, 2);
    return section(section(info) + section({}) + taggedBlock("FMsk", filterMask));
}

std::string resource(std::uint32_t identifier, const std::string& contents)
{
    return "8BIM" + number(identifier, 2) + std::string(2, '\0') + number32(contents.size()) +
           padded(contents, 2);
}

std::string thumbnailOf(const Picture& picture)
{
    const std::string jpeg = jpegOf(picture);
    const auto rows = static_cast<std::uint32_t>(picture.bounds().rows());
    const auto columns = static_cast<std::uint32_t>(picture.bounds().columns());
    const std::uint32_t rowBytes = (columns * 24 + 31) / 32 * 4;
    return number(1, 4) + number(columns, 4) + number(rows, 4) + number(rowBytes, 4) +
           number(rowBytes * rows, 4) + number32(jpeg.size()) + number(24, 2) + number(1, 2) + jpeg;
}

std::string resourceSection(const Document& document)
{
    const std::string resolution = number(72U << 16U, 4) + number(1, 2) + number(1, 2) +
                                   number(72U << 16U, 4) + number(1, 2) + number(1, 2);
    return section(resource(0x03ED, resolution) +
                   resource(0x040C, thumbnailOf(document.thumbnail)));
}

std::string compositeOf(const Picture& picture)
{
    std::string rowLengths;
    std::string rows;
    for (std::size_t color = 0; color < 3; ++color) {
        const PackedPlane plane = packed(picture.channel(color), picture.bounds());
        rowLengths += plane.rowLengths;
        rows += plane.rows;
    }
    return number(1, 2) + rowLengths + rows;
}

} // namespace

std::string psdOf(const Document& document)
{
    const Rectangle& canvas = document.composite.bounds();
    return "8BPS" + number(1, 2) + std::string(6, '\0') + number(3, 2) +
           number(static_cast<std::uint32_t>(canvas.rows()), 4) +
           number(static_cast<std::uint32_t>(canvas.columns()), 4) + number(8, 2) + number(3, 2) +
           section({}) + resourceSection(document) + layerSection(document.layers) +
           compositeOf(document.composite);
}

} // namespace talvek::samples
