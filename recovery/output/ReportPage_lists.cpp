#include "recovery/output/ByteMap.h"
#include "recovery/output/Html.h"
#include "recovery/output/ReportPage.h"

#include <algorithm>

namespace talvek::recovery::output {

void ReportPage::sentences(const char* title, const std::vector<std::string>& all)
{
    constexpr std::size_t kMostSentences = 200;
    if (all.empty()) {
        return;
    }
    text("<h2>" + std::string(title) + "</h2>\n<ul>\n");
    for (std::size_t i = 0; i < std::min(all.size(), kMostSentences); ++i) {
        text("<li>" + escaped(all[i], 2000) + "</li>\n");
    }
    if (all.size() > kMostSentences) {
        text("<li>" + grouped(static_cast<std::int64_t>(all.size() - kMostSentences)) +
             " more of the kind; all of them are in report.json.</li>\n");
    }
    text("</ul>\n");
}

void ReportPage::map()
{
    const std::string drawing = drawByteMap(m_document);
    if (drawing.empty() || m_document.nothingLeft) {
        return;
    }
    text("<h2>Where the bytes are</h2>\n" + drawing + "\n<ul class=\"legend\">");
    const auto bytes = bytesOfEachMeaning(m_document);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (bytes[i] > 0) {
            text("<li><i class=\"m" + std::to_string(i) + "\"></i>" +
                 wordsFor(static_cast<Meaning>(i)) + ", " + sizeInWords(bytes[i]) + "</li>");
        }
    }
    text("<li><i class=\"badkey\"></i>partly damaged</li><li><i class=\"gone\" "
         "style=\"background:var(--lost)\"></i>lost</li></ul>\n");
}

void ReportPage::savedFiles()
{
    if (m_contents.otherFiles.empty() && m_contents.embedded.empty()) {
        return;
    }
    text("<h2>Files beside this report</h2>\n<ul>\n");
    const auto item = [&](const std::string& path, const std::string& remark) {
        text("<li><a href=\"" + asLink(path) + "\">" + escaped(path) + "</a>" + remark + "</li>\n");
    };
    for (const std::string& path : m_contents.otherFiles) {
        item(path, {});
    }
    constexpr std::size_t kMostFiles = 1000;
    for (std::size_t i = 0; i < std::min(m_contents.embedded.size(), kMostFiles); ++i) {
        const EmbeddedOutput& file = m_contents.embedded[i];
        item(file.path,
             file.isShort ? " (a smart object's source, not whole)" : " (a smart object's source)");
        if (!file.recovered.empty()) {
            item(file.recovered, " (what was recovered of it)");
        }
    }
    text("</ul>\n");
}

void ReportPage::foot()
{
    const char* colors = m_contents.usesProfile
                             ? "Colours were converted to sRGB through the document's profile."
                             : "No usable colour profile: RGB and gray count as sRGB, other modes "
                               "were converted by fixed formulas.";
    text("<footer>Masks are not applied to the layers' pictures; they are files of their own. " +
         std::string(m_document.facts.width > 0 ? colors : "") +
         " The damaged file itself was not changed.</footer>\n</main>\n</body>\n</html>\n");
}

} // namespace talvek::recovery::output
