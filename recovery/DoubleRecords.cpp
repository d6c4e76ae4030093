#include "recovery/DoubleRecords.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

namespace talvek::recovery {

namespace {

using Indices = std::vector<std::size_t>;

bool haveSameLengths(const LayerRecord& one, const LayerRecord& other)
{
    return std::equal(one.entries.begin(), one.entries.end(), other.entries.begin(),
                      other.entries.end(), [](const ChannelEntry& a, const ChannelEntry& b) {
                          return a.id == b.id && a.length == b.length;
                      });
}

bool isComplete(const Layer& layer)
{
    return layer.hasPixels() && layer.state <= State::Unproved;
}

/// Both have all of their planes, and not the same ones.
bool haveOwnPlanes(const Layer& one, const Layer& other)
{
    return isComplete(one) && isComplete(other) &&
           !std::equal(one.channels.begin(), one.channels.end(), other.channels.begin(),
                       other.channels.end(), [](const Channel& a, const Channel& b) {
                           return a.plane.bytes == b.plane.bytes;
                       });
}

class Doubles
{
public:
    Doubles(std::vector<LayerRecord>& records, std::vector<Layer>& layers)
        : m_records(records), m_layers(layers), m_isDouble(layers.size())
    {}

    void run()
    {
        std::map<std::uint32_t, Indices> byId;
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            if (m_layers[i].id) {
                byId[*m_layers[i].id].push_back(i);
            }
        }
        // Groups and other layers without pixels look alike in undamaged documents as well.
        bool anyPixels = false;
        for (const bool withPixels : {true, false}) {
            for (const auto& [id, found] : byId) {
                const bool isWanted = m_layers[found[0]].hasPixels() == withPixels;
                if (found.size() > 1 && isWanted && areOne(found)) {
                    keepBest(found);
                    anyPixels = anyPixels || withPixels;
                }
            }
            if (!anyPixels) {
                return;
            }
        }
        drop();
    }

private:
    [[nodiscard]] bool areOne(const Indices& found) const
    {
        const std::size_t first = found[0];
        return std::all_of(found.begin() + 1, found.end(), [&](std::size_t other) {
            return m_layers[first].name == m_layers[other].name &&
                   m_layers[first].group == m_layers[other].group &&
                   m_layers[first].bounds == m_layers[other].bounds &&
                   haveSameLengths(m_records[first], m_records[other]) &&
                   !haveOwnPlanes(m_layers[first], m_layers[other]);
        });
    }

    /// In the place of the first, where it stands among its neighbours and inside its groups.
    void keepBest(const Indices& found)
    {
        std::size_t best = found[0];
        for (const std::size_t one : found) {
            best = m_layers[one].state < m_layers[best].state ? one : best;
            m_isDouble[one] = one != found[0];
        }
        std::swap(m_layers[found[0]], m_layers[best]);
    }

    void drop()
    {
        std::size_t kept = 0;
        std::size_t keptRecords = 0;
        for (std::size_t i = 0; i < m_layers.size(); ++i) {
            if (m_isDouble[i]) {
                continue;
            }
            if (i < m_records.size()) {
                moveTo(m_records, i, keptRecords++);
            }
            moveTo(m_layers, i, kept++);
        }
        m_records.resize(keptRecords);
        m_layers.resize(kept);
    }

    template <typename Item>
    static void moveTo(std::vector<Item>& items, std::size_t from, std::size_t to)
    {
        if (from != to) {
            items[to] = std::move(items[from]);
        }
    }

    std::vector<LayerRecord>& m_records;
    std::vector<Layer>& m_layers;
    std::vector<bool> m_isDouble; ///< of each layer
};

} // namespace

void dropDoubles(std::vector<LayerRecord>& records, std::vector<Layer>& layers)
{
    Doubles(records, layers).run();
}

} // namespace talvek::recovery
