#include "TestDocument.h"

#include <QFile>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace talvek::testing {

TestDocument& TestDocument::mode(ColourMode mode)
{
    m_mode = mode;
    return *this;
}

TestDocument& TestDocument::depth(int bits)
{
    m_depth = bits;
    return *this;
}

TestDocument& TestDocument::channels(int count)
{
    m_channels = count;
    return *this;
}

TestDocument& TestDocument::planes(int count)
{
    m_planes = count;
    return *this;
}

TestDocument& TestDocument::size(int width, int height)
{
    m_width = width;
    m_height = height;
    return *this;
}

TestDocument& TestDocument::packed()
{
    m_packed = true;
    return *this;
}

TestDocument& TestDocument::colourData(Bytes data)
{
    m_colourData = std::move(data);
    return *this;
}

TestDocument& TestDocument::resources(Bytes data)
{
    m_resources = std::move(data);
    return *this;
}

TestDocument& TestDocument::layerSection(Bytes data)
{
    m_layerSection = std::move(data);
    return *this;
}

TestDocument& TestDocument::samples(std::function<double(int, int, int)> value)
{
    m_samples = std::move(value);
    return *this;
}

std::size_t TestDocument::compressionOffset() const
{
    return 38 + m_colourData.size() + m_resources.size() + m_layerSection.size();
}

std::size_t TestDocument::rowBytes() const
{
    return (static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_depth) + 7) / 8;
}

std::size_t TestDocument::planeBytes() const
{
    return rowBytes() * static_cast<std::size_t>(m_height);
}

double TestDocument::valueAt(int plane, int row, int column) const
{
    if (m_samples) {
        return m_samples(plane, row, column);
    }
    // Left to right a ramp, with a grain that no two rows or planes share, and flat at the right.
    const int grain = (row * 37 + plane * 101 + column * (column < m_width * 2 / 3 ? 29 : 0)) % 256;
    return (grain + 256.0 * column / m_width) / 512.0;
}

void TestDocument::appendSample(Bytes& row, double value) const
{
    if (m_depth == 32) {
        appendNumber(row, std::bit_cast<std::uint32_t>(static_cast<float>(value)), 4);
        return;
    }
    const double most = m_depth == 16 ? 65535.0 : 255.0;
    appendNumber(row, static_cast<std::uint64_t>(std::lround(value * most)), m_depth / 8);
}

Bytes TestDocument::row(int plane, int row) const
{
    Bytes bytes;
    if (m_depth == 1) {
        bytes.resize(rowBytes());
        for (int column = 0; column < m_width; ++column) {
            const bool isBlack = valueAt(plane, row, column) < 0.5;
            const auto bit = static_cast<std::uint8_t>(isBlack ? 0x80 >> column % 8 : 0);
            bytes[static_cast<std::size_t>(column) / 8] |= bit;
        }
        return bytes;
    }
    for (int column = 0; column < m_width; ++column) {
        appendSample(bytes, valueAt(plane, row, column));
    }
    return bytes;
}

void TestDocument::appendPacked(Bytes& document) const
{
    const int planes = m_planes < 0 ? m_channels : m_planes;
    Bytes data;
    for (int plane = 0; plane < planes; ++plane) {
        for (int r = 0; r < m_height; ++r) {
            const Bytes packed = packRow(row(plane, r));
            appendNumber(document, packed.size(), 2);
            data.insert(data.end(), packed.begin(), packed.end());
        }
    }
    document.insert(document.end(), data.begin(), data.end());
}

Bytes TestDocument::build() const
{
    Bytes document = {'8', 'B', 'P', 'S', 0, 1, 0, 0, 0, 0, 0, 0};
    appendNumber(document, static_cast<std::uint64_t>(m_channels), 2);
    appendNumber(document, static_cast<std::uint64_t>(m_height), 4);
    appendNumber(document, static_cast<std::uint64_t>(m_width), 4);
    appendNumber(document, static_cast<std::uint64_t>(m_depth), 2);
    appendNumber(document, static_cast<std::uint64_t>(m_mode), 2);
    for (const Bytes* section : {&m_colourData, &m_resources, &m_layerSection}) {
        appendNumber(document, section->size(), 4);
        document.insert(document.end(), section->begin(), section->end());
    }
    appendNumber(document, m_packed ? 1 : 0, 2);
    if (m_packed) {
        appendPacked(document);
        return document;
    }
    const int planes = m_planes < 0 ? m_channels : m_planes;
    for (int plane = 0; plane < planes; ++plane) {
        for (int r = 0; r < m_height; ++r) {
            const Bytes bytes = row(plane, r);
            document.insert(document.end(), bytes.begin(), bytes.end());
        }
    }
    return document;
}

Bytes packRow(const Bytes& row)
{
    const auto runAt = [&](std::size_t at) {
        std::size_t end = at;
        while (end < row.size() && end - at < 128 && row[end] == row[at]) {
            ++end;
        }
        return end - at;
    };
    Bytes packed;
    for (std::size_t at = 0; at < row.size();) {
        if (const std::size_t run = runAt(at); run > 2) {
            appendNumber(packed, 257 - run, 1);
            packed.push_back(row[at]);
            at += run;
            continue;
        }
        const std::size_t from = at;
        while (at < row.size() && at - from < 128 && runAt(at) <= 2) {
            ++at;
        }
        appendNumber(packed, at - from - 1, 1);
        packed.insert(packed.end(), row.begin() + static_cast<std::ptrdiff_t>(from),
                      row.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return packed;
}

void appendNumber(Bytes& bytes, std::uint64_t value, int count)
{
    bytes.resize(bytes.size() + static_cast<std::size_t>(count));
    putNumber(bytes, bytes.size() - static_cast<std::size_t>(count), value, count);
}

void putNumber(Bytes& bytes, std::size_t offset, std::uint64_t value, int count)
{
    for (int i = 0; i < count; ++i) {
        bytes[offset + static_cast<std::size_t>(i)] =
            static_cast<std::uint8_t>(value >> (8 * (count - 1 - i)));
    }
}

QString TestFolder::write(const QString& name, const Bytes& bytes) const
{
    QFile file(path(name));
    const bool opened = file.open(QIODevice::WriteOnly);
    const auto size = static_cast<qint64>(bytes.size());
    if (!opened || file.write(reinterpret_cast<const char*>(bytes.data()), size) != size) {
        qFatal("The test's own file cannot be written.");
    }
    return path(name);
}

QImage decoded(const QString& path)
{
    const CancelFlag never(false);
    const auto source = PictureSource::open(path, never);
    return source ? source->decode(QRect(QPoint(0, 0), source->size()), source->size(), never)
                  : QImage();
}

QImage decoded(const Bytes& document)
{
    const TestFolder folder;
    return decoded(folder.write("document.psd", document));
}

QImage decoded(const TestDocument& document)
{
    return decoded(document.build());
}

QString writeHugeDocument(const TestFolder& folder)
{
    Bytes head = TestDocument().planes(0).build();
    putNumber(head, 14, 30000, 4);
    putNumber(head, 18, 30000, 4);
    const QString path = folder.write("huge.psd", head);
    QFile file(path);
    return file.resize(static_cast<qint64>(head.size()) + 3LL * 30000 * 30000) ? path : QString();
}

std::uint32_t nextRandom(std::uint32_t& state)
{
    state = state * 1664525U + 1013904223U;
    return state >> 8U;
}

} // namespace talvek::testing
