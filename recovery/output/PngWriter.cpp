#include "recovery/output/PngWriter.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace talvek::recovery::output {

namespace {

enum Filter : std::uint8_t
{
    kSub = 1,
    kUp = 2,
    kAverage = 3,
};

/// How far filtered bytes lie from zero: the usual measure of how well they will compress.
std::uint64_t cost(std::span<const std::uint8_t> filtered)
{
    std::uint64_t total = 0;
    while (!filtered.empty()) {
        // Sums of 8192 bytes fit 32 bits, which lets the compiler use wide registers.
        const std::size_t count = std::min<std::size_t>(filtered.size(), 8192);
        std::uint32_t part = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t byte = filtered[i];
            part += std::min<std::uint8_t>(byte, static_cast<std::uint8_t>(-byte));
        }
        total += part;
        filtered = filtered.subspan(count);
    }
    return total;
}

void filterSub(const std::uint8_t* row, std::size_t count, std::size_t pixel, std::uint8_t* out)
{
    std::memcpy(out, row, std::min(pixel, count));
    for (std::size_t i = pixel; i < count; ++i) {
        out[i] = static_cast<std::uint8_t>(row[i] - row[i - pixel]);
    }
}

void filterUp(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
              std::uint8_t* out)
{
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<std::uint8_t>(row[i] - above[i]);
    }
}

void filterAverage(const std::uint8_t* row, const std::uint8_t* above, std::size_t count,
                   std::size_t pixel, std::uint8_t* out)
{
    for (std::size_t i = 0; i < std::min(pixel, count); ++i) {
        out[i] = static_cast<std::uint8_t>(row[i] - above[i] / 2);
    }
    for (std::size_t i = pixel; i < count; ++i) {
        out[i] = static_cast<std::uint8_t>(row[i] - (row[i - pixel] + above[i]) / 2);
    }
}

void putBig(std::span<std::uint8_t> at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
}

} // namespace

PngWriter::PngWriter(const PngFormat& format, Sink sink)
    : m_format(format),
      m_sink(std::move(sink)),
      m_previous(format.rowBytes()),
      m_sub(format.rowBytes() + 1),
      m_up(format.rowBytes() + 1),
      m_average(format.rowBytes() + 1),
      m_deflate([this](std::span<const std::uint8_t> data) { chunk("IDAT", data); })
{
    m_sub[0] = kSub;
    m_up[0] = kUp;
    m_average[0] = kAverage;
    head();
}

void PngWriter::head()
{
    constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P',  'N',  'G',
                                                        '\r', '\n', 0x1A, '\n'};
    constexpr std::array<std::uint8_t, 5> kColorTypes = {0, 0, 4, 2, 6};
    m_sink(kSignature);
    std::array<std::uint8_t, 13> header{};
    putBig(std::span(header).subspan(0), m_format.width);
    putBig(std::span(header).subspan(4), m_format.height);
    header[8] = m_format.depth;
    header[9] = kColorTypes.at(m_format.samples);
    chunk("IHDR", header);
    if (m_format.isSrgb) {
        constexpr std::array<std::uint8_t, 1> kRelativeColorimetric = {1};
        chunk("sRGB", kRelativeColorimetric);
    }
    if (m_format.offset) {
        std::array<std::uint8_t, 9> offset{};
        putBig(std::span(offset).subspan(0), static_cast<std::uint32_t>(m_format.offset->x));
        putBig(std::span(offset).subspan(4), static_cast<std::uint32_t>(m_format.offset->y));
        chunk("oFFs", offset);
    }
}

void PngWriter::chunk(const char (&type)[5], std::span<const std::uint8_t> data)
{
    std::array<std::uint8_t, 8> head{};
    putBig(head, static_cast<std::uint32_t>(data.size()));
    std::memcpy(head.data() + 4, type, 4);
    uLong check = crc32(0, head.data() + 4, 4);
    if (!data.empty()) {
        check = crc32(check, data.data(), static_cast<uInt>(data.size()));
    }
    std::array<std::uint8_t, 4> tail{};
    putBig(tail, static_cast<std::uint32_t>(check));
    m_sink(head);
    m_sink(data);
    m_sink(tail);
}

void PngWriter::writeRow(std::span<const std::uint8_t> row)
{
    const std::size_t count = row.size();
    const std::size_t pixel = m_format.pixelBytes();
    filterUp(row.data(), m_previous.data(), count, m_up.data() + 1);
    const std::vector<std::uint8_t>* best = &m_up;
    std::uint64_t least = cost(std::span(m_up).subspan(1));
    if (least > 0) {
        filterSub(row.data(), count, pixel, m_sub.data() + 1);
        filterAverage(row.data(), m_previous.data(), count, pixel, m_average.data() + 1);
        for (const auto* candidate : {&m_sub, &m_average}) {
            const std::uint64_t theirs = cost(std::span(*candidate).subspan(1));
            if (theirs < least) {
                least = theirs;
                best = candidate;
            }
        }
    }
    m_deflate.append(*best);
    std::memcpy(m_previous.data(), row.data(), count);
}

void PngWriter::finish()
{
    m_deflate.finish();
    chunk("IEND", {});
}

} // namespace talvek::recovery::output
