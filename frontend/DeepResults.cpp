#include "frontend/DeepResults.h"

#include "platform/PathString.h"
#include "recovery/LayeredDocumentName.h"
#include "recovery/output/Picture.h"
#include "recovery/output/Verdict.h"

#include <QFile>

#include <algorithm>
#include <map>

namespace talvek {

namespace {

using recovery::Channel;
using recovery::Group;
using recovery::Layer;
using recovery::Plane;
using recovery::RecoveredDocument;
using recovery::State;
using recovery::output::PictureFile;
using recovery::output::PictureSource;

constexpr int kFullOpacity = 255;
constexpr unsigned kHiddenFlag = 2;

/// The rows that no run of the plane holds.
void addGaps(const Plane& plane, std::vector<RowSpan>& gaps)
{
    std::int32_t row = 0;
    for (const auto& run : plane.runs) {
        if (run.firstRow > row) {
            gaps.push_back({row, run.firstRow - row});
        }
        row = std::max(row, run.firstRow + run.rowCount);
    }
    if (row < plane.rows) {
        gaps.push_back({row, plane.rows - row});
    }
}

/// Ordered and disjoint.
std::vector<RowSpan> united(std::vector<RowSpan> spans)
{
    std::sort(spans.begin(), spans.end(),
              [](const RowSpan& a, const RowSpan& b) { return a.first < b.first; });
    std::vector<RowSpan> result;
    for (const RowSpan& span : spans) {
        if (!result.empty() && span.first <= result.back().first + result.back().count) {
            const std::int32_t end =
                std::max(result.back().first + result.back().count, span.first + span.count);
            result.back().count = end - result.back().first;
        } else {
            result.push_back(span);
        }
    }
    return result;
}

std::int64_t rowsIn(const std::vector<RowSpan>& spans)
{
    std::int64_t rows = 0;
    for (const RowSpan& span : spans) {
        rows += span.count;
    }
    return rows;
}

void takeLostRows(const PictureSource& picture, DeepItem& item)
{
    std::vector<RowSpan> gaps;
    for (const Plane* plane : picture.colors) {
        addGaps(*plane, gaps);
    }
    item.lostRows = united(std::move(gaps));
    item.lostRowCount = rowsIn(item.lostRows);
    item.isInGray = picture.colorsLost;
    if (picture.alpha != nullptr) {
        std::vector<RowSpan> transparent;
        addGaps(*picture.alpha, transparent);
        item.lostTransparencyRows = rowsIn(united(std::move(transparent)));
    }
}

class Collector
{
public:
    Collector(const RecoveredDocument& document, const std::vector<PictureFile>& pictures,
              std::string folder)
        : m_document(document), m_folder(std::move(folder))
    {
        for (const PictureFile& picture : pictures) {
            m_pictures[{picture.layer, picture.kind}] = picture.path;
        }
    }

    std::vector<DeepItem> collect(const QString& layeredDocument)
    {
        addWholePicture(layeredDocument);
        // The highest first, as designers know it; so a group comes before what it holds.
        for (auto index = static_cast<std::int32_t>(m_document.layers.size()) - 1; index >= 0;
             --index) {
            const Layer& layer = m_document.layers[static_cast<std::size_t>(index)];
            if (layer.group != Group::End) {
                addLayer(layer, index);
            }
        }
        return std::move(m_items);
    }

private:
    [[nodiscard]] QString pictureOf(std::int32_t layer, PictureFile::Kind kind) const
    {
        const auto found = m_pictures.find({layer, kind});
        return found == m_pictures.end() ? QString() : pathOf(found->second);
    }
    [[nodiscard]] QString pathOf(const std::string& name) const
    {
        return QFile::decodeName(appendingPathComponent(m_folder, name).c_str());
    }
    [[nodiscard]] int itemOf(std::int32_t layer) const
    {
        const auto found = m_itemOfLayer.find(layer);
        return found == m_itemOfLayer.end() ? -1 : found->second;
    }

    void addWholePicture(const QString& layeredDocument);
    void addLayer(const Layer& layer, std::int32_t index);
    void addMask(const Channel& channel, std::int32_t layer, PictureFile::Kind kind, int parent);

