#include "samples/Jpeg.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

// The tables are the ones that the JPEG standard gives as examples, in its annex K; the
// quantisation is halved, which suits a small picture.

namespace talvek::samples {

namespace {

constexpr int kSide = 8;
constexpr std::size_t kBlock = 64;
using Block = std::array<int, kBlock>;

constexpr std::array<std::uint8_t, kBlock> kZigZag = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

constexpr std::array<std::uint8_t, kBlock> kQuantisation = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

constexpr std::string_view kDcCounts("\0\1\5\1\1\1\1\1\1\0\0\0\0\0\0\0", 16);
constexpr std::string_view kDcValues("\0\1\2\3\4\5\6\7\10\11\12\13", 12);
constexpr std::string_view kAcCounts("\0\2\1\3\3\2\4\3\5\5\4\4\0\0\1\175", 16);
constexpr std::string_view kAcValues(
    "\x01\x02\x03\x00\x04\x11\x05\x12\x21\x31\x41\x06\x13\x51\x61\x07\x22\x71\x14\x32\x81\x91\xA1"
    "\x08\x23\x42\xB1\xC1\x15\x52\xD1\xF0\x24\x33\x62\x72\x82\x09\x0A\x16\x17\x18\x19\x1A\x25\x26"
    "\x27\x28\x29\x2A\x34\x35\x36\x37\x38\x39\x3A\x43\x44\x45\x46\x47\x48\x49\x4A\x53\x54\x55\x56"
    "\x57\x58\x59\x5A\x63\x64\x65\x66\x67\x68\x69\x6A\x73\x74\x75\x76\x77\x78\x79\x7A\x83\x84\x85"
    "\x86\x87\x88\x89\x8A\x92\x93\x94\x95\x96\x97\x98\x99\x9A\xA2\xA3\xA4\xA5\xA6\xA7\xA8\xA9\xAA"
    "\xB2\xB3\xB4\xB5\xB6\xB7\xB8\xB9\xBA\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\xCA\xD2\xD3\xD4\xD5\xD6"
    "\xD7\xD8\xD9\xDA\xE1\xE2\xE3\xE4\xE5\xE6\xE7\xE8\xE9\xEA\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9"
    "\xFA",
    162);

struct Code
{
    unsigned bits = 0;
    int length = 0;
};
using CodeTable = std::array<Code, 256>;

CodeTable codesOf(std::string_view counts, std::string_view values)
{
    CodeTable table;
    unsigned code = 0;
    std::size_t next = 0;
    for (int length = 1; length <= 16; ++length, code <<= 1U) {
        for (int left = counts[static_cast<std::size_t>(length - 1)]; left > 0; --left) {
            table[static_cast<unsigned char>(values[next++])] = {code++, length};
        }
    }
    return table;
}

int quantum(std::size_t index)
{
    return std::max(1, kQuantisation[index] / 2);
}

class BitWriter
{
public:
    explicit BitWriter(std::string& to) : m_to(to) {}

