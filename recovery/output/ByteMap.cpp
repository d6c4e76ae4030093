#include "recovery/output/ByteMap.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace talvek::recovery::output {

namespace {

constexpr std::int64_t kColumns = 96;
constexpr std::int64_t kLines = 8;
constexpr std::int64_t kCell = 10;
constexpr std::size_t kMeanings = 8;

/// Gathers the ranges that the document's parts name.
class PartCollector
{
public:
    void add(const ByteRange& bytes, Meaning meaning, State state)
    {
        if (bytes.source == 0 && bytes.offset >= 0 && bytes.length > 0) {
            m_regions.push_back({bytes, meaning, state});
        }
    }
    void add(const RecoveredDocument& document);
    std::vector<Region>& regions() { return m_regions; }

private:
    void add(const Layer& layer);

    std::vector<Region> m_regions;
};

void PartCollector::add(const Layer& layer)
{
    add(layer.record, Meaning::LayerRecord, State::Whole);
    for (const Channel& channel : layer.channels) {
        add(channel.plane.bytes, Meaning::Plane, channel.plane.state);
    }
}

void PartCollector::add(const RecoveredDocument& document)
{
    add(document.facts.header, Meaning::Header, State::Whole);
    add(document.facts.colorData, Meaning::Header, State::Whole);
    for (const Resource& resource : document.resources) {
        add(resource.whole, Meaning::Resource, State::Whole);
    }
    for (const Layer& layer : document.layers) {
        add(layer);
    }
    add(document.globalMask, Meaning::TaggedBlock, State::Whole);
    for (const TaggedBlock& block : document.blocks) {
        add(block.whole, Meaning::TaggedBlock, State::Whole);
    }
    add(document.composite.bytes, Meaning::Composite, document.composite.state);
}

/// Adds a region that begins where the last one ends; short gaps are padding and lengths.
void addGap(std::vector<Region>& filled, std::int64_t to)
{
    constexpr std::int64_t kPadding = 64;
    const std::int64_t from = filled.empty() ? 0 : filled.back().bytes.end();
    if (from >= to) {
        return;
    }
    if (to - from <= kPadding && !filled.empty()) {
        filled.back().bytes.length += to - from;
    } else {
        filled.push_back({{from, to - from, 0}, Meaning::Unknown, State::Lost});
    }
}

/// What a cell shows: of the meanings in it the one with the most bytes, and the worst state.
struct CellSum
{
    std::array<std::int64_t, kMeanings> bytes{};
    State worst = State::Whole;
};

std::vector<CellSum> sumCells(const std::vector<Region>& regions, std::int64_t size,
                              std::int64_t count)
{
    std::vector<CellSum> cells(static_cast<std::size_t>(count));
    const auto startOf = [&](std::int64_t cell) {
        return static_cast<std::int64_t>(static_cast<long double>(size) *
                                         static_cast<long double>(cell) /
                                         static_cast<long double>(count));
    };
    std::int64_t cell = 0;
    for (const Region& region : regions) {
        while (cell + 1 < count && startOf(cell + 1) <= region.bytes.offset) {
            ++cell;
        }
        for (std::int64_t i = cell; i < count && startOf(i) < region.bytes.end(); ++i) {
            const std::int64_t from = std::max(startOf(i), region.bytes.offset);
            const std::int64_t to = std::min(startOf(i + 1), region.bytes.end());
            CellSum& sum = cells[static_cast<std::size_t>(i)];
            sum.bytes.at(static_cast<std::size_t>(region.meaning)) +=
                std::max<std::int64_t>(0, to - from);
            if (region.meaning != Meaning::Unknown && region.meaning != Meaning::Zeros) {
                sum.worst = std::max(sum.worst, region.state);
            }
        }
    }
    return cells;
}

std::size_t mostOf(const CellSum& cell)
{
    return static_cast<std::size_t>(std::max_element(cell.bytes.begin(), cell.bytes.end()) -
                                    cell.bytes.begin());
}

std::string drawRun(std::int64_t from, std::int64_t to, std::int64_t line, const std::string& kind)
{
    return "<rect class=\"" + kind + "\" x=\"" + std::to_string(from * kCell) + "\" y=\"" +
           std::to_string(line * (kCell + 4)) + "\" width=\"" +
           std::to_string((to - from) * kCell) + "\" height=\"" + std::to_string(kCell) + "\"/>";
}

/// Equal neighbours become one rectangle.
std::string drawLine(const std::vector<CellSum>& cells, std::int64_t line, std::int64_t columns)
{
    const auto kindOf = [&](std::int64_t column) {
        const CellSum& cell = cells[static_cast<std::size_t>(line * columns + column)];
        return std::tuple(mostOf(cell), cell.worst);
    };
    std::string svg;
    for (std::int64_t from = 0; from < columns;) {
        std::int64_t to = from + 1;
        while (to < columns && kindOf(to) == kindOf(from)) {
            ++to;
        }
        const auto [meaning, worst] = kindOf(from);
        svg += drawRun(from, to, line, "m" + std::to_string(meaning));
        if (worst == State::Partial || worst == State::Lost) {
            svg += drawRun(from, to, line, worst == State::Partial ? "bad" : "gone");
        }
        from = to;
    }
    return svg;
}

} // namespace

