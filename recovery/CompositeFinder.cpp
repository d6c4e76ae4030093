#include "recovery/CompositeFinder.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PlaneScan.h"
#include "recovery/RowSalvage.h"
#include "recovery/Zeros.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::int64_t kScanBudgetPerByte = 4;

} // namespace

CompositeFinder::CompositeFinder(SourceBytes& source, const DocumentFacts& facts,
                                 const RunControl& control)
    : m_source(source),
      m_facts(facts),
      m_control(control),
      m_shape{std::int64_t{facts.channels} * facts.height,
              (std::int64_t{facts.width} * facts.depth + 7) / 8},
      m_entryBytes(facts.version == 2 ? 4 : 2)
{}

Composite CompositeFinder::run(std::int64_t stated, const std::vector<std::int64_t>& candidates,
                               std::int64_t scanFrom, std::int64_t partFrom)
{
    m_partFrom = partFrom;
    if (m_shape.isEmpty()) {
        return {};
    }
    const std::int64_t rawStart = m_source.size() - kCodeBytes - m_shape.bytes();
    for (const std::int64_t offset : candidates) {
        // Raw samples prove nothing, unless the end of the file agrees.
        const bool canBeRaw = offset >= partFrom && offset == rawStart;
        if ((canBeRaw || m_source.u16(offset) != 0) && isWholeAt(offset)) {
            return whole(offset);
        }
    }
    std::vector<std::int64_t> damaged = candidates;
    for (const std::int64_t offset : scan(scanFrom)) {
        if (isWholeAt(offset)) {
            return whole(offset);
        }
        damaged.push_back(offset);
    }
    // Where the lengths say, when nothing but what a writer padded the file with follows it.
    const bool isStated = stated >= partFrom && m_source.u16(stated) == 0 && isWholeAt(stated);
    const std::int64_t behind = stated + kCodeBytes + m_shape.bytes();
    if (isStated && holdsZeros(m_source, behind, m_source.size(), m_source.size() - behind)) {
        return whole(stated);
    }
    if (rawStart >= std::max(scanFrom, partFrom) && m_source.u16(rawStart) == 0 &&
        isWholeAt(rawStart)) {
        return whole(rawStart);
    }
    return isStated && isWholeAt(stated) ? whole(stated) : bestOf(damaged);
}

/// Packed rows show that they are rows; raw ones are believed only where nothing else is found.
Composite CompositeFinder::bestOf(const std::vector<std::int64_t>& candidates)
{
    Composite best;
    for (const int code : {1, 0}) {
        for (const std::int64_t offset : candidates) {
            const bool enough = best.rowsRecovered * 10 >= m_shape.rows * 9 ||
                                (code == 0 && best.rowsRecovered > 0);
            if (offset < m_partFrom || enough || m_source.u16(offset) != code) {
                continue;
            }
            Composite composite = salvaged(offset);
            if (composite.rowsRecovered > best.rowsRecovered) {
                best = std::move(composite);
            }
        }
    }
    return best;
}

bool CompositeFinder::isWholeAt(std::int64_t offset)
{
    const bool raw = m_source.u16(offset) == 0;
    m_check = checkPlane(m_source, offset, raw ? kCodeBytes + m_shape.bytes() : -1, m_shape,
                         m_entryBytes);
    return m_check.isSound;
}

/// Row tables as long as the picture's: those that lead to the end of the file, or else the first
/// few behind which rows of the picture's width begin.
std::vector<std::int64_t> CompositeFinder::scan(std::int64_t from)
{
    constexpr std::size_t kMostDamaged = 4;
    std::int64_t budget = 1 << 22;
    std::vector<std::int64_t> damaged;
    const std::int64_t to = m_source.size();
    for (std::int64_t at = nextPlaneCode(m_source, from, to); at < to;) {
        if (m_control.isStoppedAfterPause()) {
            break;
        }
        if (m_source.u16(at) == 1 && budget > 0) {
            const std::int64_t packed =
                packedLength(m_source, at + kCodeBytes, m_shape, m_entryBytes);
            budget -= packed < 0 ? 64 : m_shape.rows;
            if (packed >= 0 && at + kCodeBytes + packed == to) {
                return {at};
            }
            if (at >= m_partFrom && damaged.size() < kMostDamaged && rowsBeginAt(at)) {
                damaged.push_back(at);
            }
        }
        const std::int64_t next = nextPlaneCode(m_source, at + 1, to);
        budget += kScanBudgetPerByte * (next - at);
        at = next;
    }
    return damaged;
}

/// The first rows are as long as the table says and as wide as the picture.
bool CompositeFinder::rowsBeginAt(std::int64_t offset)
{
    constexpr std::int64_t kLooked = 4;
    std::int64_t at = offset + kCodeBytes + m_shape.rows * m_entryBytes;
    for (std::int64_t row = 0; row < std::min(kLooked, m_shape.rows); ++row) {
        const auto count = static_cast<std::int64_t>(m_source.number(
            offset + kCodeBytes + row * m_entryBytes, static_cast<std::size_t>(m_entryBytes)));
        if (!rowFits(m_source, at, count, m_shape.rowBytes)) {
            return false;
        }
        at += count;
    }
    return true;
}

