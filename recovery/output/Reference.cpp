// The run, in order:
//  1. layers are matched: by id with name or place, by name and place
//  2. a copy of another document ends the run; the header is taken, where it is lost
//  3. layers without a record get one, if their pixels are those of a layer of the copy; then other
//     parts that are not pixels are taken, where they are lost
//  4. layers that the document lost without a trace are taken whole
//  5. lost planes and rows are taken, where what is left agrees
//  6. the merged picture likewise
//  7. the layers are put into the copy's order, and groups balanced
//  8. what is missing is said anew

#include "recovery/output/Reference.h"

#include "platform/PathString.h"
#include "recovery/Examination.h"
#include "recovery/LayerBuilder.h"
#include "recovery/RegionMap.h"
#include "recovery/output/MovedRanges.h"
#include "recovery/output/Verdict.h"

#include <algorithm>
#include <map>
#include <utility>

namespace talvek::recovery::output {

namespace {

/// Some of the channel was found; colours that were not are filled in as lost ones.
bool isThere(const Channel& channel)
{
    return !channel.plane.runs.empty();
}

} // namespace

Reference::Reference(FileManager& files, RecoveredDocument& document,
                     const RecoveredDocument& older, const RunControl& control)
    : m_files(files),
      m_document(document),
      m_older(withSourcesMoved(older, static_cast<std::int32_t>(document.sources.size()))),
      m_control(control),
      m_name(older.sources.empty() ? std::string() : lastPathComponent(older.sources[0]))
{}

Reference::~Reference() = default;

std::vector<std::string> Reference::run()
{
    if (m_older.sources.empty() || m_older.nothingLeft) {
        return {};
    }
    addSources();
    m_lacksLayers = lacksLayers();
    matchLayers();
    if (!isOfSameDocument()) {
        m_document.missing.push_back("Nothing was taken from \"" + m_name +
                                     "\": nothing shows that it is a copy of this document.");
        return {};
    }
    const auto missingBefore = missingIn(m_document);
    takeHeader();
    matchByPixels();
    takeParts();
    takeMissingLayers();
    takePlanes();
    takeComposite();
    putInOrder();
    countStrays();
    m_document.layersMayBeLost = m_document.layersMayBeLost && m_document.layers.empty();
    noteMissingAgain(m_document, missingBefore);
    m_document.nothingLeft = m_document.nothingLeft && m_taken.empty();
    return std::move(m_taken);
}

void Reference::say(const std::string& what)
{
    m_taken.push_back(what + " from \"" + m_name + "\"");
}

void Reference::addSources()
{
    for (const std::string& path : m_older.sources) {
        m_document.sources.push_back(path);
    }
    m_sources = std::make_unique<SourceFiles>(m_files, m_document.sources);
}

void Reference::takeHeader()
{
    DocumentFacts& ours = m_document.facts;
    const DocumentFacts& theirs = m_older.facts;
    const bool isSameSize = ours.width == theirs.width && ours.height == theirs.height;
    const bool isLost = ours.width <= 0 || ours.origin == HeaderOrigin::Unknown ||
                        (ours.origin == HeaderOrigin::Rebuilt && isSameSize);
    if (!isLost || theirs.origin != HeaderOrigin::Header) {
        return;
    }
    const std::int32_t version = ours.version;
    const bool hasLayers = !m_document.layers.empty();
    ours = theirs;
    ours.origin = HeaderOrigin::Reference;
    // Records and tables are read in the version that they are written in.
    ours.version = hasLayers ? version : theirs.version;
    say("The header (size, colour mode, depth)");
}

/// Most documents have a "Background": a name alone says little.
bool Reference::sharesLayer() const
{
    return std::any_of(m_matches.begin(), m_matches.end(), [this](const Match& match) {
        const Layer& one = m_document.layers[match.ours];
        const Layer& other = m_older.layers[match.theirs];
        const bool isKnown = one.name == other.name || (one.id && one.id == other.id);
        return isKnown && one.hasPixels() && one.bounds.rows() == other.bounds.rows() &&
               one.bounds.columns() == other.bounds.columns();
    });
}

/// The picture, or a plane that was found without a record, is there in both.
bool Reference::sharesPixels()
{
    // One plane that is the same will do; damaged documents may have them without number.
    std::int64_t left = 1 << 16;
    const auto areAnyAlike = [&](const std::vector<Channel>& ours,
                                 const std::vector<Channel>& theirs) {
        return std::any_of(ours.begin(), ours.end(), [&](const Channel& our) {
            return std::any_of(theirs.begin(), theirs.end(), [&](const Channel& their) {
                return --left > 0 &&
                       compare(*m_sources, our.plane, their.plane, m_control) == Evidence::Agrees;
            });
        });
    };
    if (areAnyAlike(m_document.composite.channels, m_older.composite.channels)) {
        return true;
    }
    return std::any_of(m_document.layers.begin(), m_document.layers.end(), [&](const Layer& our) {
        return !our.hasRecord &&
               std::any_of(m_older.layers.begin(), m_older.layers.end(), [&](const Layer& their) {
                   return areAnyAlike(our.channels, their.channels);
               });
    });
}

bool Reference::isSameCanvas() const
{
    const DocumentFacts& ours = m_document.facts;
    const DocumentFacts& theirs = m_older.facts;
    return ours.width == theirs.width && ours.height == theirs.height && ours.mode == theirs.mode;
}

/// A canvas can have been cut since. One that was worked out can be another document's as well,
/// if there are layers in both and none is known again.
bool Reference::isOfSameDocument()
{
    const auto hasNamedLayers = [](const RecoveredDocument& document) {
        return std::any_of(document.layers.begin(), document.layers.end(),
                           [](const Layer& layer) { return layer.hasRecord && layer.hasPixels(); });
    };
    const HeaderOrigin origin = m_document.facts.origin;
    const bool isEmpty = m_document.layers.empty() && m_document.composite.channels.empty();
    const bool contradicts =
        origin != HeaderOrigin::Header && hasNamedLayers(m_document) && hasNamedLayers(m_older);
    const bool hasCanvas = origin != HeaderOrigin::Unknown && isSameCanvas() && !contradicts;
    const bool isLost = origin != HeaderOrigin::Header;
    return hasCanvas || (isLost && isEmpty) || sharesLayer() || sharesPixels();
}

void Reference::takePart(ByteRange& ours, const ByteRange& theirs, const char* name)
{
    if (ours.length == 0 && theirs.length > 0) {
        ours = theirs;
        say(name);
    }
}

void Reference::takeParts()
{
    const bool sameMode = m_document.facts.mode == m_older.facts.mode;
    if (sameMode && m_document.facts.mode == ColorMode::Indexed) {
        takePart(m_document.facts.colorData, m_older.facts.colorData, "The colour table");
    }
    if (m_document.resourcesAreWhole) {
        return; // What it does not have, it never had.
    }
    if (sameMode) {
        takePart(m_document.profile, m_older.profile, "The colour profile");
    }
    takePart(m_document.xmp, m_older.xmp, "The metadata");
    takePart(m_document.resolution, m_older.resolution, "The resolution");
    constexpr std::uint16_t kProfile = 0x040F;
    constexpr std::uint16_t kXmp = 0x0424;
    constexpr std::uint16_t kResolution = 0x03ED;
    for (const std::uint16_t id : {kProfile, kXmp, kResolution}) {
        const Resource* theirs = m_older.resource(id);
        const bool isWanted = id != kProfile || sameMode;
        if (isWanted && theirs != nullptr && m_document.resource(id) == nullptr) {
            m_document.resources.push_back(*theirs);
        }
    }
}

void Reference::takeComposite()
{
    Composite& ours = m_document.composite;
    const Composite& theirs = m_older.composite;
    const bool isSameShape = m_document.facts.width == m_older.facts.width &&
                             m_document.facts.height == m_older.facts.height &&
                             m_document.facts.mode == m_older.facts.mode &&
                             m_document.facts.depth == m_older.facts.depth &&
                             m_document.facts.channels == m_older.facts.channels;
    if (ours.state < State::Partial || theirs.rowsRecovered <= ours.rowsRecovered || !isSameShape) {
        return;
    }
    Evidence evidence = Evidence::Silent;
    for (std::size_t i = 0; i < std::min(ours.channels.size(), theirs.channels.size()); ++i) {
        evidence = both(evidence, compare(*m_sources, ours.channels[i].plane,
                                          theirs.channels[i].plane, m_control));
    }
    // An old picture of layers that are there would be a wrong one; a flat document has no other.
    const bool isFlat = m_document.layers.empty();
    if (evidence == Evidence::Agrees || (evidence == Evidence::Silent && isFlat)) {
        ours = theirs;
        if (evidence == Evidence::Silent) {
            ours.state = std::max(ours.state, State::Unproved);
        }
        say("The merged picture");
    }
}

/// A group of layers without a record is of no use when all of them have got one.
void Reference::dropEmptiedGroups()
{
    auto& layers = m_document.layers;
    const auto isMadeUp = [](const Layer& layer) { return !layer.hasRecord && layer.isDivider(); };
    for (std::size_t i = 0; i + 1 < layers.size();) {
        const bool isEmptied = isMadeUp(layers[i]) && layers[i].group == Group::End &&
                               isMadeUp(layers[i + 1]) && layers[i + 1].group != Group::End;
        if (isEmptied) {
            const auto first = layers.begin() + static_cast<std::ptrdiff_t>(i);
            layers.erase(first, first + 2);
            i = i > 0 ? i - 1 : 0; // Around it may be another one.
        } else {
            ++i;
        }
    }
}

void Reference::countStrays()
{
    m_document.planesWithoutRecord = 0;
    for (const Layer& layer : m_document.layers) {
        if (!layer.hasRecord && !layer.isDivider()) {
            m_document.planesWithoutRecord += static_cast<std::int32_t>(
                std::count_if(layer.channels.begin(), layer.channels.end(), isThere));
        }
    }
}

/// Layers that were matched or taken stand as in the copy; the others behind what they stood on.
void Reference::putInOrder()
{
    if (!m_orderChanged) {
        return;
    }
    std::map<std::size_t, std::size_t> theirsOf;
    for (const Match& match : m_matches) {
        theirsOf[match.ours] = match.theirs;
    }
    std::vector<std::pair<std::size_t, std::size_t>> order;
    std::size_t place = 0;
    for (std::size_t i = 0; i < m_document.layers.size(); ++i) {
        // What was found without a record stays together, on top.
        const Layer& layer = m_document.layers[i];
        const auto known = theirsOf.find(i);
        place = known != theirsOf.end() ? known->second + 1 : place;
        if (!layer.hasRecord && !layer.isDivider() &&
            std::none_of(layer.channels.begin(), layer.channels.end(), isThere)) {
            continue;
        }
        order.emplace_back(layer.hasRecord ? place : m_older.layers.size() + 1, i);
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Layer> layers;
    layers.reserve(order.size());
    for (const auto& [unused, index] : order) {
        layers.push_back(std::move(m_document.layers[index]));
    }
    m_document.layers = std::move(layers);
    dropEmptiedGroups();
    balanceGroups(m_document.layers);
}

std::vector<std::string> fillFromReference(FileManager& files, RecoveredDocument& document,
                                           const std::string& path, const RunControl& control)
{
    ReadingFileHandle handle = files.openForReading(path);
    SourceBytes source(handle);
    Examination examination(source, control, [](const std::string&, double) {});
    const RecoveredDocument older = examination.run(path);
    return control.stop() ? std::vector<std::string>{}
                          : Reference(files, document, older, control).run();
}

} // namespace talvek::recovery::output
