#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// Finds the merged picture.
///
/// In PackBits its rows reach exactly the end of the file; raw, its size is known from the header,
/// so that the end of the file gives its beginning.
class CompositeFinder
{
public:
    CompositeFinder(SourceBytes& source, const DocumentFacts& facts, const RunControl& control);

    /// @param stated      where the sections' own lengths say that it begins; -1 unknown
    /// @param candidates  where it may begin, the likeliest first
    /// @param scanFrom    behind everything that is known to be something else
    /// @param partFrom    where a picture that does not prove itself, because it is raw or lacks
    ///                    rows, begins at the earliest: rows of layers look like its own
    Composite run(std::int64_t stated, const std::vector<std::int64_t>& candidates,
                  std::int64_t scanFrom, std::int64_t partFrom);

private:
    [[nodiscard]] bool isWholeAt(std::int64_t offset);
    [[nodiscard]] std::vector<std::int64_t> scan(std::int64_t from);
    [[nodiscard]] Composite bestOf(const std::vector<std::int64_t>& candidates);
    [[nodiscard]] bool rowsBeginAt(std::int64_t offset);
    [[nodiscard]] Composite whole(std::int64_t offset);
    [[nodiscard]] Composite salvaged(std::int64_t offset);
    [[nodiscard]] std::vector<Channel> channelsOf(const std::vector<RowRun>& runs,
                                                  const ByteRange& bytes, State state,
                                                  Compression compression);
    void addRun(std::vector<Channel>& channels, const RowRun& run, Compression compression);

    SourceBytes& m_source;
    const DocumentFacts& m_facts;
    const RunControl& m_control;
    PlaneShape m_shape;
    int m_entryBytes;
    std::int64_t m_partFrom = 0;
    PlaneCheck m_check;
};

} // namespace talvek::recovery
