#include "bench/recovery/LargeDocument.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <random>
#include <vector>

namespace talvek::bench {

namespace {

constexpr std::array<int, 4> kChannels = {-1, 0, 1, 2};
constexpr int kCompositePlanes = 3;
constexpr std::size_t kShortestLiteral = 4;
constexpr std::size_t kLongestLiteral = 64;
constexpr std::size_t kLongestRun = 12;

class Writer
{
public:
    Writer(const std::string& path, const LargeDocument& document)
        : m_document(document), m_file(path, std::ios::binary | std::ios::trunc)
    {
        const std::int64_t planes =
            document.layers * static_cast<std::int64_t>(kChannels.size()) + kCompositePlanes;
        const double bytes = static_cast<double>(document.mebibytes << 20) /
                             static_cast<double>(planes) * kPixelsOfAByte;
        m_side = static_cast<std::size_t>(std::clamp(std::sqrt(bytes), 16.0, 30000.0));
    }

    std::int64_t write()
    {
        writeHead();
        const std::int64_t section = openLength();
        const std::int64_t info = openLength();
        number(static_cast<std::uint64_t>(m_document.layers), 2);
        writeRecords();
        writePlanes();
        number(0, static_cast<int>((at() - info) % 2));
        closeLength(info);
        number(0, 4);
        closeLength(section);
        writeComposite();
        const std::int64_t size = at();
        m_file.close();
        return m_file ? size : 0;
    }

private:
    /// What the noise and the runs between come to: as measured.
    static constexpr double kPixelsOfAByte = 1.1;

    std::int64_t at() { return m_file.tellp(); }

    void number(std::uint64_t value, int bytes)
    {
        for (int byte = bytes - 1; byte >= 0; --byte) {
            m_file.put(static_cast<char>(value >> (8 * static_cast<unsigned>(byte))));
        }
    }

    /// @return where what it counts begins
    std::int64_t openLength()
    {
        number(0, 4);
        return at();
    }

    void setLength(std::int64_t field, std::int64_t length)
    {
        const std::int64_t end = at();
        m_file.seekp(field);
        number(static_cast<std::uint64_t>(length), 4);
        m_file.seekp(end);
    }

    void closeLength(std::int64_t behind) { setLength(behind - 4, at() - behind); }

    void writeHead()
    {
        m_file << "8BPS";
        number(1, 2);
        number(0, 6);
        number(kCompositePlanes, 2);
        number(m_side, 4);
        number(m_side, 4);
        number(8, 2);
        number(3, 2); // RGB
        number(0, 4); // colour-mode data
        number(0, 4); // resources
    }

    void writeRecords()
    {
        for (int layer = 0; layer < m_document.layers; ++layer) {
            number(0, 8);
            number(m_side, 4);
            number(m_side, 4);
            number(kChannels.size(), 2);
            m_channelLists.push_back(at());
            for (const int id : kChannels) {
                number(static_cast<std::uint64_t>(id), 2);
                number(0, 4);
            }
            m_file << "8BIMnorm";
            number(0xFF000000, 4); // opaque, not clipped, shown
            number(4 + 4 + 12, 4);
            number(0, 8); // no mask, no blending ranges
            m_file << "\x0BLayer " << std::to_string(10000 + layer);
        }
    }

    void writePlanes()
    {
        for (const std::int64_t list : m_channelLists) {
            for (std::size_t channel = 0; channel < kChannels.size(); ++channel) {
                const std::int64_t start = at();
                number(1, 2);
                pack();
                m_file.write(m_table.data(), static_cast<std::streamsize>(m_table.size()));
                m_file.write(m_packed.data(), static_cast<std::streamsize>(m_packed.size()));
                setLength(list + static_cast<std::int64_t>(channel) * 6 + 2, at() - start);
            }
        }
    }

    /// All of its tables stand in front of all of its rows.
    void writeComposite()
    {
        pack();
        number(1, 2);
        for (const std::string* part : {&m_table, &m_packed}) {
            for (int plane = 0; plane < kCompositePlanes; ++plane) {
                m_file.write(part->data(), static_cast<std::streamsize>(part->size()));
            }
        }
    }

    /// The next plane.
    void pack()
    {
        m_table.clear();
        m_packed.clear();
        for (std::size_t row = 0; row < m_side; ++row) {
            const std::size_t start = m_packed.size();
            packRow();
            const std::size_t bytes = m_packed.size() - start;
            m_table += static_cast<char>(bytes >> 8U);
            m_table += static_cast<char>(bytes);
        }
    }

    std::size_t between(std::size_t least, std::size_t most)
    {
        return least + m_random() % (most - least + 1);
    }

    void packRow()
    {
        for (std::size_t left = m_side; left > 0;) {
            const std::size_t literal =
                std::min<std::size_t>(left, between(kShortestLiteral, kLongestLiteral));
            m_packed += static_cast<char>(literal - 1);
            for (std::size_t i = 0; i < literal; ++i) {
                m_packed += static_cast<char>(m_random());
            }
            left -= literal;
            const std::size_t run = std::min<std::size_t>(left, between(2, kLongestRun));
            if (run > 1) {
                m_packed += static_cast<char>(257 - run);
                m_packed += static_cast<char>(m_random());
                left -= run;
            }
        }
    }

    const LargeDocument& m_document;
    std::ofstream m_file;
    // NOLINTNEXTLINE(cert-msc*-c,cert-msc*-cpp): the same document each time
    std::mt19937 m_random{1};
    std::size_t m_side = 0;
    std::vector<std::int64_t> m_channelLists;
    std::string m_table;
    std::string m_packed;
};

} // namespace

std::int64_t writeLargeDocument(const std::string& path, const LargeDocument& document)
{
    return Writer(path, document).write();
}

} // namespace talvek::bench
