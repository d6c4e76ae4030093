#include "recovery/ChangedBytes.h"

#include "recovery/HeaderFinder.h"
#include "recovery/LayerBuilder.h"
#include "recovery/PackBitsRow.h"
#include "recovery/PlaneCheck.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"
#include "recovery/Zeros.h"

#include <algorithm>
#include <map>

namespace talvek::recovery {

namespace {

/// No encoder leaves so many zeros: they are a hole, not a changed byte.
constexpr std::int64_t kHoleZeros = 12;

class PlaneWitness
{
public:
    PlaneWitness(SourceBytes& source, const Plane& plane) : m_source(source), m_plane(plane) {}

    [[nodiscard]] bool showsChangedByte()
    {
        if (m_plane.compression != Compression::PackBits || m_plane.state != State::Partial) {
            return false;
        }
        for (std::size_t i = 0; i + 1 < m_plane.runs.size(); ++i) {
            if (isChangedBetween(m_plane.runs[i], m_plane.runs[i + 1])) {
                return true;
            }
        }
        return false;
    }

    /// Every row is sound, but not the plane: so the table was changed.
    [[nodiscard]] bool showsChangedTable()
    {
        return m_plane.compression == Compression::PackBits && m_plane.state == State::Partial &&
               m_plane.rowsRecovered == m_plane.rows &&
               !holdsZeros(m_source, m_plane.bytes.offset, m_plane.runs.front().offset, kHoleZeros);
    }

private:
    /// A few rows between the two are broken, or next to broken ones, and they take just the bytes
    /// that the table gives them.
    [[nodiscard]] bool isChangedBetween(const RowRun& before, const RowRun& behind)
    {
        constexpr std::int32_t kMostRows = 5;
        const std::int32_t end = before.firstRow + before.rowCount;
        if (behind.firstRow - end > kMostRows || before.tableOffset < 0 || behind.tableOffset < 0 ||
            behind.tableOffset - before.tableOffset !=
                std::int64_t{behind.firstRow - before.firstRow} * m_plane.tableEntryBytes) {
            return false;
        }
        const std::int64_t lost = before.offset + packed(before.tableOffset, before.rowCount);
        const std::int64_t next =
            before.offset + packed(before.tableOffset, behind.firstRow - before.firstRow);
        return next == behind.offset && !holdsZeros(m_source, lost, next, kHoleZeros);
    }

    /// Bytes of so many rows by the table.
    [[nodiscard]] std::int64_t packed(std::int64_t table, std::int32_t rows)
    {
        const std::int64_t entry = m_plane.tableEntryBytes;
        return packedLength(m_source, table, {rows, m_plane.rowBytes()}, static_cast<int>(entry)) -
               rows * entry;
    }

    SourceBytes& m_source;
    const Plane& m_plane;
};

bool anyShows(SourceBytes& source, const std::vector<Channel>& channels)
{
    return std::any_of(channels.begin(), channels.end(), [&source](const Channel& channel) {
        return PlaneWitness(source, channel.plane).showsChangedByte();
    });
}

bool showsChange(SourceBytes& source, const Layer& layer)
{
    return anyShows(source, layer.channels) ||
           std::any_of(layer.channels.begin(), layer.channels.end(), [&](const Channel& channel) {
               return PlaneWitness(source, channel.plane).showsChangedTable();
           });
}

/// Takes back what only the rows of PackBits prove. @return true if there was any
bool doubt(std::vector<Channel>& channels)
{
    bool any = false;
    for (Channel& channel : channels) {
        Plane& plane = channel.plane;
        if (plane.state == State::Whole && plane.proof == Proof::PackBitsRows) {
            plane.state = State::Unproved;
            any = true;
        }
    }
    return any;
}

/// What the layer's planes are laid over the file by; empty for a layer without planes.
std::vector<std::int64_t> lengthsOf(const Layer& layer)
{
    std::vector<std::int64_t> lengths;
    for (const Channel& channel : layer.channels) {
        if (!channel.plane.isEmpty()) {
            lengths.insert(lengths.end(), {channel.plane.rows, channel.plane.bytes.length});
        }
    }
    return lengths;
}

/// Metadata is text: a byte in it that no text has was changed, unless there is a hole.
bool isChangedText(SourceBytes& source, const ByteRange& range)
{
    constexpr std::int64_t kLongest = 1 << 22;
    // Where no other resource follows, the text's length is not to be trusted.
    if (range.length <= 0 || range.length > kLongest ||
        !isBlockSignature(source, range.end() + range.length % 2) ||
        holdsZeros(source, range.offset, range.end(), kHoleZeros)) {
        return false;
    }
    Utf8Check check;
    for (std::int64_t at = range.offset; at < range.end();) {
        const auto view =
            source.at(at, static_cast<std::size_t>(std::min<std::int64_t>(
                              range.end() - at, std::int64_t{SourceBytes::kMostView})));
        if (view.empty()) {
            return false;
        }
        check.add(view);
        at += static_cast<std::int64_t>(view.size());
    }
    return !check.isText();
}

/// Planes that no record claims, and the ones that records do, are copies of each other in a
/// document of which a part was written twice. Copies that differ in a few bytes were changed.
class Copies
{
public:
    Copies(SourceBytes& source, const RecoveredDocument& document) : m_source(source)
    {
        for (const Layer& layer : document.layers) {
            for (const Channel& channel : layer.channels) {
                const Plane& plane = channel.plane;
                if (plane.proof == Proof::PackBitsRows && plane.bytes.source == 0) {
                    (layer.hasRecord ? m_claimed[plane.bytes.length] : m_stray).push_back(&plane);
                }
            }
        }
    }

