#include "recovery/PlaneWriter.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PackedRows.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;

bool isComplete(const Plane& plane)
{
    return plane.state == State::Whole || plane.state == State::Unproved;
}

} // namespace

PlaneWriter::PlaneWriter(SourceFiles& sources, std::vector<const Plane*> planes, int entryBytes,
                         std::uint8_t fill)
    : m_sources(sources),
      m_planes(std::move(planes)),
      m_entryBytes(entryBytes),
      m_fill(fill),
      m_way(chooseWay())
{}

PlaneWriter::Way PlaneWriter::chooseWay() const
{
    if (m_planes.empty() || m_planes.front()->isEmpty()) {
        return Way::Nothing;
    }
    if (isInOnePiece()) {
        return Way::Copy;
    }
    const bool packed = std::all_of(m_planes.begin(), m_planes.end(), [](const Plane* plane) {
        return plane->compression == Compression::PackBits || plane->runs.empty();
    });
    return packed ? Way::Repack : Way::Decode;
}

bool PlaneWriter::isInOnePiece() const
{
    return std::all_of(m_planes.begin(), m_planes.end(), [this](const Plane* plane) {
        const bool packed = plane->compression == Compression::PackBits;
        return isComplete(*plane) && plane->bytes.length > 0 &&
               plane->bytes == m_planes.front()->bytes &&
               (!packed || plane->tableEntryBytes == m_entryBytes);
    });
}

std::int64_t PlaneWriter::rows() const
{
    std::int64_t rows = 0;
    for (const Plane* plane : m_planes) {
        rows += plane->rows;
    }
    return rows;
}

std::int64_t PlaneWriter::rowBytes() const
{
    return m_planes.front()->rowBytes();
}

std::int64_t PlaneWriter::length()
{
    switch (m_way) {
    case Way::Nothing:
        return kCodeBytes;
    case Way::Copy:
        return m_planes.front()->bytes.length;
    case Way::Repack:
        return repackedLength();
    case Way::Decode:
        break;
    }
    return kCodeBytes + rows() * rowBytes();
}

std::int64_t PlaneWriter::repackedLength()
{
    std::int64_t length = kCodeBytes + rows() * m_entryBytes;
    for (const Plane* plane : m_planes) {
        PackedRows packed(m_sources.at(plane->bytes.source), *plane);
        for (std::int32_t row = 0; row < plane->rows; ++row) {
            const std::int64_t count = packed.next().count;
            length += count > 0 ? count : packedFillLength(rowBytes());
        }
    }
    return length;
}

void PlaneWriter::write(DocumentOutput& output)
{
    switch (m_way) {
    case Way::Nothing:
        output.u16(0);
        break;
    case Way::Copy:
        output.copy(m_planes.front()->bytes);
        break;
    case Way::Repack:
        repack(output);
        break;
    case Way::Decode:
        decode(output);
        break;
    }
}

void PlaneWriter::repack(DocumentOutput& output)
{
    const std::int64_t fillLength = packedFillLength(rowBytes());
    std::vector<std::uint8_t> lost(static_cast<std::size_t>(fillLength));
    packFill(rowBytes(), m_fill, lost);
    output.u16(static_cast<std::int64_t>(Compression::PackBits));
    for (const Plane* plane : m_planes) {
        PackedRows packed(m_sources.at(plane->bytes.source), *plane);
        for (std::int32_t row = 0; row < plane->rows; ++row) {
            const std::int64_t count = packed.next().count;
            output.number(static_cast<std::uint64_t>(count > 0 ? count : fillLength), m_entryBytes);
        }
    }
    for (const Plane* plane : m_planes) {
        PackedRows packed(m_sources.at(plane->bytes.source), *plane);
        for (std::int32_t row = 0; row < plane->rows; ++row) {
            const PackedRows::Row one = packed.next();
            if (one.count > 0) {
                output.copy({one.offset, one.count, plane->bytes.source});
            } else {
                output.bytes(lost);
            }
        }
    }
}

void PlaneWriter::decode(DocumentOutput& output)
{
    std::vector<std::uint8_t> row(static_cast<std::size_t>(rowBytes()));
    output.u16(static_cast<std::int64_t>(Compression::Raw));
    for (const Plane* plane : m_planes) {
        const auto reader = openPlane(m_sources, *plane);
        for (std::int32_t y = 0; y < plane->rows; ++y) {
            if (!reader->readRow(row)) {
                std::fill(row.begin(), row.end(), m_fill);
            }
            output.bytes(row);
        }
    }
}

} // namespace talvek::recovery
