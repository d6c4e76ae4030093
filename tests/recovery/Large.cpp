#include "tests/recovery/Large.h"

namespace talvek::test {

namespace {

class Conversion
{
public:
    explicit Conversion(const Document& small) : m_small(small) { m_large.records = small.records; }

    Document run()
    {
        copy(0, m_small.layerAndMask.start);
        m_large.bytes[5] = 2;
        m_large.imageResources = m_small.imageResources;
        m_large.layerAndMask = m_small.layerAndMask;
        const std::size_t section = openLength();
        const std::size_t info = openLength();
        m_large.layerCount = at();
        copy(m_small.layerCount, m_small.layerCount + 2);
        for (std::size_t i = 0; i < m_small.records.size(); ++i) {
            addRecord(m_small.records[i], m_large.records[i]);
        }
        for (std::size_t i = 0; i < m_small.records.size(); ++i) {
            addPlanes(m_small.records[i], m_large.records[i]);
        }
        m_large.bytes.resize((m_large.bytes.size() + 3) / 4 * 4);
        closeLength(info);
        appendU32(m_large.bytes, 0);
        closeLength(section);
        m_large.composite = at();
        const std::uint32_t rows = number(12, 2) * number(14, 4);
        addPlane(m_small.composite, m_small.size() - m_small.composite, rows);
        return m_large;
    }

private:
    [[nodiscard]] std::int64_t at() const { return m_large.size(); }

    [[nodiscard]] std::uint32_t number(std::int64_t offset, int count) const
    {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) {
            value = value << 8U | m_small.bytes.at(static_cast<std::size_t>(offset + i));
        }
        return value;
    }

    void copy(std::int64_t from, std::int64_t to)
    {
        m_large.bytes.insert(m_large.bytes.end(), m_small.bytes.begin() + from,
                             m_small.bytes.begin() + to);
    }

    std::size_t openLength()
    {
        m_large.bytes.resize(m_large.bytes.size() + 8);
        return m_large.bytes.size();
    }

    void closeLength(std::size_t behind)
    {
        setLength(behind - 8, static_cast<std::uint32_t>(m_large.bytes.size() - behind));
    }

    void setLength(std::size_t at, std::uint32_t length)
    {
        Bytes bytes;
        appendU32(bytes, 0);
        appendU32(bytes, length);
        std::copy(bytes.begin(), bytes.end(),
                  m_large.bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }

    void addRecord(const Document::Record& small, Document::Record& large)
    {
        large.start = at();
        copy(small.start, small.start + 18);
        for (std::size_t c = 0; c < small.channels.size(); ++c) {
            large.channels[c].entry = at();
            copy(small.channels[c].entry, small.channels[c].entry + 2);
            m_large.bytes.resize(m_large.bytes.size() + 8);
        }
        large.signature = at();
        large.extraLength = large.signature + 12;
        copy(small.signature, small.end);
        large.end = at();
    }

    void addPlanes(const Document::Record& small, Document::Record& large)
    {
        const std::uint32_t rows = number(small.start + 8, 4) - number(small.start, 4);
        for (std::size_t c = 0; c < small.channels.size(); ++c) {
            Document::Channel& channel = large.channels[c];
            channel.data = at();
            addPlane(small.channels[c].data, small.channels[c].length, rows);
            channel.length = at() - channel.data;
            setLength(static_cast<std::size_t>(channel.entry + 2),
                      static_cast<std::uint32_t>(channel.length));
        }
    }

    void addPlane(std::int64_t data, std::int64_t length, std::uint32_t rows)
    {
        copy(data, data + 2);
        std::int64_t from = data + 2;
        if (number(data, 2) == 1) {
            for (std::uint32_t row = 0; row < rows; ++row, from += 2) {
                appendU32(m_large.bytes, number(from, 2));
            }
        }
        copy(from, data + length);
    }

    const Document& m_small;
    Document m_large;
};

} // namespace

Document asLarge(const Document& small)
{
    return Conversion(small).run();
}

} // namespace talvek::test
