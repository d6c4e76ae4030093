#include "recovery/OutputBudget.h"

#include "recovery/PackBitsRow.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kFreeBytes = std::int64_t{256} << 20;
constexpr std::int64_t kTimesSource = 4;

/// What the plane takes beyond the bytes that are copied from the source.
std::int64_t madeUpBytes(const Plane& plane)
{
    if (plane.isEmpty() || plane.state == State::Whole || plane.state == State::Unproved) {
        return 0;
    }
    const bool packed = plane.compression == Compression::PackBits || plane.runs.empty();
    return packed ? (plane.rows - plane.rowsRecovered) *
                        (packedFillLength(plane.rowBytes()) + plane.tableEntryBytes)
                  : plane.rows * plane.rowBytes();
}

void empty(Layer& layer)
{
    layer.note += layer.note.empty() ? "" : " ";
    layer.note += "Its rectangle is left empty: it asks for more room than the document can "
                  "have had.";
    layer.bounds = {layer.bounds.top, layer.bounds.left, layer.bounds.top, layer.bounds.left};
    layer.extra = {};
    layer.maskData = {};
    layer.mask.reset();
    layer.realMask.reset();
    layer.state = State::Lost;
    for (Channel& channel : layer.channels) {
        channel.bounds = layer.bounds;
        channel.plane = {};
    }
    std::erase_if(layer.channels, [](const Channel& channel) { return channel.id < -1; });
}

} // namespace

void limitLostRows(RecoveredDocument& document, std::int64_t sourceSize)
{
    std::int64_t left = kFreeBytes + kTimesSource * sourceSize;
    for (Layer& layer : document.layers) {
        std::int64_t bytes = 0;
        for (const Channel& channel : layer.channels) {
            bytes += madeUpBytes(channel.plane);
        }
        if (bytes > left) {
            empty(layer);
        } else {
            left -= bytes;
        }
    }
}

} // namespace talvek::recovery
