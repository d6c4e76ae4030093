#pragma once

#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/output/EmbeddedFiles.h"
#include "recovery/output/PicturePlan.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talvek::recovery {
class SourceFiles;
}

namespace talvek::recovery::output {

/// What is to be written, and what others know that the report is to tell.
struct OutputOptions
{
    bool pictures = true;                   ///< Layers/*.png and Composite.png
    bool embeddedFiles = true;              ///< Embedded/*
    bool recoverEmbedded = true;            ///< damaged documents among them, in turn
    bool reportPage = true;                 ///< report.html
    std::vector<std::string> fromReference; ///< what another copy supplied, a sentence each
};

/// How writing ended.
enum class OutputResult : std::uint8_t
{
    Written,
    Stopped, ///< by the run's control; every file that is there is whole
    Failed,  ///< a file could not be written whole
};

/// Writes what a recovery gives beside the layered document: pictures, source files of smart
/// objects, texts, profile, metadata, thumbnail, report.json with the names of all these, and the
/// report as a page.
///
/// Works on the caller's thread, and for the pictures on all processors. Memory stays below
/// 100 MiB whatever the document. One run at a time.
class RecoveryOutput
{
public:
    /// Called on the caller's thread with what is being done and 0 to 1, never decreasing.
    using Progress = std::function<void(const std::string& status, double share)>;

    /// `files` and `control` outlive the object.
    RecoveryOutput(FileManager& files, const RunControl& control, OutputOptions options = {});

    /// Writes into the folder at `folder`, which must exist. The page links to the layered document
    /// if it stands there already.
    /// @param document  its sources are opened for reading, and nothing else of them is touched
    OutputResult write(const RecoveredDocument& document, const std::string& folder,
                       const Progress& progress);

    /// The pictures that the last run wrote, or was to write.
    [[nodiscard]] const std::vector<PictureFile>& pictures() const { return m_pictures; }
    /// The embedded files that the last run wrote.
    [[nodiscard]] const std::vector<EmbeddedOutput>& embedded() const { return m_embedded; }
    /// Relative paths of the other files that the last run wrote.
    [[nodiscard]] const std::vector<std::string>& sidecars() const { return m_sidecars; }

private:
    struct Run;

    bool writeSidecars(Run& run);
    bool writeRange(Run& run, const ByteRange& bytes, const std::string& name);
    bool writeTexts(Run& run);
    bool writeEmbedded(Run& run);
    OutputResult writeAllPictures(Run& run);
    bool writeReportFile(Run& run);
    bool writePage(Run& run);
    bool recoverInTurn(const std::string& from, const std::string& to);

    FileManager& m_files;
    const RunControl& m_control;
    OutputOptions m_options;
    std::vector<PictureFile> m_pictures;
    std::vector<EmbeddedOutput> m_embedded;
    std::vector<std::string> m_sidecars;
};

} // namespace talvek::recovery::output
