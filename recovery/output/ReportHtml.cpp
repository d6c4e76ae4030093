#include "recovery/output/ReportHtml.h"

#include "recovery/output/Advice.h"
#include "recovery/output/ByteMap.h"
#include "recovery/output/Html.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/Preview.h"
#include "recovery/output/ReportStyle.h"
#include "recovery/output/Verdict.h"

#include <algorithm>
#include <array>
#include <map>

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kMostListed = 3000;
constexpr std::size_t kMostPictureBytes = 6 << 20;
constexpr std::int32_t kPictureSide = 900;
constexpr std::int32_t kThumbnailSide = 120;
constexpr std::size_t kDeepestIndent = 12;

const char* markFor(State state)
{
    constexpr std::array<const char*, 4> kMarks = {"\xE2\x9C\x93", "?", "\xE2\x97\x90",
                                                   "\xE2\x9C\x95"};
    return kMarks.at(static_cast<std::size_t>(state));
}

std::string badge(State state, const std::string& count = {})
{
    const std::string word = wordFor(state);
    return "<span class=\"state " + word + "\"><span aria-hidden=\"true\">" + markFor(state) +
           "</span> " + count + word + "</span>";
}

const char* modeName(ColorMode mode)
{
    switch (mode) {
    case ColorMode::Bitmap:
        return "bitmap";
    case ColorMode::Grayscale:
        return "grayscale";
    case ColorMode::Indexed:
        return "indexed colour";
    case ColorMode::Rgb:
        return "RGB";
    case ColorMode::Cmyk:
        return "CMYK";
    case ColorMode::Multichannel:
        return "multichannel";
    case ColorMode::Duotone:
        return "duotone";
    case ColorMode::Lab:
        return "Lab";
    }
    return "unknown mode";
}

class Page
{
public:
    Page(OutputFile& file, const RecoveredDocument& document, SourceFiles& sources,
         const ReportContents& contents)
        : m_file(file),
          m_document(document),
          m_sources(sources),
          m_contents(contents),
          m_colors(colorFacts(document, sources))
    {
        for (const PictureFile& picture : contents.pictures) {
            if (picture.kind == PictureFile::Kind::Layer) {
                m_pictureOfLayer[picture.layer] = &picture;
            }
        }
    }

    void head();
    void states();
    void picture();
    /// @return false if the run was stopped meanwhile
    bool layers(const RunControl& control, const std::function<void(double)>& progress);
    void sentences(const char* title, const std::vector<std::string>& all);
    void map();
    void savedFiles();
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

std::string Page::facts() const
{
    const DocumentFacts& facts = m_document.facts;
    std::string line = sizeInWords(m_document.size);
    if (facts.width > 0 && facts.height > 0) {
        line = grouped(facts.width) + " \xC3\x97 " + grouped(facts.height) + " pixels, " +
               modeName(facts.mode) + ", " + std::to_string(facts.depth) + " bits a channel" +
               (facts.version == 2 ? ", large document" : "") + ", " + line;
    }
    return line;
}

void Page::head()
{
    const Outcome result = outcome(m_document);
    const char* kind = result == Outcome::Complete  ? "whole"
                       : result == Outcome::Damaged ? "partial"
                                                    : "lost";
    const std::string name = escaped(m_contents.documentName);
    text("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
         name + " \xE2\x80\x93 recovery report</title>\n<style>");
    m_file.append(kReportStyle);
    text("</style>\n</head>\n<body>\n<main>\n<h1>" + name + "</h1>\n<p class=\"verdict " + kind +
         "\">" + escaped(verdict(m_document), 2000) + "</p>\n<p class=\"facts\">" + facts() +
         "</p>\n");
}

/// One badge for each state that occurs, with how many layers are in it.
void Page::states()
{
    const LayerTally count = tally(m_document);
    const std::array<std::int64_t, 4> counts = {count.whole, count.unproved, count.partial,
                                                count.lost};
    if (count.layers == 0) {
        return;
    }
    text("<ul class=\"tally\">");
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            text("<li>" + badge(static_cast<State>(i), grouped(counts[i]) + " ") + "</li>");
        }
    }
    text("</ul>\n");
}

