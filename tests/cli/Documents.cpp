#include "tests/cli/Documents.h"

namespace talvek::test {

namespace {

std::string block(const std::string& contents)
{
    return bigEndian32(static_cast<std::uint32_t>(contents.size())) + contents;
}

std::string thumbnailResource()
{
    const std::string data = std::string(28, '\0') + "\xFF\xD8" + std::string(8, 'j') + "\xFF\xD9";
    return std::string("8BIM\x04\x0C", 6) + std::string(2, '\0') + block(data);
}

/// Four rows of four equal bytes, each row a run.
std::string packedChannel(char value)
{
    std::string counts;
    std::string rows;
    for (int row = 0; row < 4; ++row) {
        counts += bigEndian16(2);
        rows += std::string("\xFD", 1) + value;
    }
    return bigEndian16(1) + counts + rows;
}

std::string layerSection()
{
    const std::string channels =
        packedChannel('\xFF') + packedChannel('r') + packedChannel('g') + packedChannel('b');
    const auto length = static_cast<std::uint32_t>(channels.size() / 4);
    std::string record = bigEndian32(0) + bigEndian32(0) + bigEndian32(4) + bigEndian32(4);
    record += bigEndian16(4);
    for (const unsigned identifier : {0xFFFFU, 0U, 1U, 2U}) {
        record += bigEndian16(identifier) + bigEndian32(length);
    }
    const std::string name("\3sky", 4);
    const std::string tagged = "8BIMlyid" + block(bigEndian32(7));
    record += std::string("8BIMnorm\xFF\0\0\0", 12) +
              block(bigEndian32(0) + bigEndian32(0) + name + tagged);
    return block(block(bigEndian16(1) + record + channels) + bigEndian32(0) + "8BIMFMsk" +
                 block(std::string(12, '\0')));
}

} // namespace

std::string bigEndian16(unsigned value)
{
    return {static_cast<char>(value >> 8U), static_cast<char>(value)};
}

std::string bigEndian32(std::uint32_t value)
{
    return bigEndian16(value >> 16U) + bigEndian16(value & 0xFFFFU);
}

std::string header(const HeaderFields& fields)
{
    return "8BPS" + bigEndian16(fields.version) + fields.reserved + bigEndian16(fields.channels) +
           bigEndian32(fields.rows) + bigEndian32(fields.columns) + bigEndian16(fields.depth) +
           bigEndian16(fields.mode);
}

std::string emptyDocument()
{
    return header() + std::string(8, '\0');
}

std::string flatDocument(const std::string& composite)
{
    // The engine takes the resources' length for the layers' where there is no thumbnail, so the
    // composite stands where an empty resources section leads it.
    return header() + std::string(8, '\0') + bigEndian16(0) + composite;
}

std::string smallDocument()
{
    return header() + bigEndian32(0) + block(thumbnailResource()) + layerSection() +
           bigEndian16(0) + std::string(48, 'c');
}

} // namespace talvek::test
