#include "recovery/LayerBuilder.h"

#include "recovery/HeaderFinder.h"
#include "recovery/PackBitsRow.h"
#include "recovery/RowSalvage.h"
#include "recovery/ZipStream.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;

RowRun runOf(std::int64_t rows, std::int64_t offset, std::int64_t table)
{
    return {0, static_cast<std::int32_t>(rows), offset, table};
}

void addOnce(std::vector<std::int64_t>& offsets, std::int64_t offset)
{
    if (offset >= 0 && std::find(offsets.begin(), offsets.end(), offset) == offsets.end()) {
        offsets.push_back(offset);
    }
}

/// A channel's rectangle has no pixels, and its length says that it has.
bool holdsUnplacedBytes(const LayerRecord& record)
{
    constexpr std::int64_t kMostOfEmpty = kCodeBytes + kMostPlanePadding;
    for (std::size_t i = 0; i < record.entries.size(); ++i) {
        if (record.layer.channels[i].bounds.isEmpty() && record.entries[i].length > kMostOfEmpty) {
            return true;
        }
    }
    return false;
}

/// Masks that have bytes, in a record whose mask block holds no rectangle that a mask has.
/// @return true if there was one
bool loseUnplacedMasks(const LayerRecord& record, Layer& layer)
{
    constexpr std::int64_t kMostOfEmpty = kCodeBytes + kMostPlanePadding;
    bool any = false;
    const bool isDamaged = layer.mask && layer.maskData.length == 0;
    for (std::size_t i = 0; isDamaged && i < record.entries.size(); ++i) {
        Channel& channel = layer.channels[i];
        if (channel.id < -1 && channel.bounds.isEmpty() &&
            record.entries[i].length > kMostOfEmpty) {
            channel.plane.state = State::Lost;
            channel.plane.proof = Proof::None;
            any = true;
        }
    }
    return any;
}

} // namespace

LayerBuilder::LayerBuilder(SourceBytes& source, const DocumentFacts& facts,
                           const RunControl& control)
    : m_source(source), m_facts(facts), m_control(control)
{}

std::vector<Layer> LayerBuilder::build(const std::vector<LayerRecord>& records,
                                       const PlaneAligner& aligner)
{
    m_shifts = aligner.shifts();
    std::vector<Layer> layers;
    layers.reserve(records.size());
    for (const LayerRecord& record : records) {
        layers.push_back(record.layer);
    }
    for (const PlaneSlot& slot : aligner.slots()) {
        if (m_control.isStoppedAfterPause()) {
            break;
        }
        fillPlane(slot, layers[slot.record].channels[slot.channel]);
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        judge(records[i], layers[i]);
    }
    return layers;
}

void LayerBuilder::fillPlane(const PlaneSlot& slot, Channel& channel)
{
    Plane& plane = channel.plane;
    plane.rows = static_cast<std::int32_t>(channel.bounds.rows());
    plane.columns = static_cast<std::int32_t>(channel.bounds.columns());
    plane.depth = static_cast<std::uint16_t>(m_facts.depth);
    plane.tableEntryBytes = m_facts.version == 2 ? 4 : 2;
    if (slot.isEmpty) {
        plane.state = State::Whole;
        plane.proof = Proof::Empty;
    } else if (slot.isPlaced) {
        placeWhole(slot, plane);
    } else {
        salvage(slot, plane);
    }
}

void LayerBuilder::placeWhole(const PlaneSlot& slot, Plane& plane)
{
    plane.compression = slot.check.compression;
    plane.proof = slot.check.proof;
    plane.bytes = {slot.offset, slot.check.length, 0};
    const bool proved = plane.proof != Proof::Length && slot.isPlaceProved;
    plane.state = proved ? State::Whole : State::Unproved;
    const bool packed = plane.compression == Compression::PackBits;
    const std::int64_t table = packed ? slot.shape.rows * std::int64_t{plane.tableEntryBytes} : 0;
    plane.runs = {runOf(slot.shape.rows, slot.offset + kCodeBytes + table,
                        packed ? slot.offset + kCodeBytes : -1)};
    plane.rowsRecovered = plane.rows;
}

void LayerBuilder::salvage(const PlaneSlot& slot, Plane& plane)
{
    const std::int64_t offset = slot.headOffset >= 0 ? slot.headOffset : slot.tailOffset;
    if (offset < 0 || offset >= m_source.size()) {
        return;
    }
    const std::uint16_t code = m_source.u16(offset);
    if (slot.length == kCodeBytes + slot.shape.bytes()) {
        salvageRaw(slot, offset, plane);
    } else if (code == 2 || code == 3) {
        salvageZip(slot, offset, plane);
    } else {
        salvagePackBits(slot, plane);
    }
    plane.state = plane.rowsRecovered > 0 ? State::Partial : State::Lost;
}

/// Nothing in raw rows tells where a hole is: only those before the file's end are known of. With
/// bytes missing or too many somewhere inside, no row's place is known.
void LayerBuilder::salvageRaw(const PlaneSlot& slot, std::int64_t offset, Plane& plane)
{
    if (slot.headOffset >= 0 && slot.tailOffset >= 0 && slot.headOffset != slot.tailOffset) {
        return;
    }
    const std::int64_t start = offset + kCodeBytes;
    const std::int64_t left = std::max<std::int64_t>(0, m_source.size() - start);
    const std::int64_t rows = std::min(slot.shape.rows, left / slot.shape.rowBytes);
    if (rows == 0 || m_source.u16(offset) != 0) {
        return;
    }
    plane.compression = Compression::Raw;
    plane.bytes = {offset, std::min(slot.length, kCodeBytes + left), 0};
    plane.runs = {runOf(rows, start, -1)};
    plane.rowsRecovered = static_cast<std::int32_t>(rows);
}