void Page::figure(const std::string& uri, const std::string& words, const std::string& caption)
{
    text("<figure class=\"picture\"><div class=\"frame\"><img class=\"board\" alt=\"" + words +
         "\" src=\"" + uri + "\"></div><figcaption>" + caption + "</figcaption></figure>\n");
}

void Page::picture()
{
    const PictureSource source = pictureOfComposite(m_document);
    if (!source.isWorthShowing()) {
        storedThumbnail();
        return;
    }
    const Preview preview = makePreview(m_sources, source, m_colors.of(source), kPictureSide);
    const Composite& composite = m_document.composite;
    std::string caption = "Made anew from the layers.";
    if (!composite.flattened) {
        caption = std::string("The merged picture: ") + wordFor(composite.state) + ".";
        if (composite.state == State::Partial) {
            caption += " Lost rows are shown in red.";
        }
        if (source.colorsLost) {
            caption += " It is shown in gray, because a colour channel is lost from end to end.";
        }
    }
    figure(dataUri("image/png", preview.png), "The merged picture", caption);
}

/// What the document's writer made for file browsers is better than no picture.
void Page::storedThumbnail()
{
    constexpr std::int64_t kMostJpeg = 512 << 10;
    if (!m_document.thumbnail) {
        return;
    }
    const auto jpeg = m_sources.bytes(m_document.thumbnail->jpeg, kMostJpeg);
    if (!jpeg.empty()) {
        figure(dataUri("image/jpeg", jpeg), "The document's stored thumbnail",
               "The small preview stored in the document; the merged picture itself is lost.");
    }
}

std::size_t Page::depthOf(const Layer& layer) const
{
    std::size_t depth = 0;
    for (std::int32_t parent = layer.parent; parent >= 0 && depth < kDeepestIndent; ++depth) {
        const auto index = static_cast<std::size_t>(parent);
        parent = index < m_document.layers.size() ? m_document.layers[index].parent : -1;
    }
    return depth;
}

std::string Page::thumbnail(const Layer& layer)
{
    if (layer.isDivider()) {
        return "<svg width=\"26\" height=\"20\" viewBox=\"0 0 26 20\" role=\"img\" "
               "aria-label=\"Group\">"
               "<path d=\"M2 5a2 2 0 0 1 2-2h6l3 3h9a2 2 0 0 1 2 2v8a2 2 0 0 1-2 2H4a2 2 0 0 "
               "1-2-2z\" "
               "fill=\"none\" stroke=\"currentColor\" stroke-width=\"1.5\"/></svg>";
    }
    const PictureSource source = pictureOfLayer(m_document, layer);
    if (m_pictureBytes > kMostPictureBytes || !source.isWorthShowing()) {
        return {};
    }
    const Preview preview = makePreview(m_sources, source, m_colors.of(source), kThumbnailSide);
    const std::string uri = dataUri("image/png", preview.png);
    m_pictureBytes += uri.size();
    return "<span class=\"board\"><img alt=\"\" src=\"" + uri + "\"></span>";
}

std::string Page::nameCell(std::size_t index) const
{
    const Layer& layer = m_document.layers[index];
    const std::string name = layer.name.empty() ? "(no name)" : escaped(layer.name);
    const auto picture = m_pictureOfLayer.find(static_cast<std::int32_t>(index));
    std::string cell = "<span class=\"name\">";
    cell += picture == m_pictureOfLayer.end()
                ? name
                : "<a href=\"" + asLink(picture->second->path) + "\">" + name + "</a>";
    cell += "</span>";
    std::string remark = (layer.flags & 2U) != 0 ? "hidden" : "";
    if (!layer.hasRecord && !layer.isDivider() && layer.note.empty()) {
        remark += remark.empty() ? "place unknown" : ", place unknown";
    }
    if (!layer.note.empty()) {
        remark += (remark.empty() ? "" : "; ") + escaped(layer.note, 1000);
    }
    return remark.empty() ? cell : cell + "<br><span class=\"small\">" + remark + "</span>";
}

