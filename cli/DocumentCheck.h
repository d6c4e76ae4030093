#pragma once

#include <cstdint>
#include <string>

namespace talvek {

/// What a look at a document found out before anything is done with it.
struct DocumentCheck
{
    /// Why it will not do and what to do, as the rest of a sentence; empty if it will.
    std::string complaint;
    std::int64_t sizeBytes = 0;

    [[nodiscard]] bool isAcceptable() const { return complaint.empty(); }
};

/// How complaints call what the file is wanted for.
struct Purpose
{
    const char* verb;       ///< "repair"
    const char* participle; ///< "repaired"
    const char* noun;       ///< "repair"
};

/// Looks whether `path`, links followed, is a regular file that can be opened, whatever it holds.
/// Opens without blocking, so a FIFO or a device is refused at once. "-" is refused as standard
/// input.
DocumentCheck checkFile(const std::string& path, const Purpose& purpose);

/// The same for a repair, and looks at the header.
DocumentCheck checkDocument(const std::string& path);

} // namespace talvek
