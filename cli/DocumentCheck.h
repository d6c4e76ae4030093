#pragma once

#include <cstdint>
#include <string>

namespace talvek {

/// What a look at a document found out before its repair.
struct DocumentCheck
{
    /// Why it cannot be repaired and what to do, as the rest of a sentence; empty if it can be.
    std::string complaint;
    std::int64_t sizeBytes = 0;

    [[nodiscard]] bool isAcceptable() const { return complaint.empty(); }
};

/// Looks at the file at `path`, links followed, and at its header. Opens without blocking, so a
/// FIFO or a device is refused at once. "-" is refused as standard input.
DocumentCheck checkDocument(const std::string& path);

} // namespace talvek
