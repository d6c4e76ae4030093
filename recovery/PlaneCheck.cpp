#include "recovery/PlaneCheck.h"

#include "recovery/PackBitsRow.h"
#include "recovery/ZipStream.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;

bool agrees(std::int64_t stated, std::int64_t counted)
{
    return stated < 0 || (stated >= counted && stated - counted <= kMostPlanePadding);
}

PlaneCheck checkPackBits(SourceBytes& source, std::int64_t offset, std::int64_t length,
                         const PlaneShape& shape, int entryBytes)
{
    PlaneCheck check{false, Compression::PackBits, Proof::None, length};
    const std::int64_t packed = packedLength(source, offset + kCodeBytes, shape, entryBytes);
    if (packed < 0 || !agrees(length, kCodeBytes + packed) ||
        offset + kCodeBytes + packed > source.size()) {
        return check;
    }
    std::int64_t at = offset + kCodeBytes + shape.rows * entryBytes;
    for (std::int64_t row = 0; row < shape.rows; ++row) {
        const auto count = static_cast<std::int64_t>(source.number(
            offset + kCodeBytes + row * entryBytes, static_cast<std::size_t>(entryBytes)));
        if (!rowFits(source, at, count, shape.rowBytes)) {
            return check;
        }
        at += count;
    }
    check.isSound = true;
    check.proof = Proof::PackBitsRows;
    check.length = std::max(length, kCodeBytes + packed);
    return check;
}

PlaneCheck checkZip(SourceBytes& source, std::int64_t offset, std::int64_t length,
                    const PlaneShape& shape, Compression compression)
{
    PlaneCheck check{false, compression, Proof::None, length};
    if (!isZipHeader(source, offset + kCodeBytes)) {
        return check;
    }
    const std::int64_t limit = length < 0 ? source.size() : offset + length;
    const ZipExtent extent = measureZip(source, offset + kCodeBytes, limit, shape.bytes());
    check.isSound = extent.isProved && extent.produced == shape.bytes() &&
                    agrees(length, kCodeBytes + extent.consumed);
    check.proof = check.isSound ? Proof::ZipStream : Proof::None;
    check.length = std::max(length, kCodeBytes + extent.consumed);
    return check;
}

} // namespace

std::int64_t packedLength(SourceBytes& source, std::int64_t offset, const PlaneShape& shape,
                          int entryBytes)
{
    const std::int64_t table = shape.rows * entryBytes;
    std::int64_t total = table;
    const auto most = static_cast<std::uint64_t>(mostPacked(shape.rowBytes));
    const auto step = static_cast<std::size_t>(entryBytes);
    for (std::int64_t done = 0; done < table;) {
        const auto wanted = std::min<std::int64_t>(table - done, SourceBytes::kMostView);
        const auto view = source.at(offset + done, static_cast<std::size_t>(wanted));
        if (view.size() < static_cast<std::size_t>(wanted)) {
            return -1;
        }
        for (std::size_t at = 0; at < view.size(); at += step) {
            const std::uint64_t count = bigEndian(view.subspan(at), step);
            if (count == 0 || count > most) {
                return -1;
            }
            total += static_cast<std::int64_t>(count);
        }
        done += wanted;
    }
    return total;
}

PlaneCheck checkPlane(SourceBytes& source, std::int64_t offset, std::int64_t length,
                      const PlaneShape& shape, int entryBytes)
{
    if (offset < 0 || offset > source.size() - kCodeBytes) {
        return {};
    }
    switch (source.u16(offset)) {
    case 0:
        return {length == kCodeBytes + shape.bytes() && offset + length <= source.size(),
                Compression::Raw, Proof::Length, length};
    case 1:
        return checkPackBits(source, offset, length, shape, entryBytes);
    case 2:
        return checkZip(source, offset, length, shape, Compression::Zip);
    case 3:
        return checkZip(source, offset, length, shape, Compression::ZipPredicted);
    default:
        return {};
    }
}

} // namespace talvek::recovery
