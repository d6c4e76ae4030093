#include "recovery/output/Html.h"
#include "recovery/output/Preview.h"
#include "recovery/output/ReportPage.h"
#include "recovery/output/Verdict.h"

namespace talvek::recovery::output {

namespace {

constexpr std::int32_t kPictureSide = 900;

} // namespace

void ReportPage::figure(const std::string& uri, const std::string& words,
                        const std::string& caption)
{
    text("<figure class=\"picture\"><div class=\"frame\"><img class=\"board\" alt=\"" + words +
         "\" src=\"" + uri + "\"></div><figcaption>" + caption + "</figcaption></figure>\n");
}

void ReportPage::picture()
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
void ReportPage::storedThumbnail()
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

} // namespace talvek::recovery::output
