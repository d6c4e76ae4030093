#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/Picture.h"
#include "recovery/output/ReportHtml.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// A layer's state as word and mark, for those who cannot tell the colours apart.
/// @param count  stands in front of the word; may be empty
std::string stateBadge(State state, const std::string& count = {});

/// The parts of the report as a page; each appends its HTML to the file, and nothing where the
/// document has nothing to tell of. One thread; what it is made of outlives it.
class ReportPage
{
public:
    ReportPage(OutputFile& file, const RecoveredDocument& document, SourceFiles& sources,
               const ReportContents& contents);

    /// Title, verdict, and the document's facts in a line.
    void head();
    /// How many layers are in each state.
    void states();
    /// The merged picture, or what is left to show in its place.
    void picture();
    /// The table of layers; `progress` is called with 0 to 1.
    /// @return false if the run was stopped meanwhile
    bool layers(const RunControl& control, const std::function<void(double)>& progress);
    /// A titled list.
    void sentences(const char* title, const std::vector<std::string>& all);
    /// What each part of the document's bytes is, and how it fares.
    void map();
    /// Links to what stands beside the report.
    void savedFiles();
    /// What holds for all pictures, and the page's end.
    void foot();

private:
    void text(const std::string& html) { m_file.append(html); }
    [[nodiscard]] std::string facts() const;
    void figure(const std::string& uri, const std::string& words, const std::string& caption);
    void storedThumbnail();
    void row(std::size_t index);
    [[nodiscard]] std::string thumbnail(const Layer& layer);
    [[nodiscard]] std::string nameCell(std::size_t index) const;
    [[nodiscard]] std::size_t depthOf(const Layer& layer) const;

    OutputFile& m_file;
    const RecoveredDocument& m_document;
    SourceFiles& m_sources;
    const ReportContents& m_contents;
    Colors m_colors;
    std::map<std::int32_t, const PictureFile*> m_pictureOfLayer;
    std::size_t m_pictureBytes = 0;
};

} // namespace talvek::recovery::output
