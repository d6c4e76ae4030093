#include "recovery/LayerBuilder.h"
#include "recovery/output/Reference.h"
#include "recovery/output/Verdict.h"

#include <algorithm>
#include <utility>

namespace talvek::recovery::output {

namespace {

std::string named(const Layer& layer)
{
    return layer.name.empty() ? "a layer without a name" : "\"" + layer.name + "\"";
}

} // namespace

bool Reference::isMatched(std::size_t theirs) const
{
    return std::any_of(m_matches.begin(), m_matches.end(),
                       [&](const Match& match) { return match.theirs == theirs; });
}

/// An id alone proves nothing: programs count them up from the same number in every document.
bool Reference::isMatch(const Layer& ours, const Layer& theirs, int strictness) const
{
    const bool sameId = ours.id && ours.id == theirs.id;
    const bool sameName = ours.name == theirs.name;
    const bool sameBounds = ours.bounds == theirs.bounds;
    if (!ours.hasRecord || ours.group != theirs.group) {
        return false;
    }
    switch (strictness) {
    case 0:
        return sameId && sameName && sameBounds;
    case 1:
        return sameId && (sameName || (sameBounds && !ours.bounds.isEmpty()));
    default:
        return sameName && sameBounds && !(ours.id && theirs.id);
    }
}

void Reference::matchLayers()
{
    constexpr int kStrictnesses = 3;
    std::vector<bool> oursTaken(m_document.layers.size());
    std::vector<bool> theirsTaken(m_older.layers.size());
    for (int strictness = 0; strictness < kStrictnesses; ++strictness) {
        for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
            for (std::size_t k = 0; k < m_older.layers.size() && !oursTaken[i]; ++k) {
                if (!theirsTaken[k] &&
                    isMatch(m_document.layers[i], m_older.layers[k], strictness)) {
                    m_matches.push_back({i, k});
                    oursTaken[i] = theirsTaken[k] = true;
                }
            }
        }
    }
}

/// A plane that was found without a record and is the same as theirs, moved out of its layer.
/// @param donors  layers that gave a plane already; where given, only they are looked at, and there
///                a plane of one value will do
std::optional<Plane> Reference::strayPlane(const Plane& theirs, std::set<std::size_t>& donors,
                                           bool onlyDonors)
{
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        Layer& layer = m_document.layers[i];
        if (layer.hasRecord || layer.isDivider() || (onlyDonors && !donors.contains(i))) {
            continue;
        }
        for (std::size_t k = 0; k < layer.channels.size(); ++k) {
            const Plane& ours = layer.channels[k].plane;
            const Evidence evidence = ours.runs.empty() || theirs.runs.empty()
                                          ? Evidence::Differs
                                          : compare(*m_sources, ours, theirs, m_control);
            if (evidence == Evidence::Agrees || (onlyDonors && evidence == Evidence::Silent)) {
                Plane plane = ours;
                layer.channels.erase(layer.channels.begin() + static_cast<std::ptrdiff_t>(k));
                donors.insert(i);
                return plane;
            }
        }
    }
    return std::nullopt;
}

/// The first layer without a record of which every colour is the same as theirs. Planes of one
/// value are alike by chance; all of a layer's together may tell which layer it is.
std::set<std::size_t> Reference::sameStray(const Layer& theirs)
{
    if (std::none_of(theirs.channels.begin(), theirs.channels.end(),
                     [](const Channel& channel) { return channel.id >= 0; })) {
        return {};
    }
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        const Layer& ours = m_document.layers[i];
        bool isSame = !ours.hasRecord && !ours.isDivider() && !ours.channels.empty();
        for (const Channel& their : theirs.channels) {
            const auto our =
                std::find_if(ours.channels.begin(), ours.channels.end(),
                             [&](const Channel& channel) { return channel.id == their.id; });
            isSame = isSame &&
                     (their.id < -1 || (our != ours.channels.end() && !our->plane.runs.empty() &&
                                        !their.plane.runs.empty() &&
                                        compare(*m_sources, our->plane, their.plane, m_control) !=
                                            Evidence::Differs));
        }
        if (isSame) {
            return {i};
        }
    }
    return {};
}

void Reference::matchByPixels()
{
    const bool hasStrays =
        std::any_of(m_document.layers.begin(), m_document.layers.end(),
                    [](const Layer& layer) { return !layer.hasRecord && !layer.isDivider(); });
    for (std::size_t k = 0; hasStrays && k < m_older.layers.size(); ++k) {
        const Layer& theirs = m_older.layers[k];
        if (theirs.hasRecord && theirs.hasPixels() && !isMatched(k) &&
            !m_control.isStoppedAfterPause()) {
            takeRecord(k);
        }
    }
}

