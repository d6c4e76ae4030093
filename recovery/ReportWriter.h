#pragma once

#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/output/EmbeddedFiles.h"
#include "recovery/output/PicturePlan.h"

#include <string>
#include <vector>

namespace talvek::recovery {

/// What stands beside the report, and is named in it. All paths are relative to its folder.
struct ReportedFiles
{
    std::vector<output::PictureFile> pictures;
    std::vector<output::EmbeddedOutput> embedded;
    std::vector<std::string> others;        ///< profile, metadata, texts and the like
    std::vector<std::string> fromReference; ///< what another copy supplied, a sentence each
};

/// Writes report.json: for the document, every layer, plane and row what was found, what proves
/// it, where it stands, and which of `written` shows it.
/// @return false if it could not be written whole
bool writeReport(FileManager& files, const RecoveredDocument& document, const std::string& path,
                 const ReportedFiles& written = {});

} // namespace talvek::recovery