std::vector<Region> bytesByMeaning(const RecoveredDocument& document)
{
    PartCollector parts;
    parts.add(document);
    std::vector<Region> regions = document.regions.empty() ? parts.regions() : document.regions;
    std::stable_sort(regions.begin(), regions.end(), [](const Region& a, const Region& b) {
        return a.bytes.offset < b.bytes.offset;
    });
    std::vector<Region> filled;
    for (Region region : regions) {
        const std::int64_t reached = filled.empty() ? 0 : filled.back().bytes.end();
        const std::int64_t from = std::max(region.bytes.offset, reached);
        const std::int64_t to = std::min(region.bytes.end(), document.size);
        if (region.bytes.source != 0 || from >= to) {
            continue;
        }
        addGap(filled, from);
        region.bytes = {from, to - from, 0};
        filled.push_back(region);
    }
    addGap(filled, document.size);
    return filled;
}

std::string drawByteMap(const RecoveredDocument& document)
{
    if (document.size <= 0) {
        return {};
    }
    const std::int64_t lines = std::clamp<std::int64_t>(document.size / kColumns, 1, kLines);
    const auto cells = sumCells(bytesByMeaning(document), document.size, lines * kColumns);
    const std::string width = std::to_string(kColumns * kCell);
    const std::string height = std::to_string(lines * (kCell + 4) - 4);
    std::string svg =
        R"(<svg class="map" role="img" aria-labelledby="map-title" viewBox="0 0 )" + width + " " +
        height +
        R"("><title id="map-title">The document's bytes, from its first at the upper left to )"
        R"(its last at the lower right</title><defs><pattern id="stripes" width="5" height="5" )"
        R"~(patternUnits="userSpaceOnUse" patternTransform="rotate(45)">)~"
        R"(<rect class="stripe" width="2.2" height="5"/></pattern></defs>)";
    for (std::int64_t line = 0; line < lines; ++line) {
        svg += drawLine(cells, line, kColumns);
    }
    return svg + "</svg>";
}

std::vector<std::int64_t> bytesOfEachMeaning(const RecoveredDocument& document)
{
    std::vector<std::int64_t> bytes(kMeanings);
    for (const Region& region : bytesByMeaning(document)) {
        bytes.at(static_cast<std::size_t>(region.meaning)) += region.bytes.length;
    }
    return bytes;
}

const char* wordsFor(Meaning meaning)
{
    switch (meaning) {
    case Meaning::Header:
        return "header";
    case Meaning::Resource:
        return "settings and metadata";
    case Meaning::LayerRecord:
        return "layer descriptions";
    case Meaning::Plane:
        return "layer pixels";
    case Meaning::TaggedBlock:
        return "document data";
    case Meaning::Composite:
        return "merged picture";
    case Meaning::Zeros:
        return "zeros";
    case Meaning::Unknown:
        break;
    }
    return "not understood";
}

} // namespace talvek::recovery::output