    const RecoveredDocument& m_document;
    std::string m_folder;
    std::map<std::pair<std::int32_t, PictureFile::Kind>, std::string> m_pictures;
    std::map<std::int32_t, int> m_itemOfLayer;
    std::vector<DeepItem> m_items;
};

void Collector::addWholePicture(const QString& layeredDocument)
{
    const auto& composite = m_document.composite;
    if (composite.channels.empty() && !composite.flattened) {
        return;
    }
    DeepItem item;
    item.kind = DeepItem::Kind::WholePicture;
    item.state = composite.state;
    item.size = QSize(m_document.facts.width, m_document.facts.height);
    item.isFlattened = composite.flattened;
    item.picture = pictureOf(-1, PictureFile::Kind::Composite);
    takeLostRows(recovery::output::pictureOfComposite(m_document), item);
    if (item.picture.isEmpty() && !layeredDocument.isEmpty()) {
        // Without a file of its own, the one that was made anew still stands in the document.
        item.picture = pathOf(QFile::encodeName(layeredDocument).toStdString());
    }
    m_items.push_back(std::move(item));
}

void Collector::addLayer(const Layer& layer, std::int32_t index)
{
    DeepItem item;
    item.kind = layer.isDivider() ? DeepItem::Kind::Group : DeepItem::Kind::Layer;
    item.parent = itemOf(layer.parent);
    item.name = QString::fromStdString(layer.name).simplified();
    item.state = layer.state;
    item.isWithoutRecord = !layer.hasRecord;
    item.note = QString::fromStdString(layer.note);
    item.blend = QString::fromLatin1(layer.blend.c_str());
    item.isHidden = (layer.flags & kHiddenFlag) != 0;
    item.opacityPercent = (layer.opacity * 100 + kFullOpacity / 2) / kFullOpacity;
    item.place = QPoint(layer.bounds.left, layer.bounds.top);
    if (layer.hasPixels() && item.kind == DeepItem::Kind::Layer) {
        const PictureSource picture = recovery::output::pictureOfLayer(m_document, layer);
        item.size = QSize(picture.columns, picture.rows);
        item.picture = pictureOf(index, PictureFile::Kind::Layer);
        takeLostRows(picture, item);
    }
    const int place = static_cast<int>(m_items.size());
    m_itemOfLayer[index] = place;
    m_items.push_back(std::move(item));
    for (const Channel& channel : layer.channels) {
        if (channel.id == -2) {
            addMask(channel, index, PictureFile::Kind::Mask, place);
        } else if (channel.id == -3) {
            addMask(channel, index, PictureFile::Kind::UserMask, place);
        }
    }
}

void Collector::addMask(const Channel& channel, std::int32_t layer, PictureFile::Kind kind,
                        int parent)
{
    if (channel.plane.isEmpty()) {
        return;
    }
    DeepItem item;
    item.kind = DeepItem::Kind::Mask;
    item.parent = parent;
    item.state = channel.plane.state;
    item.size = QSize(channel.plane.columns, channel.plane.rows);
    item.place = QPoint(channel.bounds.left, channel.bounds.top);
    item.picture = pictureOf(layer, kind);
    takeLostRows(recovery::output::pictureOfMask(channel), item);
    m_items[static_cast<std::size_t>(parent)].isMaskDamaged |= item.state >= State::Partial;
    m_items.push_back(std::move(item));
}

/// The name of the layered document, if it was written.
QString layeredDocumentIn(const FileManager& files, const std::string& folder,
                          const std::string& document)
{
    for (const bool isLarge : {false, true}) {
        const std::string name = recovery::layeredDocumentName(document, isLarge);
        if (files.existsAtPath(appendingPathComponent(folder, name))) {
            return QFile::decodeName(name.c_str());
        }
    }
    return {};
}

/// Only what stands there: a picture that was planned may have turned out to be none.
void listFiles(const recovery::output::RecoveryOutput& output, const FileManager& files,
               const std::string& folder, DeepResults& results)
{
    const auto add = [&](const std::string& path) {
        const bool isThere =
            !path.empty() && files.existsAtPath(appendingPathComponent(folder, path));
        if (isThere) {
            results.everything.push_back(QFile::decodeName(path.c_str()));
        }
        return isThere;
    };
    add(QFile::encodeName(results.layeredDocument).toStdString());
    add("report.json");
    add("report.html");
    for (const PictureFile& picture : output.pictures()) {
        if (add(picture.path)) {
            results.pictures.push_back(results.everything.back());
        }
    }
    for (const auto& embedded : output.embedded()) {
        add(embedded.path);
        add(embedded.recovered);
    }
    for (const std::string& sidecar : output.sidecars()) {
        add(sidecar);
    }
}

} // namespace

DeepResults resultsOf(const RecoveredDocument& document,
                      const recovery::output::RecoveryOutput& output, const FileManager& files,
                      const std::string& folder)
{
    namespace out = recovery::output;
    DeepResults results;
    results.document = QFile::decodeName(document.sources.at(0).c_str());
    results.folder = QFile::decodeName(folder.c_str());
    results.verdict = QString::fromStdString(out::verdict(document));
    results.hasNothing = out::outcome(document) == out::Outcome::Nothing;
    results.report = QStringLiteral("report.html");
    results.layeredDocument = layeredDocumentIn(files, folder, document.sources.at(0));
    results.embeddedCount = static_cast<int>(document.embedded.size());
    listFiles(output, files, folder, results);
    if (results.hasNothing) {
        return results;
    }
    results.size = QSize(document.facts.width, document.facts.height);
    results.depth = document.facts.depth;
    results.mode = document.facts.mode;
    results.layerCount = static_cast<int>(out::tally(document).layers);
    results.items = Collector(document, output.pictures(), folder).collect(results.layeredDocument);
    return results;
}

} // namespace talvek
