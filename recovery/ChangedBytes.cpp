#include "recovery/ChangedBytes.h"

#include "recovery/LayerBuilder.h"
#include "recovery/PackBitsRow.h"
#include "recovery/PlaneCheck.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"
#include "recovery/Zeros.h"

#include <algorithm>

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
    /// One row between the two is broken, and it takes just the bytes that the table gives it.
    [[nodiscard]] bool isChangedBetween(const RowRun& before, const RowRun& behind)
    {
        const std::int32_t end = before.firstRow + before.rowCount;
        if (behind.firstRow - end != 1 || before.tableOffset < 0 || behind.tableOffset < 0 ||
            behind.tableOffset - before.tableOffset !=
                std::int64_t{behind.firstRow - before.firstRow} * m_plane.tableEntryBytes) {
            return false;
        }
        const std::int64_t lost = before.offset + packed(before.tableOffset, before.rowCount);
        const std::int64_t next = before.offset + packed(before.tableOffset, before.rowCount + 1);
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

} // namespace

bool hasChangedBytes(SourceBytes& source, const RecoveredDocument& document,
                     const std::vector<RecordFaults>& records)
{
    return std::any_of(records.begin(), records.end(),
                       [](const RecordFaults& one) { return one.areChanges; }) ||
           anyShows(source, document.composite.channels) ||
           std::any_of(document.layers.begin(), document.layers.end(),
                       [&source](const Layer& layer) { return showsChange(source, layer); }) ||
           isChangedText(source, document.xmp);
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
