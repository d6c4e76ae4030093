#include "tests/support/ChannelData.h"

#include "tests/support/PackBits.h"

#include <zlib.h>

#include <span>
#include <stdexcept>

namespace talvek::test {

namespace {

Bytes packedRows(const Bytes& pixels, const Plane& plane, int planes, Random& random)
{
    Bytes table;
    Bytes rows;
    const std::size_t rowBytes = plane.rowBytes();
    for (std::int64_t row = 0; row < plane.rows * planes; ++row) {
        const auto plain =
            std::span(pixels).subspan(static_cast<std::size_t>(row) * rowBytes, rowBytes);
        const Bytes packed = random.chance(50) ? packBits(plain) : packBitsAtRandom(plain, random);
        appendU16(table, static_cast<std::uint32_t>(packed.size()));
        append(rows, packed);
    }
    append(table, rows);
    return table;
}

/// Each row's bytes as differences from the byte that stands `step` before.
void predict(std::span<std::uint8_t> row, std::size_t step)
{
    for (std::size_t i = row.size(); i-- > step;) {
        row[i] = static_cast<std::uint8_t>(row[i] - row[i - step]);
    }
}

/// Differences of big-endian 16-bit samples.
void predictWords(std::span<std::uint8_t> row)
{
    for (std::size_t i = row.size(); i >= 4; i -= 2) {
        const int here = row[i - 2] * 256 + row[i - 1];
        const int before = row[i - 4] * 256 + row[i - 3];
        const unsigned difference = static_cast<unsigned>(here - before);
        row[i - 2] = static_cast<std::uint8_t>(difference >> 8U);
        row[i - 1] = static_cast<std::uint8_t>(difference);
    }
}

/// Format: a row of 32-bit samples is split into its first bytes, second bytes and so on.
void splitSamples(std::span<std::uint8_t> row)
{
    const Bytes whole(row.begin(), row.end());
    const std::size_t samples = row.size() / 4;
    for (std::size_t i = 0; i < samples * 4; ++i) {
        row[(i % 4) * samples + i / 4] = whole[i];
    }
}

Bytes predicted(Bytes pixels, const Plane& plane, int planes)
{
    const std::size_t rowBytes = plane.rowBytes();
    for (std::int64_t i = 0; i < plane.rows * planes; ++i) {
        const auto row =
            std::span(pixels).subspan(static_cast<std::size_t>(i) * rowBytes, rowBytes);
        if (plane.depth == 16) {
            predictWords(row);
        } else {
            if (plane.depth == 32) {
                splitSamples(row);
            }
            predict(row, 1);
        }
    }
    return pixels;
}

} // namespace

std::size_t Plane::rowBytes() const
{
    return static_cast<std::size_t>((columns * depth + 7) / 8);
}

Bytes deflated(const Bytes& plain)
{
    uLongf size = compressBound(static_cast<uLong>(plain.size()));
    Bytes packed(size);
    if (compress(packed.data(), &size, plain.data(), static_cast<uLong>(plain.size())) != Z_OK) {
        throw std::runtime_error("zlib refuses to compress");
    }
    packed.resize(size);
    return packed;
}

Bytes storedPlanes(const Bytes& pixels, const Plane& plane, int planes, Packing packing,
                   Random& random)
{
    switch (packing) {
    case Packing::raw:
        return pixels;
    case Packing::packBits:
        return packedRows(pixels, plane, planes, random);
    case Packing::zip:
        return deflated(pixels);
    case Packing::zipPrediction:
        return deflated(predicted(pixels, plane, planes));
    }
    return pixels;
}

} // namespace talvek::test
