#include "recovery/output/Html.h"
#include "recovery/output/Preview.h"
#include "recovery/output/ReportPage.h"

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kMostListed = 3000;
constexpr std::size_t kMostPictureBytes = 6 << 20;
constexpr std::int32_t kThumbnailSide = 120;
constexpr std::size_t kDeepestIndent = 12;

/// "312 of 400 rows", of the colour channel that lost the most; empty where none did. Where one
/// lost them all, the others have rows that a count of none would deny.
std::string lostChannels(std::int64_t lost)
{
    return lost == 1 ? "one channel is lost" : std::to_string(lost) + " channels are lost";
}

std::string rowsInWords(const Layer& layer)
{
    const Plane* worst = nullptr;
    std::int64_t lost = 0;
    for (const Channel& channel : layer.channels) {
        const Plane& plane = channel.plane;
        lost += plane.rows > 0 && plane.rowsRecovered == 0 ? 1 : 0;
        const bool isWorse = plane.rowsRecovered < plane.rows &&
                             (worst == nullptr || plane.rowsRecovered < worst->rowsRecovered);
        if (isWorse && (channel.id >= -1 || worst == nullptr)) {
            worst = &plane;
        }
    }
    if (worst == nullptr || layer.state != State::Partial) {
        return {};
    }
    const std::string words = worst->rowsRecovered == 0 ? lostChannels(lost)
                                                        : grouped(worst->rowsRecovered) + " of " +
                                                              grouped(worst->rows) + " rows";
    return "<br><span class=\"small\">" + words + "</span>";
}

} // namespace

std::size_t ReportPage::depthOf(const Layer& layer) const
{
    std::size_t depth = 0;
    for (std::int32_t parent = layer.parent; parent >= 0 && depth < kDeepestIndent; ++depth) {
        const auto index = static_cast<std::size_t>(parent);
        parent = index < m_document.layers.size() ? m_document.layers[index].parent : -1;
    }
    return depth;
}

std::string ReportPage::thumbnail(const Layer& layer)
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

std::string ReportPage::nameCell(std::size_t index) const
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

void ReportPage::row(std::size_t index)
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
         "</td><td>" + stateBadge(layer.state) + rowsInWords(layer) +
         "</td><td class=\"num wide\">" + size + "</td><td class=\"num wide\">" + place +
         "</td></tr>\n");
}

bool ReportPage::layers(const RunControl& control, const std::function<void(double)>& progress)
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

} // namespace talvek::recovery::output
