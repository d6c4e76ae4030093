#pragma once

#include "platform/FileManager.h"
#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/output/EmbeddedFiles.h"
#include "recovery/output/PicturePlan.h"

#include <functional>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// What else the page tells of; all of it may be empty.
struct ReportContents
{
    std::string documentName;          ///< the file's name
    std::vector<PictureFile> pictures; ///< those that were written, to link to
    std::vector<EmbeddedOutput> embedded;
    std::vector<std::string> otherFiles;    ///< relative paths, to link to
    std::vector<std::string> fromReference; ///< what another copy supplied, a sentence each
    bool usesProfile = false;               ///< colours went through the document's profile
};

/// Writes the report as one page that needs nothing else: no script, no font, no other file.
///
/// Pictures in it are small and of bounded size together; layers behind the 3,000th are counted
/// and not listed. `progress` is called with 0 to 1.
/// @return false if the file could not be written whole; a stopped run leaves none and gives true
bool writeReportPage(FileManager& files, const RecoveredDocument& document, SourceFiles& sources,
                     const ReportContents& contents, const std::string& path,
                     const RunControl& control, const std::function<void(double)>& progress);

} // namespace talvek::recovery::output
