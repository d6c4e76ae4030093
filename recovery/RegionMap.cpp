#include "recovery/RegionMap.h"

#include "recovery/Flattening.h"

#include <algorithm>
#include <string>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kMostRead = std::int64_t{64} << 20;

class Map
{
public:
    Map(const RecoveredDocument& document, SourceBytes& source)
        : m_document(document), m_source(source)
    {}

    std::vector<Region> run()
    {
        collect();
        std::stable_sort(m_claims.begin(), m_claims.end(), [](const Region& a, const Region& b) {
            return a.bytes.offset < b.bytes.offset;
        });
        std::int64_t at = 0;
        for (Region claim : m_claims) {
            const std::int64_t end = std::min(claim.bytes.end(), m_document.size);
            const std::int64_t start = std::max(claim.bytes.offset, at);
            if (end <= start) {
                continue;
            }
            addUnclaimed(at, start);
            claim.bytes = {start, end - start, 0};
            m_regions.push_back(claim);
            at = end;
        }
        addUnclaimed(at, m_document.size);
        return std::move(m_regions);
    }

private:
    void claim(const ByteRange& bytes, Meaning meaning, State state)
    {
        if (bytes.length > 0 && bytes.source == 0) {
            m_claims.push_back({bytes, meaning, state});
        }
    }

    void collect()
    {
        claim(m_document.facts.header, Meaning::Header, State::Whole);
        claim(m_document.facts.colorData, Meaning::Header, State::Whole);
        for (const Resource& resource : m_document.resources) {
            claim(resource.whole, Meaning::Resource, State::Whole);
        }
        for (const Layer& layer : m_document.layers) {
            const bool sound = layer.extra.length > 0;
            claim(layer.record, Meaning::LayerRecord, sound ? State::Whole : State::Partial);
            for (const Channel& channel : layer.channels) {
                claim(channel.plane.bytes, Meaning::Plane, channel.plane.state);
            }
        }
        for (const TaggedBlock& block : m_document.blocks) {
            claim(block.whole, Meaning::TaggedBlock, State::Whole);
        }
        claim(m_document.composite.bytes, Meaning::Composite, m_document.composite.state);
    }

    void addUnclaimed(std::int64_t from, std::int64_t to)
    {
        if (from < to) {
            const bool zeros = isZeros(from, to);
            m_regions.push_back(
                {{from, to - from, 0}, zeros ? Meaning::Zeros : Meaning::Unknown, State::Lost});
        }
    }

    bool isZeros(std::int64_t from, std::int64_t to)
    {
        while (from < to && m_read < kMostRead) {
            const auto view = m_source.at(from, static_cast<std::size_t>(std::min<std::int64_t>(
                                                    to - from, SourceBytes::kMostView)));
            const bool zeros =
                std::all_of(view.begin(), view.end(), [](std::uint8_t byte) { return byte == 0; });
            m_read += static_cast<std::int64_t>(view.size());
            if (view.empty() || !zeros) {
                return false;
            }
            from += static_cast<std::int64_t>(view.size());
        }
        return from >= to;
    }

    const RecoveredDocument& m_document;
    SourceBytes& m_source;
    std::int64_t m_read = 0;
    std::vector<Region> m_claims;
    std::vector<Region> m_regions;
};

std::string counted(std::int64_t count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string flattened(const RecoveredDocument& document)
{
    if (!document.composite.flattened) {
        return "";
    }
    return isAllInPixels(document) ? "; it was made anew from the layers"
                                   : "; it was made anew from the layers, without effects, "
                                     "adjustments, vector masks and some blend modes";
}

void addEmbedded(const RecoveredDocument& document, std::vector<std::string>& missing)
{
    constexpr std::size_t kMostNamed = 5;
    std::vector<std::string> damaged;
    for (const EmbeddedFile& file : document.embedded) {
        if (file.state >= State::Partial) {
            damaged.push_back(file.name);
        }
    }
    if (damaged.empty()) {
        return;
    }
    std::string names;
    for (std::size_t i = 0; i < std::min(damaged.size(), kMostNamed); ++i) {
        names += (i == 0 ? "" : ", ") + damaged[i];
    }
    missing.push_back(counted(static_cast<std::int64_t>(damaged.size()), "embedded file is",
                              "embedded files are") +
                      " damaged: " + names + (damaged.size() > kMostNamed ? " and others." : "."));
}

} // namespace

std::vector<Region> mapRegions(const RecoveredDocument& document, SourceBytes& source)
{
    return Map(document, source).run();
}

std::vector<std::string> missingIn(const RecoveredDocument& document)
{
    std::int64_t found = 0;
    std::int64_t brackets = 0;
    for (const Layer& layer : document.layers) {
        found += layer.hasRecord && !layer.inferred ? 1 : 0;
        brackets += layer.inferred ? 1 : 0;
    }
    std::vector<std::string> missing;
    if (document.facts.origin == HeaderOrigin::Rebuilt) {
        missing.emplace_back("The header is lost or damaged; it was worked out from the rest.");
    } else if (document.facts.origin == HeaderOrigin::Unknown) {
        missing.emplace_back("The header is lost, and nothing tells the size of the picture.");
    }
    if (document.facts.origin == HeaderOrigin::Header && !document.resourcesAreWhole) {
        missing.emplace_back(
            "Some of the image resources (metadata, profile, guides and the like) are damaged.");
    }
    if (document.layersMayBeLost && document.composite.state != State::Lost) {
        missing.emplace_back(
            "Whether there were layers cannot be told: what stands where they would "
            "be is damaged or gone.");
    }
    if (document.statedLayers && *document.statedLayers > found) {
        missing.push_back("Of " + std::to_string(*document.statedLayers) +
                          " layers and ends of groups " +
                          std::to_string(*document.statedLayers - found) +
                          " left no record that could be found.");
    }
    if (document.recordsWithoutPlanes > 0) {
        missing.push_back(counted(document.recordsWithoutPlanes, "layer has", "layers have") +
                          " lost all pixels.");
    }
    if (document.planesWithoutRecord > 0) {
        missing.push_back(counted(document.planesWithoutRecord, "plane was", "planes were") +
                          " found without a record.");
    }
    if (brackets > 0) {
        missing.emplace_back("Ends of groups were missing and have been added.");
    }
    if (document.composite.channels.empty()) {
        missing.emplace_back("The merged picture is lost" + flattened(document) + ".");
    }
    addEmbedded(document, missing);
    return missing;
}

void noteMissing(RecoveredDocument& document)
{
    noteMissingAgain(document, {});
}

void noteMissingAgain(RecoveredDocument& document, const std::vector<std::string>& before)
{
    document.recordsWithoutPlanes = 0;
    for (const Layer& layer : document.layers) {
        document.recordsWithoutPlanes += layer.hasRecord && layer.state == State::Lost ? 1 : 0;
    }
    std::erase_if(document.missing, [&before](const std::string& sentence) {
        return std::find(before.begin(), before.end(), sentence) != before.end();
    });
    const auto now = missingIn(document);
    document.missing.insert(document.missing.end(), now.begin(), now.end());
}

} // namespace talvek::recovery