/// What a stream gives before it breaks.
void LayerBuilder::salvageZip(const PlaneSlot& slot, std::int64_t offset, Plane& plane)
{
    const std::int64_t start = offset + kCodeBytes;
    const ZipExtent extent = measureZip(m_source, start, offset + slot.length, slot.shape.bytes());
    const std::int64_t rows = std::min(slot.shape.rows, extent.produced / slot.shape.rowBytes);
    if (rows == 0) {
        return;
    }
    plane.compression = static_cast<Compression>(m_source.u16(offset));
    plane.bytes = {offset, std::min(slot.length, m_source.size() - offset), 0};
    plane.runs = {runOf(rows, start, -1)};
    plane.rowsRecovered = static_cast<std::int32_t>(rows);
}

void LayerBuilder::salvagePackBits(const PlaneSlot& slot, Plane& plane)
{
    // A table and rows of this shape cannot be shorter: the rectangle or the length is wrong.
    const std::int64_t least =
        slot.shape.rows * (plane.tableEntryBytes + leastPacked(slot.shape.rowBytes));
    if (slot.length < least) {
        return;
    }
    DamagedPlane damaged;
    damaged.shape = slot.shape;
    damaged.entryBytes = plane.tableEntryBytes;
    damaged.length = slot.length;
    for (const std::int64_t offset : {slot.headOffset, slot.tailOffset}) {
        addOnce(damaged.heads, offset);
    }
    for (const std::int64_t offset : {slot.tailOffset, slot.headOffset}) {
        addOnce(damaged.tails, offset < 0 ? -1 : offset + slot.length);
    }
    damaged.tailsAreSure = slot.tailOffset >= 0;
    SalvagedRows rows = salvageRows(m_source, damaged);
    if (rows.rows == 0) {
        return;
    }
    plane.compression = Compression::PackBits;
    plane.bytes = {damaged.heads.front(),
                   std::min(slot.length, m_source.size() - damaged.heads.front()), 0};
    plane.runs = std::move(rows.runs);
    plane.rowsRecovered = static_cast<std::int32_t>(rows.rows);
}

void LayerBuilder::judge(const LayerRecord& record, Layer& layer)
{
    layer.state = stateOfChannels(layer);
    if (loseUnplacedMasks(record, layer)) {
        layer.state = std::max(layer.state, State::Partial);
        layer.note = "Place and size of its mask are damaged, so the mask is lost.";
        return;
    }
    // A list that no program writes has been damaged, and what it says of its planes with it.
    const int colors = colorsOf(m_facts.mode);
    if (layer.state == State::Whole && holdsUnplacedBytes(record)) {
        layer.state = State::Unproved;
        layer.note = "A channel has bytes, but a rectangle without pixels.";
    }
    if (layer.state == State::Whole && colors > 0 && !hasUsualChannels(record, colors)) {
        layer.state = State::Unproved;
        layer.note = "The list of channels is not one that programs write.";
    }
}

State stateOfChannels(const Layer& layer)
{
    State worst = State::Whole;
    bool anyLeft = false;
    bool anyPixels = false;
    for (const Channel& channel : layer.channels) {
        if (!channel.plane.isEmpty()) {
            anyPixels = true;
            anyLeft = anyLeft || channel.plane.state != State::Lost;
            worst = std::max(worst, channel.plane.state);
        }
    }
    // Some of a layer is there as long as one of its channels is.
    return anyPixels && anyLeft && worst == State::Lost ? State::Partial : worst;
}

void balanceGroups(std::vector<Layer>& layers)
{
    // Read from the lowest up: an end marker opens a group, the group's own record closes it.
    std::vector<std::size_t> open;
    std::size_t missingEnds = 0;
    for (std::size_t i = 0; i < layers.size(); ++i) {
        if (layers[i].group == Group::End) {
            open.push_back(i);
        } else if (layers[i].isDivider() && !open.empty()) {
            open.pop_back();
        } else if (layers[i].isDivider()) {
            ++missingEnds;
        }
    }
    const auto bracket = [](Group kind, const char* name) {
        Layer layer;
        layer.name = name;
        layer.group = kind;
        layer.inferred = true;
        layer.hasRecord = false;
        layer.state = State::Whole;
        layer.flags = 24;
        return layer;
    };
    layers.insert(layers.begin(), missingEnds, bracket(Group::End, "</Layer group>"));
    for (std::size_t i = 0; i < open.size(); ++i) {
        layers.push_back(bracket(Group::Open, "Recovered group"));
    }
    std::vector<std::int32_t> path;
    for (std::size_t i = layers.size(); i-- > 0;) {
        layers[i].parent = path.empty() ? -1 : path.back();
        if (layers[i].group == Group::End && !path.empty()) {
            path.pop_back();
        } else if (layers[i].isDivider()) {
            path.push_back(static_cast<std::int32_t>(i));
        }
    }
}

} // namespace talvek::recovery
