#pragma once

#include "recovery/DocumentOutput.h"
#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// Writes planes that stand under one compression code: one plane of a layer, or all of the
/// composite.
///
/// What is there in one piece is copied as it is. Of a damaged PackBits plane the rows that were
/// recovered are copied packed. Everything else is decoded and written raw.
class PlaneWriter
{
public:
    /// @param planes      of one width and depth; they outlive the writer
    /// @param entryBytes  of the row table in the document written
    /// @param fill        value of rows that are lost
    PlaneWriter(SourceFiles& sources, std::vector<const Plane*> planes, int entryBytes,
                std::uint8_t fill);

    /// Bytes that `write` makes, the compression code included.
    [[nodiscard]] std::int64_t length();
    void write(DocumentOutput& output);

private:
    enum class Way
    {
        Nothing,
        Copy,
        Repack,
        Decode,
    };

    [[nodiscard]] Way chooseWay() const;
    [[nodiscard]] bool isInOnePiece() const;
    std::int64_t repackedLength();
    void repack(DocumentOutput& output);
    void decode(DocumentOutput& output);
    [[nodiscard]] std::int64_t rows() const;
    [[nodiscard]] std::int64_t rowBytes() const;

    SourceFiles& m_sources;
    std::vector<const Plane*> m_planes;
    int m_entryBytes;
    std::uint8_t m_fill;
    Way m_way;
};

} // namespace talvek::recovery