Composite CompositeFinder::whole(std::int64_t offset)
{
    Composite composite;
    composite.state = m_check.compression == Compression::Raw ? State::Unproved : State::Whole;
    composite.bytes = {offset, m_check.length, 0};
    composite.rows = m_shape.rows;
    composite.rowsRecovered = m_shape.rows;
    const bool packed = m_check.compression == Compression::PackBits;
    const std::int64_t table = packed ? m_shape.rows * m_entryBytes : 0;
    const RowRun all{0, static_cast<std::int32_t>(m_shape.rows), offset + kCodeBytes + table,
                     packed ? offset + kCodeBytes : -1};
    composite.channels = channelsOf({all}, composite.bytes, composite.state, m_check.compression);
    return composite;
}

Composite CompositeFinder::salvaged(std::int64_t offset)
{
    Composite composite;
    const std::int64_t left = m_source.size() - offset;
    const std::uint16_t code = m_source.u16(offset);
    if (offset < 0 || left < kCodeBytes + 1 || code > 1) {
        return composite;
    }
    std::vector<RowRun> runs;
    composite.rows = m_shape.rows;
    if (code == 0) {
        const std::int64_t rows = std::min(m_shape.rows, (left - kCodeBytes) / m_shape.rowBytes);
        runs.push_back({0, static_cast<std::int32_t>(rows), offset + kCodeBytes, -1});
        composite.rowsRecovered = rows;
    } else {
        DamagedPlane plane{m_shape, m_entryBytes, left, {offset}, {m_source.size()}};
        const std::int64_t packed =
            packedLength(m_source, offset + kCodeBytes, m_shape, m_entryBytes);
        // Bytes are missing: inside the picture, or its end was cut off with that of the file.
        plane.tailsAreSure = kCodeBytes + packed <= left;
        const SalvagedRows salvaged = salvageRows(m_source, plane);
        runs = salvaged.runs;
        composite.rowsRecovered = salvaged.rows;
    }
    if (composite.rowsRecovered > 0) {
        composite.state = State::Partial;
        composite.bytes = {offset, left, 0};
        composite.channels =
            channelsOf(runs, composite.bytes, State::Partial, static_cast<Compression>(code));
    }
    return composite;
}

std::vector<Channel> CompositeFinder::channelsOf(const std::vector<RowRun>& runs,
                                                 const ByteRange& bytes, State state,
                                                 Compression compression)
{
    std::vector<Channel> channels(static_cast<std::size_t>(m_facts.channels));
    std::int32_t number = 0;
    for (Channel& channel : channels) {
        channel.id = static_cast<std::int16_t>(number);
        channel.bounds = {0, 0, m_facts.height, m_facts.width};
        Plane& plane = channel.plane;
        plane.compression = compression;
        plane.state = state;
        plane.proof = m_check.isSound ? m_check.proof : Proof::None;
        plane.tableEntryBytes = static_cast<std::uint8_t>(m_entryBytes);
        plane.depth = static_cast<std::uint16_t>(m_facts.depth);
        plane.rows = m_facts.height;
        plane.columns = m_facts.width;
        plane.rowsBefore = compression >= Compression::Zip ? number * m_facts.height : 0;
        plane.bytes = bytes;
        ++number;
    }
    for (const RowRun& run : runs) {
        addRun(channels, run, compression);
    }
    for (Channel& channel : channels) {
        Plane& plane = channel.plane;
        plane.state = plane.rowsRecovered == 0 ? State::Lost : plane.state;
    }
    return channels;
}

/// Cuts a run of rows of all channels at the channels' borders.
void CompositeFinder::addRun(std::vector<Channel>& channels, const RowRun& run,
                             Compression compression)
{
    std::int64_t at = run.offset;
    const std::int32_t last = run.firstRow + run.rowCount;
    for (std::int32_t row = run.firstRow; row < last;) {
        const std::int32_t number = row / m_facts.height;
        const std::int32_t border = std::min(last, (number + 1) * m_facts.height);
        const std::int64_t table =
            run.tableOffset < 0 ? -1
                                : run.tableOffset + std::int64_t{row - run.firstRow} * m_entryBytes;
        Plane& plane = channels[static_cast<std::size_t>(number)].plane;
        plane.runs.push_back({row - number * m_facts.height, border - row, at, table});
        plane.rowsRecovered += border - row;
        const std::int32_t count = border - row;
        row = border;
        if (compression == Compression::Raw) {
            at += count * m_shape.rowBytes;
        } else if (table >= 0) {
            at += packedLength(m_source, table, {count, m_shape.rowBytes}, m_entryBytes) -
                  std::int64_t{count} * m_entryBytes;
        } else if (compression == Compression::PackBits) {
            for (std::int32_t i = 0; i < count; ++i) {
                at += std::max<std::int64_t>(
                    0, rowLengthByWidth(m_source, at, m_source.size(), m_shape.rowBytes));
            }
        }
    }
}

} // namespace talvek::recovery
