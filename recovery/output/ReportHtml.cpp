#include "recovery/output/ReportHtml.h"

#include "recovery/output/Advice.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/ReportPage.h"
#include "recovery/output/Verdict.h"

namespace talvek::recovery::output {

bool writeReportPage(FileManager& files, const RecoveredDocument& document, SourceFiles& sources,
                     const ReportContents& contents, const std::string& path,
                     const RunControl& control, const std::function<void(double)>& progress)
{
    OutputFile file(files, path);
    ReportPage page(file, document, sources, contents);
    page.head();
    page.states();
    page.picture();
    page.sentences("What is missing", missingPieces(document));
    page.sentences("Taken from the other copy", contents.fromReference);
    page.sentences("What to try next", nextSteps(document, !contents.fromReference.empty()));
    if (!page.layers(control, progress)) {
        return true;
    }
    page.map();
    page.savedFiles();
    page.foot();
    return file.close();
}

} // namespace talvek::recovery::output
