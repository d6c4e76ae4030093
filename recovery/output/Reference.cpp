// The run, in order:
//  1. the header, where it is lost
//  2. layers are matched: by id with name or place, by name and place, by a name that is alone
//  3. layers without a record get one, if their pixels are those of a layer of the copy; then other
//     parts that are not pixels are taken, where they are lost
//  4. layers that the document lost without a trace are taken whole
//  5. lost planes and rows are taken, where what is left agrees
//  6. the merged picture likewise
//  7. the layers are put into the copy's order, and groups balanced

#include "recovery/output/Reference.h"

#include "platform/PathString.h"
#include "recovery/Examination.h"
#include "recovery/LayerBuilder.h"
#include "recovery/output/MovedRanges.h"
#include "recovery/output/Verdict.h"

#include <algorithm>
#include <map>
#include <utility>

namespace talvek::recovery::output {

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
    takeHeader();
    matchLayers();
    matchByPixels();
    if (isOfAnother()) {
        return {};
    }
    takeParts();
    takeMissingLayers();
    takePlanes();
    takeComposite();
    putInOrder();
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

/// A canvas can have been cut since, and most documents have a "Background": names alone say
/// little.
bool Reference::isOfAnother() const
{
    const DocumentFacts& ours = m_document.facts;
    const DocumentFacts& theirs = m_older.facts;
    const bool isSameCanvas =
        ours.origin != HeaderOrigin::Header ||
        (ours.width == theirs.width && ours.height == theirs.height && ours.mode == theirs.mode);
    return !isSameCanvas &&
           std::none_of(m_matches.begin(), m_matches.end(), [this](const Match& match) {
               const Layer& one = m_document.layers[match.ours];
               const Layer& other = m_older.layers[match.theirs];
               return one.name == other.name && one.hasPixels() &&
                      one.bounds.rows() == other.bounds.rows() &&
                      one.bounds.columns() == other.bounds.columns();
           });
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
void Reference::dropEmptiedGroup()
{
    auto& layers = m_document.layers;
    for (std::size_t i = 0; i + 1 < layers.size(); ++i) {
        const bool isEmptied = layers[i].inferred && layers[i].group == Group::End &&
                               layers[i + 1].inferred && layers[i + 1].isDivider() &&
                               layers[i + 1].group != Group::End;
        if (isEmptied) {
            const auto first = layers.begin() + static_cast<std::ptrdiff_t>(i);
            layers.erase(first, first + 2);
            return;
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
        if (!layer.hasRecord && !layer.isDivider() && layer.channels.empty()) {
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
    dropEmptiedGroup();
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