/// Puts name, place and settings of their layer around those of our planes that are the same.
void Reference::takeRecord(std::size_t theirs)
{
    Layer layer = m_older.layers[theirs];
    std::set<std::size_t> donors = sameStray(layer);
    const bool hasWholeLayer = !donors.empty();
    for (const bool onlyDonors : {hasWholeLayer, true}) {
        for (Channel& channel : layer.channels) {
            if (channel.plane.bytes.source == 0) {
                continue;
            }
            auto plane = strayPlane(channel.plane, donors, onlyDonors);
            if (plane) {
                channel.plane = std::move(*plane);
            }
        }
    }
    if (donors.empty()) {
        return;
    }
    for (Channel& channel : layer.channels) {
        if (channel.plane.bytes.source != 0 && !channel.plane.isEmpty()) {
            channel.plane.state = State::Lost;
            channel.plane.runs.clear();
            channel.plane.rowsRecovered = 0;
        }
    }
    if (m_document.facts.version != m_older.facts.version) {
        // Lengths in tagged blocks are wider in large documents.
        layer.extra = {};
        layer.blocks.clear();
    }
    layer.state = stateOfChannels(layer);
    layer.note = "Name, place and settings were taken from \"" + m_name + "\".";
    say("Name, place and settings of " + named(layer));
    m_matches.push_back({m_document.layers.size(), theirs});
    m_document.layers.push_back(std::move(layer));
    m_orderChanged = true;
}

bool Reference::lacksLayers() const
{
    const bool isDamaged =
        m_document.layers.empty() ||
        std::any_of(m_document.layers.begin(), m_document.layers.end(),
                    [](const Layer& layer) { return !layer.hasRecord || layer.inferred; });
    return m_document.statedLayers ? tally(m_document).gone > 0 : isDamaged;
}

/// Which of their missing group brackets have a missing partner.
std::vector<bool> Reference::brackets(const std::vector<bool>& isMissing) const
{
    std::vector<bool> isPair(isMissing.size());
    std::vector<std::size_t> open;
    for (std::size_t k = 0; k < m_older.layers.size(); ++k) {
        const Layer& layer = m_older.layers[k];
        if (layer.group == Group::End) {
            open.push_back(k);
        } else if (layer.isDivider() && !open.empty()) {
            isPair[k] = isPair[open.back()] = isMissing[k] && isMissing[open.back()];
            open.pop_back();
        }
    }
    return isPair;
}

void Reference::takeMissingLayers()
{
    if (!m_lacksLayers || m_document.facts.version != m_older.facts.version) {
        return;
    }
    std::vector<bool> isMissing(m_older.layers.size(), true);
    for (const Match& match : m_matches) {
        isMissing[match.theirs] = false;
    }
    const std::vector<bool> isPair = brackets(isMissing);
    for (std::size_t k = 0; k < m_older.layers.size(); ++k) {
        const Layer& theirs = m_older.layers[k];
        if (!isMissing[k] || !theirs.hasRecord || (theirs.isDivider() && !isPair[k])) {
            continue;
        }
        Layer layer = theirs;
        layer.note = "Taken whole from \"" + m_name + "\"; it may have been changed since.";
        for (Channel& channel : layer.channels) {
            channel.plane.state = std::max(channel.plane.state, State::Unproved);
        }
        layer.state = stateOfChannels(layer);
        if (!layer.isDivider()) {
            say("The layer " + named(layer));
        }
        m_document.layers.push_back(std::move(layer));
        m_matches.push_back({m_document.layers.size() - 1, k});
        m_orderChanged = true;
    }
}

void Reference::takePlanes()
{
    for (const Match& match : m_matches) {
        Layer& ours = m_document.layers[match.ours];
        const bool isDamaged = ours.state == State::Partial || ours.state == State::Lost;
        if (isDamaged && !m_control.isStoppedAfterPause()) {
            takePlanes(ours, m_older.layers[match.theirs]);
        }
    }
}

void Reference::takePlanes(Layer& ours, const Layer& theirs)
{
    const bool tookColors = takeGroup(ours, theirs, false);
    const bool tookMasks = takeGroup(ours, theirs, true);
    if (tookColors || tookMasks) {
        ours.state = stateOfChannels(ours);
        ours.note += std::string(ours.note.empty() ? "" : " ") +
                     "What it had lost was taken from \"" + m_name + "\".";
        say("Pixels of " + named(ours));
    }
}

/// The colours and the transparency of a layer belong together; each mask stands for itself.
bool Reference::takeGroup(Layer& ours, const Layer& theirs, bool masks)
{
    std::vector<std::pair<Channel*, const Channel*>> pairs;
    Evidence proved = Evidence::Silent;
    Evidence damaged = Evidence::Silent;
    for (Channel& our : ours.channels) {
        for (const Channel& their : theirs.channels) {
            if (our.id != their.id || (our.id < -1) != masks) {
                continue;
            }
            const Evidence found = our.bounds == their.bounds
                                       ? compare(*m_sources, our.plane, their.plane, m_control)
                                       : Evidence::Differs;
            Evidence& part = our.plane.state == State::Whole ? proved : damaged;
            part = both(part, found);
            pairs.emplace_back(&our, &their);
        }
    }
    // Beside damage a row may have come out wrong; where planes that are proved agree, that is
    // likelier than a change of the other channels alone.
    const Evidence evidence = proved == Evidence::Agrees ? proved : both(proved, damaged);
    bool took = false;
    for (const auto& [our, their] : pairs) {
        const bool hasMore = their->plane.rowsRecovered > our->plane.rowsRecovered ||
                             their->plane.state < our->plane.state;
        const bool isBetter =
            evidence != Evidence::Differs && our->plane.state >= State::Partial && hasMore;
        if (isBetter) {
            our->plane = their->plane;
            if (evidence == Evidence::Silent) {
                our->plane.state = std::max(our->plane.state, State::Unproved);
            }
            took = true;
        }
    }
    return took;
}

} // namespace talvek::recovery::output
