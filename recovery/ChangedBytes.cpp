#include "recovery/ChangedBytes.h"

#include "recovery/LayerBuilder.h"
#include "recovery/PackBitsRow.h"
#include "recovery/PlaneCheck.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

/// No encoder leaves so many zeros: they are a hole, not a changed byte.
constexpr int kHoleZeros = 12;

bool holdsZeros(SourceBytes& source, std::int64_t from, std::int64_t to)
{
    int zeros = 0;
    for (std::int64_t at = from; at < to;) {
        const auto view = source.at(at, static_cast<std::size_t>(std::min<std::int64_t>(
                                            to - at, std::int64_t{SourceBytes::kMostView})));
        if (view.empty()) {
            return false;
        }
        for (const std::uint8_t byte : view) {
            zeros = byte == 0 ? zeros + 1 : 0;
            if (zeros >= kHoleZeros) {
                return true;
            }
        }
        at += static_cast<std::int64_t>(view.size());
    }
    return false;
}

class PlaneWitness
{
public:
    PlaneWitness(SourceBytes& source, const Plane& plane) : m_source(source), m_plane(plane) {}

    [[nodiscard]] bool showsChangedByte()
    {
        if (m_plane.compression != Compression::PackBits || m_plane.state != State::Partial ||
            m_plane.runs.empty()) {
            return false;
        }
        if (m_plane.rowsRecovered == m_plane.rows) {
            return true; // every row is sound, so the table is not
        }
        for (std::size_t i = 0; i + 1 < m_plane.runs.size(); ++i) {
            if (isChangedBetween(m_plane.runs[i], m_plane.runs[i + 1])) {
                return true;
            }
        }
        return false;
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
        return next == behind.offset && !holdsZeros(m_source, lost, next);
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

void doubt(std::vector<Channel>& channels)
{
    for (Channel& channel : channels) {
        Plane& plane = channel.plane;
        if (plane.state == State::Whole && plane.proof == Proof::PackBitsRows) {
            plane.state = State::Unproved;
        }
    }
}

} // namespace

bool hasChangedBytes(SourceBytes& source, const RecoveredDocument& document)
{
    return anyShows(source, document.composite.channels) ||
           std::any_of(document.layers.begin(), document.layers.end(),
                       [&source](const Layer& layer) { return anyShows(source, layer.channels); });
}

void doubtPackedPlanes(RecoveredDocument& document)
{
    for (Layer& layer : document.layers) {
        doubt(layer.channels);
        if (layer.state == State::Whole) {
            layer.state = stateOfChannels(layer);
        }
    }
    Composite& composite = document.composite;
    doubt(composite.channels);
    const bool rests = std::any_of(
        composite.channels.begin(), composite.channels.end(),
        [](const Channel& channel) { return channel.plane.state == State::Unproved; });
    if (composite.state == State::Whole && rests) {
        composite.state = State::Unproved;
    }
    document.missing.emplace_back(
        "Single bytes of the document have been changed. Pixels that such a change would leave no "
        "trace in are called unproved.");
}

} // namespace talvek::recovery