    void put(unsigned bits, int length)
    {
        for (int bit = length - 1; bit >= 0; --bit) {
            m_byte = (m_byte << 1U) | ((bits >> static_cast<unsigned>(bit)) & 1U);
            if (++m_held == 8) {
                m_to += static_cast<char>(m_byte);
                // A zero behind it tells a byte FF from a marker.
                m_to += (m_byte & 0xFFU) == 0xFF ? std::string(1, '\0') : std::string();
                m_held = 0;
                m_byte = 0;
            }
        }
    }
    void finish()
    {
        while (m_held != 0) {
            put(1, 1);
        }
    }

private:
    std::string& m_to;
    unsigned m_byte = 0;
    int m_held = 0;
};

/// Cosines of multiples of a sixteenth of half a turn, times 8192; the first row over root 2.
int cosine(int frequency, int place)
{
    static constexpr std::array<int, 9> kQuarter = {8192, 8035, 7568, 6811, 5793,
                                                    4551, 3135, 1598, 0};
    if (frequency == 0) {
        return 5793;
    }
    const int angle = (2 * place + 1) * frequency % 32;
    const int half = angle > 16 ? 32 - angle : angle;
    return half > 8 ? -kQuarter[static_cast<std::size_t>(16 - half)]
                    : kQuarter[static_cast<std::size_t>(half)];
}

std::size_t cell(int row, int column)
{
    return static_cast<std::size_t>(row * kSide + column);
}

/// Transforms the rows and gives them back as columns: done twice, it is the whole transform.
Block transformedRows(const Block& block)
{
    Block result = {};
    for (int row = 0; row < kSide; ++row) {
        for (int frequency = 0; frequency < kSide; ++frequency) {
            int sum = 0;
            for (int column = 0; column < kSide; ++column) {
                sum += block[cell(row, column)] * cosine(frequency, column);
            }
            result[cell(frequency, row)] = sum / (2 * 8192);
        }
    }
    return result;
}

int bitsOf(int value)
{
    int bits = 0;
    for (value = std::abs(value); value > 0; value >>= 1) {
        ++bits;
    }
    return bits;
}

void putNumber(BitWriter& writer, int value, int bits)
{
    writer.put(static_cast<unsigned>(value < 0 ? value + (1 << bits) - 1 : value), bits);
}

void putBlock(BitWriter& writer, const Block& samples, int& lastDc)
{
    static const CodeTable dc = codesOf(kDcCounts, kDcValues);
    static const CodeTable ac = codesOf(kAcCounts, kAcValues);
    // Eight times the samples keep the digits that the whole numbers would lose on the way.
    const Block coefficients = transformedRows(transformedRows(samples));
    int zeros = 0;
    for (std::size_t place = 0; place < kBlock; ++place) {
        const int value = coefficients[kZigZag[place]] / (8 * quantum(kZigZag[place]));
        const int coded = place == 0 ? value - std::exchange(lastDc, value) : value;
        const int bits = bitsOf(coded);
        if (place > 0 && coded == 0) {
            ++zeros;
            continue;
        }
        for (; zeros > 15; zeros -= 16) {
            writer.put(ac[0xF0].bits, ac[0xF0].length);
        }
        const Code code = place == 0 ? dc[static_cast<std::size_t>(bits)]
                                     : ac[static_cast<std::size_t>(zeros * 16 + bits)];
        writer.put(code.bits, code.length);
        putNumber(writer, coded, bits);
        zeros = 0;
    }
    if (zeros > 0) {
        writer.put(ac[0].bits, ac[0].length);
    }
}

/// Brightness, or one of the two colour differences, around 0 and eight times as large.
int componentOf(const Pixel& pixel, int component)
{
    static constexpr int kWeights[3][3] = {{299, 587, 114}, {-169, -331, 500}, {500, -419, -81}};
    const int* weights = kWeights[component];
    const int sum = weights[0] * pixel[0] + weights[1] * pixel[1] + weights[2] * pixel[2];
    return sum * 8 / 1000 - (component == 0 ? 128 * 8 : 0);
}

void putPicture(std::string& to, const Picture& picture)
{
    BitWriter writer(to);
    const Rectangle& bounds = picture.bounds();
    std::array<int, 3> lastDc = {};
    for (int top = bounds.top; top < bounds.bottom; top += kSide) {
        for (int left = bounds.left; left < bounds.right; left += kSide) {
            for (int component = 0; component < 3; ++component) {
                Block samples = {};
                for (std::size_t index = 0; index < kBlock; ++index) {
                    const int place = static_cast<int>(index);
                    samples[index] = componentOf(
                        picture.at(top + place / kSide, left + place % kSide), component);
                }
                putBlock(writer, samples, lastDc[static_cast<std::size_t>(component)]);
            }
        }
    }
    writer.finish();
}

void putSegment(std::string& to, char marker, const std::string& contents)
{
    const std::size_t length = contents.size() + 2;
    to += '\xFF';
    to += marker;
    to += static_cast<char>(length >> 8U);
    to += static_cast<char>(length);
    to += contents;
}

std::string quantisationTable()
{
    std::string table(1, '\0');
    for (const std::uint8_t place : kZigZag) {
        table += static_cast<char>(quantum(place));
    }
    return table;
}

std::string frameOf(const Rectangle& bounds)
{
    std::string frame = "\x08";
    for (const int size : {bounds.rows(), bounds.columns()}) {
        frame += static_cast<char>(size >> 8);
        frame += static_cast<char>(size);
    }
    return frame + std::string("\3\1\x11\0\2\x11\0\3\x11\0", 10);
}

} // namespace

std::string jpegOf(const Picture& picture)
{
    std::string file = "\xFF\xD8";
    putSegment(file, '\xE0', std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14));
    putSegment(file, '\xDB', quantisationTable());
    putSegment(file, '\xC0', frameOf(picture.bounds()));
    putSegment(file, '\xC4',
               std::string(1, '\0') + std::string(kDcCounts) + std::string(kDcValues));
    putSegment(file, '\xC4', "\x10" + std::string(kAcCounts) + std::string(kAcValues));
    putSegment(file, '\xDA', std::string("\3\1\0\2\0\3\0\0\x3F\0", 10));
    putPicture(file, picture);
    return file + "\xFF\xD9";
}

} // namespace talvek::samples