/// "312 of 400 rows", of the colour channel that lost the most; empty where none did. Where one
/// lost them all, the others have rows that a count of none would deny.
std::string rowsInWords(const Layer& layer)
{
    const Plane* worst = nullptr;
    for (const Channel& channel : layer.channels) {
        const Plane& plane = channel.plane;
        const bool isWorse = plane.rowsRecovered < plane.rows &&
                             (worst == nullptr || plane.rowsRecovered < worst->rowsRecovered);
        if (isWorse && (channel.id >= -1 || worst == nullptr)) {
            worst = &plane;
        }
    }
    if (worst == nullptr || layer.state != State::Partial) {
        return {};
    }
    const std::string words = worst->rowsRecovered == 0 ? "one channel is lost"
                                                        : grouped(worst->rowsRecovered) + " of " +
                                                              grouped(worst->rows) + " rows";
    return "<br><span class=\"small\">" + words + "</span>";
}

void Page::row(std::size_t index)
{
    const Layer& layer = m_document.layers[index];
    const std::string indent = std::to_string(depthOf(layer) * 5);
    std::string place;
    std::string size;
    if (layer.hasPixels() && !layer.isDivider()) {
        size = grouped(layer.bounds.columns()) + " \xC3\x97 " + grouped(layer.bounds.rows());
        place = grouped(layer.bounds.left) + ", " + grouped(layer.bounds.top);
    }
    text(std::string("<tr") + (layer.isDivider() ? " class=\"group\"" : "") +
         "><td class=\"thumb\">" + thumbnail(layer) +
         "</td><td style=\"padding-left:calc(.6rem + " + indent + "*.3rem)\">" + nameCell(index) +
         "</td><td>" + badge(layer.state) + rowsInWords(layer) + "</td><td class=\"num wide\">" +
         size + "</td><td class=\"num wide\">" + place + "</td></tr>\n");
}

bool Page::layers(const RunControl& control, const std::function<void(double)>& progress)
{
    const std::size_t count = m_document.layers.size();
    if (count == 0) {
        return true;
    }
    text("<h2>Layers</h2>\n<div class=\"frame scroll\"><table>\n<thead><tr><th scope=\"col\">"
         "Picture</th><th scope=\"col\">Name</th><th scope=\"col\">State</th>"
         "<th scope=\"col\" class=\"num wide\">Size</th>"
         "<th scope=\"col\" class=\"num wide\">From left, top</th></tr></thead>\n<tbody>\n");
    std::size_t listed = 0;
    for (std::size_t i = count; i-- > 0 && listed < kMostListed;) {
        if (control.isStoppedAfterPause()) {
            return false;
        }
        progress(static_cast<double>(count - i) / static_cast<double>(count));
        // A group shows by its own record; the bracket below its members says nothing more.
        if (m_document.layers[i].group != Group::End) {
            row(i);
            ++listed;
        }
    }
    text(
        "</tbody></table></div>\n<p class=\"small\"><b>Whole</b>: every byte of the layer's pixels "
        "is proved. "
        "<b>Unproved</b>: all there, but nothing in the file can prove it. <b>Partial</b>: some is "
        "lost. <b>Lost</b>: only the layer's description is left.");
    text(listed == kMostListed ? " Layers below these are in report.json.</p>\n" : "</p>\n");
    return true;
}

void Page::sentences(const char* title, const std::vector<std::string>& all)
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

void Page::map()
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

void Page::savedFiles()
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

void Page::foot()
{
    const char* colors = m_contents.usesProfile
                             ? "Colours were converted to sRGB through the document's profile."
                             : "No usable colour profile: RGB and gray count as sRGB, other modes "
                               "were converted by fixed formulas.";
    text("<footer>Masks are not applied to the layers' pictures; they are files of their own. " +
         std::string(m_document.facts.width > 0 ? colors : "") +
         " The damaged file itself was not changed.</footer>\n</main>\n</body>\n</html>\n");
}

} // namespace

bool writeReportPage(FileManager& files, const RecoveredDocument& document, SourceFiles& sources,
                     const ReportContents& contents, const std::string& path,
                     const RunControl& control, const std::function<void(double)>& progress)
{
    OutputFile file(files, path);
    Page page(file, document, sources, contents);
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
