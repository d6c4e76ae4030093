#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>

namespace talvek::recovery {

/// Goes through the rows of a PackBits plane and says where each one's bytes are.
class PackedRows
{
public:
    struct Row
    {
        std::int64_t offset = 0;
        std::int64_t count = 0; ///< packed bytes; 0: the row is lost
    };

    PackedRows(SourceBytes& source, const Plane& plane) : m_source(source), m_plane(plane) {}

    /// The next row; a lost one past the last.
    Row next();

private:
    std::int64_t countOf(const RowRun& run);

    SourceBytes& m_source;
    const Plane& m_plane;
    std::size_t m_run = 0;
    std::int32_t m_row = 0;
    std::int64_t m_at = 0;
};

} // namespace talvek::recovery
