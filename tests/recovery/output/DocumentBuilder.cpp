#include "tests/recovery/output/DocumentBuilder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace talvek::recovery::output {

void Chance::damage(std::vector<std::uint8_t>& bytes, std::int32_t count)
{
    for (std::int32_t i = 0; i < count && !bytes.empty(); ++i) {
        bytes[static_cast<std::size_t>(below(static_cast<std::int32_t>(bytes.size())))] = byte();
    }
}

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "talvek-out-XXXXXX").string();
    m_path = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

DocumentBuilder::DocumentBuilder(const TemporaryFolder& folder)
{
    m_document.sources = {folder.file("source.bin")};
    m_document.facts.width = 4;
    m_document.facts.height = 3;
    m_document.facts.channels = 3;
    m_bytes.assign(64, 0x55);
}

DocumentBuilder& DocumentBuilder::size(int width, int height)
{
    m_document.facts.width = width;
    m_document.facts.height = height;
    return *this;
}

DocumentBuilder& DocumentBuilder::mode(ColorMode mode, int channels, int depth)
{
    m_document.facts.mode = mode;
    m_document.facts.channels = channels;
    m_document.facts.depth = depth;
    return *this;
}

DocumentBuilder& DocumentBuilder::layer(const std::string& name, Rectangle bounds)
{
    Layer layer;
    layer.name = name;
    layer.bounds = bounds;
    layer.state = State::Whole;
    m_document.layers.push_back(layer);
    return *this;
}

ByteRange DocumentBuilder::store(std::span<const std::uint8_t> bytes)
{
    const ByteRange range{static_cast<std::int64_t>(m_bytes.size()),
                          static_cast<std::int64_t>(bytes.size()), 0};
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return range;
}

ByteRange DocumentBuilder::store(std::string_view text)
{
    return store({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

Plane DocumentBuilder::plane(Rectangle bounds, const std::vector<std::uint8_t>& samples)
{
    Plane plane;
    plane.state = State::Whole;
    plane.depth = static_cast<std::uint16_t>(m_document.facts.depth);
    plane.rows = static_cast<std::int32_t>(bounds.rows());
    plane.columns = static_cast<std::int32_t>(bounds.columns());
    plane.rowsRecovered = plane.rows;
    plane.bytes = store(samples);
    plane.runs = {{0, plane.rows, plane.bytes.offset, -1}};
    return plane;
}

DocumentBuilder& DocumentBuilder::channel(int id, const std::vector<std::uint8_t>& samples)
{
    Layer& layer = m_document.layers.back();
    return mask(id, layer.bounds, samples);
}

DocumentBuilder& DocumentBuilder::mask(int id, Rectangle bounds,
                                       const std::vector<std::uint8_t>& samples)
{
    auto& channels = m_document.layers.back().channels;
    channels.push_back({static_cast<std::int16_t>(id), bounds, plane(bounds, samples)});
    m_last = &channels.back().plane;
    return *this;
}

DocumentBuilder& DocumentBuilder::composite(const std::vector<std::vector<std::uint8_t>>& planes)
{
    const Rectangle canvas{0, 0, m_document.facts.height, m_document.facts.width};
    Composite& composite = m_document.composite;
    composite.state = State::Whole;
    for (const auto& samples : planes) {
        const auto id = static_cast<std::int16_t>(composite.channels.size());
        composite.channels.push_back({id, canvas, plane(canvas, samples)});
    }
    m_last = &composite.channels.back().plane;
    return *this;
}

DocumentBuilder& DocumentBuilder::embedded(const std::string& name, const std::string& contents)
{
    EmbeddedFile file;
    file.name = name;
    file.data = store(contents);
    file.state = State::Unproved;
    m_document.embedded.push_back(file);
    return *this;
}

DocumentBuilder& DocumentBuilder::loseRows(int from, int to)
{
    const std::int64_t offset = m_last->runs.at(0).offset;
    m_last->runs.clear();
    if (from > 0) {
        m_last->runs.push_back({0, from, offset, -1});
    }
    if (to < m_last->rows) {
        m_last->runs.push_back({to, m_last->rows - to, offset + to * m_last->rowBytes(), -1});
    }
    m_last->rowsRecovered = m_last->rows - (to - from);
    m_last->state = m_last->rowsRecovered > 0 ? State::Partial : State::Lost;
    return *this;
}

RecoveredDocument DocumentBuilder::build()
{
    m_document.size = static_cast<std::int64_t>(m_bytes.size());
    writeFile(m_document.sources[0],
              {reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size()});
    return m_document;
}

std::vector<std::uint8_t> contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string textOf(const std::string& path)
{
    const auto bytes = contentsOf(path);
    return {bytes.begin(), bytes.end()};
}

void writeFile(const std::string& path, std::string_view contents)
{
    std::ofstream file(path, std::ios::binary);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

bool hasImageMagick()
{
    return std::system("convert -version > /dev/null 2>&1") == 0;
}

std::vector<std::uint8_t> pixelsOf(const std::string& png, const std::string& format, int depth,
                                   const TemporaryFolder& folder)
{
    const std::string raw = folder.file("pixels.raw");
    const std::string command = "convert '" + png + "' -endian MSB -depth " +
                                std::to_string(depth) + " " + format + ":'" + raw +
                                "' 2> /dev/null";
    return std::system(command.c_str()) == 0 ? contentsOf(raw) : std::vector<std::uint8_t>{};
}

} // namespace talvek::recovery::output
