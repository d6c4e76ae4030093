#pragma once

#include "platform/NotificationCenter.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek {

/// The files that a recovery has left.
struct RecoveredFiles
{
    std::vector<FileRecord> records; ///< what a designer wants first comes first
    std::uint64_t totalBytes = 0;
};

/// Lists the files in `folder` and the folders below it: the layered document, the report, the
/// merged picture, the layers in their order, then the rest.
/// @param published  where the folder will stand in the end
RecoveredFiles listRecoveredFiles(const std::string& folder, const std::string& published);

} // namespace talvek
