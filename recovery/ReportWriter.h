#pragma once

#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"

#include <string>

namespace talvek::recovery {

/// Writes report.json: for the document, every layer, plane and row what was found, what proves
/// it and where it stands. @return false if it could not be written whole
bool writeReport(FileManager& files, const RecoveredDocument& document, const std::string& path);

} // namespace talvek::recovery
