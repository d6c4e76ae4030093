#include "tests/engine/PlainTwins.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace talvek::test {

namespace {

bool stands(const Bytes& read, std::size_t position, std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (position + i >= read.size() ||
            read[position + i] != static_cast<std::uint8_t>(text[i])) {
            return false;
        }
    }
    return true;
}

std::int64_t blocksOf(std::int64_t length, std::int64_t blockBytes)
{
    std::int64_t blocks = length / blockBytes;
    if (length % blockBytes != 0) {
        blocks = blocks + 1;
    }
    return blocks;
}

} // namespace

Bytes plainRead(const Bytes& document, std::int64_t offset, std::int64_t length)
{
    Bytes read;
    const auto size = static_cast<std::int64_t>(document.size());
    for (std::int64_t i = offset; offset >= 0 && i < size && (length < 0 || i < offset + length);
         ++i) {
        read.push_back(document[static_cast<std::size_t>(i)]);
    }
    return read;
}

std::int64_t plainScan(const Bytes& document, std::int64_t start, std::int64_t length,
                       const PlainPattern& pattern)
{
    std::int64_t chunks = blocksOf(length, 1024);
    if (chunks == 0) {
        chunks = 1;
    }
    for (std::int64_t chunk = 0; chunk < chunks; ++chunk) {
        const Bytes read = plainRead(document, start, 1032);
        for (std::size_t position = 0; position < read.size(); ++position) {
            if (pattern(read, position)) {
                return start + static_cast<std::int64_t>(position);
            }
        }
        start += 1024;
    }
    return 0;
}

PlainPattern plainBlock(std::string_view key)
{
    return [key](const Bytes& read, std::size_t position) {
        return stands(read, position, "8BIM") && stands(read, position + 4, key);
    };
}

bool isPlainRecord(const Bytes& read, std::size_t position)
{
    constexpr std::array<std::string_view, 26> kModes = {
        "mul ", "lum ", "pLit", "over", "scrn", "hMix", "lddg", "sLit", "vLit",
        "idiv", "colr", "hue ", "lgCl", "pass", "sat ", "diss", "diff", "div ",
        "hLit", "lite", "smud", "fdiv", "fsub", "dkCl", "lbrn", "lLit"};
    if (!stands(read, position, "8BIM")) {
        return false;
    }
    if (stands(read, position + 4, "norm")) {
        return true;
    }
    for (const std::string_view mode : kModes) {
        if (stands(read, position + 4, mode) && stands(read, position + 8, "\xFF")) {
            return true;
        }
    }
    return false;
}

std::int64_t plainThumbnailSearch(const Bytes& document, std::int64_t start, std::int64_t length)
{
    Bytes buffer(4102);
    std::int64_t chunks = blocksOf(length, 4096);
    if (chunks == 0) {
        chunks = 1;
    }
    for (std::int64_t chunk = 0; chunk < chunks; ++chunk) {
        const Bytes read = plainRead(document, start, 4102);
        std::copy(read.begin(), read.end(), buffer.begin());
        for (std::size_t position = 0; position < read.size(); ++position) {
            if (stands(buffer, position, std::string_view("8BIM\x04\x0C", 6))) {
                return start + static_cast<std::int64_t>(position);
            }
        }
        start += 4096;
    }
    return 0;
}

Bytes plainDecoded(const Bytes& stream)
{
    Bytes plain;
    Bytes buffer(2048);
    const std::size_t size = stream.size();
    const bool isSingle = size >= 1 && size <= 1024;
    std::size_t consumed = 0;
    while (consumed < size) {
        const std::size_t read = std::min<std::size_t>(isSingle ? 1024 : 2048, size - consumed);
        for (std::size_t i = 0; i < read; ++i) {
            buffer[i] = stream[consumed + i];
        }
        std::size_t index = 0;
        while (index < (isSingle ? read : 1024)) {
            const int control = static_cast<std::int8_t>(buffer[index]);
            if (control == -128) {
                index += 1;
            } else if (control < 0) {
                for (int i = 0; i < 1 - control; ++i) {
                    plain.push_back(buffer[index + 1]);
                }
                index += 2;
            } else {
                for (std::size_t i = 0; i < static_cast<std::size_t>(control) + 1; ++i) {
                    plain.push_back(buffer[index + 1 + i]);
                }
                index += static_cast<std::size_t>(control) + 2;
            }
        }
        consumed += index;
        if (isSingle) {
            break;
        }
    }
    return plain;
}

} // namespace talvek::test
