#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>

namespace talvek::recovery {

/// The size of a plane. For the composite, `rows` are those of all channels together.
struct PlaneShape
{
    std::int64_t rows = 0;
    std::int64_t rowBytes = 0;

    [[nodiscard]] bool isEmpty() const { return rows <= 0 || rowBytes <= 0; }
    [[nodiscard]] std::int64_t bytes() const { return rows * rowBytes; }
    auto operator<=>(const PlaneShape&) const = default;
};

/// What stands at a place where a plane is looked for.
struct PlaneCheck
{
    bool isSound = false; ///< everything that the format lets us compare agrees
    Compression compression = Compression::Raw;
    Proof proof = Proof::None;
    std::int64_t length = 0; ///< bytes that the plane takes, its compression code included
};

/// Bytes by which some writers let a channel's length exceed its data.
constexpr std::int64_t kMostPlanePadding = 3;

/// Bytes of the row table and all rows, by the table's own counts; -1 if a count cannot be.
/// @param entryBytes  2, or 4 in a large document
std::int64_t packedLength(SourceBytes& source, std::int64_t offset, const PlaneShape& shape,
                          int entryBytes);

/// Checks that a plane of this shape stands at `offset`, every row of it.
/// @param length  as stated, the code included; -1: not known, then the plane's own counts say
///                where it ends, and a raw one is never sound
PlaneCheck checkPlane(SourceBytes& source, std::int64_t offset, std::int64_t length,
                      const PlaneShape& shape, int entryBytes);

} // namespace talvek::recovery