    bool differ()
    {
        return std::any_of(m_stray.begin(), m_stray.end(), [this](const Plane* stray) {
            const auto same = m_claimed.find(stray->bytes.length);
            return same != m_claimed.end() && differs(*stray, same->second);
        });
    }

private:
    bool differs(const Plane& stray, const std::vector<const Plane*>& others)
    {
        constexpr std::size_t kMostCompared = 8;
        const auto last = std::min(others.size(), kMostCompared);
        return std::any_of(others.begin(), others.begin() + static_cast<std::ptrdiff_t>(last),
                           [&](const Plane* other) { return differs(stray.bytes, other->bytes); });
    }

    /// In a few bytes, of the first ones.
    bool differs(const ByteRange& one, const ByteRange& other)
    {
        constexpr std::int64_t kMostDiffering = 16;
        constexpr std::int64_t kLeastShare = 20;
        const auto count = std::min<std::int64_t>(one.length, std::int64_t{SourceBytes::kMostView});
        const auto view = m_source.at(one.offset, static_cast<std::size_t>(count));
        const std::vector<std::uint8_t> copy(view.begin(), view.end());
        const auto second = m_source.at(other.offset, copy.size());
        std::int64_t differing = 0;
        for (std::size_t i = 0; i < second.size(); ++i) {
            differing += copy[i] != second[i] ? 1 : 0;
        }
        return differing > 0 && differing <= kMostDiffering && differing * kLeastShare <= count;
    }

    SourceBytes& m_source;
    std::map<std::int64_t, std::vector<const Plane*>> m_claimed; ///< by length
    std::vector<const Plane*> m_stray;
};

} // namespace

bool hasChangedBytes(SourceBytes& source, const RecoveredDocument& document,
                     const std::vector<RecordFaults>& records)
{
    return std::any_of(records.begin(), records.end(),
                       [](const RecordFaults& one) { return one.areChanges; }) ||
           anyShows(source, document.composite.channels) ||
           std::any_of(document.layers.begin(), document.layers.end(),
                       [&source](const Layer& layer) { return showsChange(source, layer); }) ||
           hasChangedHeader(source, document.facts) || isChangedText(source, document.xmp) ||
           Copies(source, document).differ();
}

void doubtLayers(RecoveredDocument& document, const std::vector<RecordFaults>& records)
{
    for (std::size_t i = 0; i < records.size() && i < document.layers.size(); ++i) {
        Layer& layer = document.layers[i];
        if (records[i].any && layer.state == State::Whole && doubt(layer.channels)) {
            layer.state = stateOfChannels(layer);
            layer.note = "Its record was damaged, so nothing proves that its pixels were not.";
        }
    }
}

void noteLostNames(RecoveredDocument& document, const std::vector<RecordFaults>& records)
{
    std::int64_t nameless = 0;
    for (std::size_t i = 0; i < records.size() && i < document.layers.size(); ++i) {
        Layer& layer = document.layers[i];
        if (records[i].any && layer.name.empty() && !layer.isDivider()) {
            layer.note += std::string(layer.note.empty() ? "" : " ") + "Its name is lost.";
            ++nameless;
        }
    }
    if (nameless > 0) {
        document.missing.push_back(nameless == 1 ? "One layer has lost its name."
                                                 : std::to_string(nameless) +
                                                       " layers have lost their names.");
    }
}

void doubtPlaces(RecoveredDocument& document, const std::vector<RecordFaults>& records)
{
    const bool isTorn = std::any_of(records.begin(), records.end(), [](const RecordFaults& one) {
        return one.any && !one.areChanges;
    });
    if (!isTorn) {
        return;
    }
    std::map<std::vector<std::int64_t>, int> alike;
    for (const Layer& layer : document.layers) {
        ++alike[lengthsOf(layer)];
    }
    for (Layer& layer : document.layers) {
        if (layer.state == State::Whole && alike[lengthsOf(layer)] > 1 && doubt(layer.channels)) {
            layer.state = stateOfChannels(layer);
            layer.note = "Records were torn apart, and another layer's pixels would fit as well.";
        }
    }
}

void doubtAll(RecoveredDocument& document)
{
    for (Layer& layer : document.layers) {
        if (doubt(layer.channels) && layer.state == State::Whole) {
            layer.state = stateOfChannels(layer);
        }
    }
    Composite& composite = document.composite;
    if (doubt(composite.channels) && composite.state == State::Whole) {
        composite.state = State::Unproved;
    }
    document.missing.emplace_back(
        "Single bytes of the document have been changed. Pixels in which such a change would leave "
        "no trace are called unproved.");
}

} // namespace talvek::recovery
