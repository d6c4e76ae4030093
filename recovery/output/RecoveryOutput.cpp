// The run, in order:
//  1. what is copied as it is: profile, metadata, thumbnail
//  2. the wording of text layers
//  3. source files of smart objects; damaged documents among them are recovered in turn
//  4. pictures
//  5. the report for programs, which names all of it, and the one for people, which links to it

#include "recovery/output/RecoveryOutput.h"

#include "platform/PathString.h"
#include "recovery/CompositeFinder.h"
#include "recovery/Examination.h"
#include "recovery/HeaderFinder.h"
#include "recovery/LayeredDocumentName.h"
#include "recovery/LayeredDocumentWriter.h"
#include "recovery/PlaneReader.h"
#include "recovery/ReportWriter.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/Picture.h"
#include "recovery/output/PictureFiles.h"
#include "recovery/output/ReportHtml.h"
#include "recovery/output/TextLayers.h"
#include "recovery/output/Verdict.h"

#include <optional>
#include <utility>

namespace talvek::recovery::output {

namespace {

/// Pictures take nearly all of the time.
constexpr double kPicturesFrom = 0.05;
constexpr double kPageFrom = 0.95;
const std::string kReportName = "report.json";

std::vector<std::string> layeredNames(const RecoveredDocument& document)
{
    const std::string& path = document.sources.at(0);
    return {layeredDocumentName(path, false), layeredDocumentName(path, true)};
}

/// The picture that was made anew stands in the layered document alone. It is read there, because
/// making it once more would take all layers open at once, for every channel.
RecoveredDocument withFlattenedPicture(const RecoveredDocument& document, const std::string& path,
                                       FileManager& files, const RunControl& control)
{
    RecoveredDocument shown = document;
    ReadingFileHandle handle = files.openForReading(path);
    SourceBytes source(handle);
    const auto facts = readHeader(source, 0);
    if (!facts) {
        return shown;
    }
    const std::int64_t at = readStatedSections(source, 0, facts->version == 2).layersEnd;
    Composite made = CompositeFinder(source, *facts, control).run(at, {at}, source.size(), at);
    if (made.state > State::Unproved) {
        return shown;
    }
    for (Channel& channel : made.channels) {
        channel.plane.bytes.source = static_cast<std::int32_t>(shown.sources.size());
    }
    shown.composite.channels = std::move(made.channels);
    shown.sources.push_back(path);
    return shown;
}

} // namespace

/// What the stages of one run share.
struct RecoveryOutput::Run
{
    Run(const FileManager& files, const RecoveredDocument& of, const RecoveredDocument& shows,
        std::string in, const Progress& tell)
        : document(of),
          shown(shows),
          folder(std::move(in)),
          progress(tell),
          sources(files, shows.sources)
    {}

    [[nodiscard]] std::string pathOf(const std::string& name) const
    {
        return appendingPathComponent(folder, name);
    }

