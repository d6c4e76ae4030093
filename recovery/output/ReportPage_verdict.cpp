#include "recovery/output/Html.h"
#include "recovery/output/ReportPage.h"
#include "recovery/output/ReportStyle.h"
#include "recovery/output/Verdict.h"

#include <array>

namespace talvek::recovery::output {

namespace {

const char* markFor(State state)
{
    constexpr std::array<const char*, 4> kMarks = {"\xE2\x9C\x93", "?", "\xE2\x97\x90",
                                                   "\xE2\x9C\x95"};
    return kMarks.at(static_cast<std::size_t>(state));
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

} // namespace

std::string stateBadge(State state, const std::string& count)
{
    const std::string word = wordFor(state);
    return "<span class=\"state " + word + "\"><span aria-hidden=\"true\">" + markFor(state) +
           "</span> " + count + word + "</span>";
}

ReportPage::ReportPage(OutputFile& file, const RecoveredDocument& document, SourceFiles& sources,
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

std::string ReportPage::facts() const
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

void ReportPage::head()
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
void ReportPage::states()
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
            text("<li>" + stateBadge(static_cast<State>(i), grouped(counts[i]) + " ") + "</li>");
        }
    }
    text("</ul>\n");
}

} // namespace talvek::recovery::output
