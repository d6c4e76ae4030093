#include "recovery/StrayPlanes.h"

#include <algorithm>
#include <string>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::uint8_t kIrrelevantPixels = 24;

Plane planeOf(const CarvedPlane& carved, const DocumentFacts& facts)
{
    const int entryBytes = facts.version == 2 ? 4 : 2;
    const bool packed = carved.check.compression == Compression::PackBits;
    const std::int64_t table = packed ? carved.shape.rows * entryBytes : 0;
    Plane plane;
    plane.state = carved.check.proof == Proof::Length || carved.shapeIsGuessed ? State::Unproved
                                                                               : State::Whole;
    plane.proof = carved.check.proof;
    plane.compression = carved.check.compression;
    plane.tableEntryBytes = static_cast<std::uint8_t>(entryBytes);
    plane.depth = static_cast<std::uint16_t>(facts.depth);
    plane.rows = static_cast<std::int32_t>(carved.shape.rows);
    plane.columns = static_cast<std::int32_t>(carved.shape.rowBytes * 8 / facts.depth);
    plane.rowsRecovered = plane.rows;
    plane.bytes = {carved.offset, carved.check.length, 0};
    plane.runs = {{0, plane.rows, carved.offset + kCodeBytes + table,
                   packed ? carved.offset + kCodeBytes : -1}};
    return plane;
}

class Grouping
{
public:
    Grouping(const std::vector<CarvedPlane>& planes, const DocumentFacts& facts, int colors)
        : m_planes(planes),
          m_facts(facts),
          m_colors(static_cast<std::size_t>(colors > 0 ? colors : 3))
    {}

    std::vector<Layer> run()
    {
        std::size_t at = 0;
        while (at < m_planes.size()) {
            const std::size_t end = endOfRun(at);
            if (!m_planes[at].shape.isEmpty()) {
                split(at, end);
            }
            at = end;
        }
        return std::move(m_layers);
    }

private:
    /// Behind the planes of one size that follow each other from `first` on.
    [[nodiscard]] std::size_t endOfRun(std::size_t first) const
    {
        std::size_t end = first + 1;
        while (end < m_planes.size() && m_planes[end].shape == m_planes[first].shape &&
               m_planes[end].followsPrevious) {
            ++end;
        }
        return end;
    }

    void split(std::size_t at, std::size_t end)
    {
        const std::size_t count = end - at;
        const bool background = count % (m_colors + 1) != 0 && count % m_colors == 0;
        const std::size_t each = background ? m_colors : m_colors + 1;
        if (count == 1 && m_planes[at].followsPrevious && !m_layers.empty()) {
            addMask(m_planes[at]);
            return;
        }
        while (at < end) {
            const std::size_t behind = std::min(end, at + each);
            if (behind - at == 1 && each > 1 && count > each) {
                addMask(m_planes[at]); // as large as the layer that it follows
                return;
            }
            addLayer(at, behind, !background && behind - at == each);
            at = behind;
        }
    }

    void addLayer(std::size_t at, std::size_t end, bool hasAlpha)
    {
        Layer layer;
        layer.name = "Recovered " + std::to_string(m_layers.size() + 1);
        layer.hasRecord = false;
        layer.state = State::Partial;
        layer.note = "Found without its record: name, place and order are not known.";
        std::int16_t id = hasAlpha ? -1 : 0;
        for (; at < end; ++at) {
            Channel channel;
            channel.id = id++;
            channel.plane = planeOf(m_planes[at], m_facts);
            channel.bounds = {0, 0, channel.plane.rows, channel.plane.columns};
            layer.bounds = channel.bounds;
            layer.channels.push_back(std::move(channel));
        }
        m_layers.push_back(std::move(layer));
    }

    void addMask(const CarvedPlane& carved)
    {
        Layer& layer = m_layers.back();
        const auto id = static_cast<std::int16_t>(layer.mask ? -3 : -2);
        if (layer.realMask) {
            return addLayer(static_cast<std::size_t>(&carved - m_planes.data()),
                            static_cast<std::size_t>(&carved - m_planes.data()) + 1, false);
        }
        Channel channel;
        channel.id = id;
        channel.plane = planeOf(carved, m_facts);
        channel.bounds = {0, 0, channel.plane.rows, channel.plane.columns};
        (id == -2 ? layer.mask : layer.realMask) = Mask{channel.bounds, 255, 0};
        layer.channels.push_back(std::move(channel));
    }

    const std::vector<CarvedPlane>& m_planes;
    const DocumentFacts& m_facts;
    std::size_t m_colors;
    std::vector<Layer> m_layers;
};

Layer bracket(Group kind, const char* name)
{
    Layer layer;
    layer.name = name;
    layer.group = kind;
    layer.blend = kind == Group::End ? "norm" : "pass";
    layer.flags = kIrrelevantPixels;
    layer.state = State::Whole;
    layer.hasRecord = false;
    return layer;
}

} // namespace

std::vector<Layer> layersOfStrayPlanes(const std::vector<CarvedPlane>& planes,
                                       const DocumentFacts& facts, int colors)
{
    std::vector<Layer> layers = Grouping(planes, facts, colors).run();
    if (!layers.empty()) {
        layers.insert(layers.begin(), bracket(Group::End, "</Layer group>"));
        layers.push_back(bracket(Group::Open, "Found without a record"));
    }
    return layers;
}

void completeChannels(std::vector<Layer>& layers, const DocumentFacts& facts, int colors)
{
    for (Layer& layer : layers) {
        for (int id = 0; id < colors && !layer.hasRecord; ++id) {
            const auto isThis = [id](const Channel& channel) { return channel.id == id; };
            if (std::any_of(layer.channels.begin(), layer.channels.end(), isThis)) {
                continue;
            }
            Channel channel;
            channel.id = static_cast<std::int16_t>(id);
            channel.bounds = layer.bounds;
            channel.plane.depth = static_cast<std::uint16_t>(facts.depth);
            channel.plane.tableEntryBytes = facts.version == 2 ? 4 : 2;
            channel.plane.rows = static_cast<std::int32_t>(layer.bounds.rows());
            channel.plane.columns = static_cast<std::int32_t>(layer.bounds.columns());
            channel.plane.state = layer.bounds.isEmpty() ? State::Whole : State::Lost;
            channel.plane.proof = layer.bounds.isEmpty() ? Proof::Empty : Proof::None;
            layer.channels.push_back(channel);
        }
    }
}

} // namespace talvek::recovery