    const RecoveredDocument& document;
    const RecoveredDocument& shown; ///< the same, with the picture that was made anew
    std::string folder;
    const Progress& progress;
    SourceFiles sources;
};

RecoveryOutput::RecoveryOutput(FileManager& files, const RunControl& control, OutputOptions options)
    : m_files(files), m_control(control), m_options(std::move(options))
{}

OutputResult RecoveryOutput::write(const RecoveredDocument& document, const std::string& folder,
                                   const Progress& progress)
{
    m_pictures.clear();
    m_embedded.clear();
    m_sidecars.clear();
    std::optional<RecoveredDocument> shown;
    for (const std::string& name : layeredNames(document)) {
        const std::string path = appendingPathComponent(folder, name);
        if (document.composite.flattened && !shown && m_files.existsAtPath(path)) {
            shown = withFlattenedPicture(document, path, m_files, m_control);
        }
    }
    Run run(m_files, document, shown ? *shown : document, folder, progress);
    if (!writeSidecars(run) || !writeTexts(run) || !writeEmbedded(run)) {
        return OutputResult::Failed;
    }
    const OutputResult pictures = writeAllPictures(run);
    if (pictures != OutputResult::Written) {
        return pictures;
    }
    if (!writeReportFile(run) || !writePage(run)) {
        return OutputResult::Failed;
    }
    progress("Done", 1);
    return m_control.stop() ? OutputResult::Stopped : OutputResult::Written;
}

bool RecoveryOutput::writeSidecars(Run& run)
{
    run.progress("Writing profile and metadata", 0);
    return writeRange(run, run.document.profile, "Profile.icc") &&
           writeRange(run, run.document.xmp, "Metadata.xmp") &&
           (!run.document.thumbnail ||
            writeRange(run, run.document.thumbnail->jpeg, "Thumbnail.jpg"));
}

bool RecoveryOutput::writeRange(Run& run, const ByteRange& bytes, const std::string& name)
{
    if (bytes.length <= 0 || m_control.isStoppedAfterPause()) {
        return true;
    }
    OutputFile file(m_files, run.pathOf(name));
    if (copyRange(run.sources, bytes, file) < 0 || !file.close()) {
        return false;
    }
    m_sidecars.push_back(name);
    return true;
}

bool RecoveryOutput::writeTexts(Run& run)
{
    const auto texts = textLayers(run.document, run.sources);
    if (texts.empty()) {
        return true;
    }
    OutputFile file(m_files, run.pathOf("Text.txt"));
    file.append(asPage(run.document, texts));
    if (!file.close()) {
        return false;
    }
    m_sidecars.emplace_back("Text.txt");
    return true;
}

bool RecoveryOutput::writeEmbedded(Run& run)
{
    if (!m_options.embeddedFiles) {
        return true;
    }
    run.progress("Writing the smart objects' files", kPicturesFrom / 2);
    RecoverInTurn recover;
    if (m_options.recoverEmbedded) {
        recover = [this](const std::string& from, const std::string& to) {
            return recoverInTurn(from, to);
        };
    }
    auto written =
        writeEmbeddedFiles(m_files, run.document, run.sources, run.folder, m_control, recover);
    if (!written) {
        return false;
    }
    m_embedded = std::move(*written);
    return true;
}

/// Goes one level deep: what is embedded in an embedded document stays inside it.
bool RecoveryOutput::recoverInTurn(const std::string& from, const std::string& to)
{
    ReadingFileHandle handle = m_files.openForReading(from);
    SourceBytes source(handle);
    Examination examination(source, m_control, [](const std::string&, double) {});
    const RecoveredDocument document = examination.run(from);
    const bool isSound = outcome(document) == Outcome::Complete &&
                         document.facts.origin == HeaderOrigin::Header && document.missing.empty();
    if (m_control.stop() || isSound || outcome(document) == Outcome::Nothing) {
        return false;
    }
    SourceFiles sources(m_files, document.sources);
    LayeredDocumentWriter writer(m_files, sources, document, m_control);
    if (writer.write(to, [](double) {}) && !m_control.stop()) {
        return true;
    }
    m_files.removeItem(to);
    return false;
}

OutputResult RecoveryOutput::writeAllPictures(Run& run)
{
    if (!m_options.pictures) {
        return OutputResult::Written;
    }
    m_pictures = planPictures(run.shown);
    const auto tell = [&run](double share) {
        run.progress("Writing the layers' pictures",
                     kPicturesFrom + (kPageFrom - kPicturesFrom) * share);
    };
    switch (writePictures(m_files, run.shown, m_pictures, run.folder, m_control, tell)) {
    case PictureResult::Written:
        return OutputResult::Written;
    case PictureResult::Stopped:
        return OutputResult::Stopped;
    case PictureResult::Failed:
        break;
    }
    return OutputResult::Failed;
}

bool RecoveryOutput::writeReportFile(Run& run)
{
    const ReportedFiles written{m_pictures, m_embedded, m_sidecars, m_options.fromReference};
    return writeReport(m_files, run.document, run.pathOf(kReportName), written);
}

bool RecoveryOutput::writePage(Run& run)
{
    if (!m_options.reportPage) {
        return true;
    }
    ReportContents contents;
    contents.documentName = lastPathComponent(run.document.sources.at(0));
    contents.pictures = m_pictures;
    contents.embedded = m_embedded;
    std::vector<std::string> names = layeredNames(run.document);
    names.push_back(kReportName);
    for (const std::string& name : names) {
        if (m_files.existsAtPath(run.pathOf(name))) {
            contents.otherFiles.push_back(name);
        }
    }
    contents.otherFiles.insert(contents.otherFiles.end(), m_sidecars.begin(), m_sidecars.end());
    contents.fromReference = m_options.fromReference;
    contents.usesProfile = ColorConversion(colorFacts(run.document, run.sources)).usesProfile();
    return writeReportPage(m_files, run.shown, run.sources, contents, run.pathOf("report.html"),
                           m_control, [&run](double share) {
                               run.progress("Writing the report",
                                            kPageFrom + (1 - kPageFrom) * share);
                           });
}

} // namespace talvek::recovery::output
