#include "recovery/ReportWriter.h"

#include "recovery/output/Verdict.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace talvek::recovery {

namespace {

using Json = nlohmann::ordered_json;
using output::PictureFile;
constexpr std::uint8_t kHidden = 2;
/// Rows from the first to, and without, the second.
using RowSpan = std::pair<std::int32_t, std::int32_t>;

/// The rows of a plane that are in no run, as [first, behind) pairs.
std::vector<RowSpan> lostRows(const Plane& plane)
{
    std::vector<RowSpan> lost;
    std::int32_t row = 0;
    for (const RowRun& run : plane.runs) {
        if (row < run.firstRow) {
            lost.emplace_back(row, run.firstRow);
        }
        row = std::max(row, run.firstRow + run.rowCount);
    }
    if (row < plane.rows) {
        lost.emplace_back(row, plane.rows);
    }
    return lost;
}

/// The rows of a picture in which at least one of its planes, masks apart, is lost.
std::vector<RowSpan> lostRows(const std::vector<Channel>& channels, std::int32_t rows)
{
    std::vector<RowSpan> all;
    for (const Channel& channel : channels) {
        if (channel.id >= -1 && channel.plane.rows == rows) {
            const auto lost = lostRows(channel.plane);
            all.insert(all.end(), lost.begin(), lost.end());
        }
    }
    std::sort(all.begin(), all.end());
    std::vector<RowSpan> merged;
    for (const auto& [from, to] : all) {
        if (!merged.empty() && from <= merged.back().second) {
            merged.back().second = std::max(merged.back().second, to);
        } else {
            merged.emplace_back(from, to);
        }
    }
    return merged;
}

Json describe(const std::vector<RowSpan>& rows)
{
    constexpr std::size_t kMostListed = 1000;
    Json json = Json::array();
    for (const auto& [from, to] : rows) {
        if (json.size() == kMostListed) {
            // What is not listed one by one is called lost as a whole, so that nobody trusts it.
            json.back()[1] = rows.back().second;
            break;
        }
        json.push_back({from, to});
    }
    return json;
}

const char* nameOf(Proof proof)
{
    switch (proof) {
    case Proof::PackBitsRows:
        return "PackBits rows";
    case Proof::ZipStream:
        return "ZIP checksum";
    case Proof::Length:
        return "length only";
    case Proof::Empty:
        return "empty";
    case Proof::None:
        break;
    }
    return "none";
}

const char* nameOf(HeaderOrigin origin)
{
    switch (origin) {
    case HeaderOrigin::Header:
        return "header";
    case HeaderOrigin::Rebuilt:
        return "rebuilt";
    case HeaderOrigin::Unknown:
        return "unknown";
    case HeaderOrigin::Reference:
        break;
    }
    return "reference";
}

Json describe(const ByteRange& range)
{
    Json json = {{"offset", range.offset}, {"length", range.length}};
    if (range.source > 0) {
        json["source"] = range.source;
    }
    return json;
}

Json describe(const Channel& channel)
{
    const Plane& plane = channel.plane;
    Json json = {{"id", channel.id},
                 {"state", output::wordFor(plane.state)},
                 {"rows", plane.rows},
                 {"rowsRecovered", plane.rowsRecovered},
                 {"proof", nameOf(plane.proof)}};
    if (plane.bytes.length > 0) {
        json["compression"] = static_cast<int>(plane.compression);
        json["bytes"] = describe(plane.bytes);
    }
    if (plane.state == State::Partial) {
        json["lostRows"] = describe(lostRows(plane));
    }
    return json;
}

Json describe(const Layer& layer)
{
    Json json = {{"name", layer.name},
                 {"top", layer.bounds.top},
                 {"left", layer.bounds.left},
                 {"bottom", layer.bounds.bottom},
                 {"right", layer.bounds.right},
                 {"blend", layer.blend},
                 {"opacity", layer.opacity},
                 {"visible", (layer.flags & kHidden) == 0},
                 {"clipped", layer.clipping != 0},
                 {"state", output::wordFor(layer.state)},
                 {"group", static_cast<int>(layer.group)},
                 {"parent", layer.parent},
                 {"channels", Json::array()}};
    if (layer.id) {
        json["id"] = *layer.id;
    }
    if (layer.record.length > 0) {
        json["record"] = describe(layer.record);
    }
    if (!layer.hasRecord) {
        json["hasRecord"] = false;
    }
    if (!layer.note.empty()) {
        json["note"] = layer.note;
    }
    if (layer.hasPixels() && layer.state >= State::Partial) {
        const auto rows = static_cast<std::int32_t>(layer.bounds.rows());
        json["lostRows"] = describe(lostRows(layer.channels, rows));
    }
    for (const Channel& channel : layer.channels) {
        json["channels"].push_back(describe(channel));
    }
    return json;
}

const char* memberFor(PictureFile::Kind kind)
{
    switch (kind) {
    case PictureFile::Kind::Mask:
        return "mask_png";
    case PictureFile::Kind::UserMask:
        return "user_mask_png";
    case PictureFile::Kind::Layer:
    case PictureFile::Kind::Composite:
        break;
    }
    return "png";
}

Json describe(const std::vector<output::EmbeddedOutput>& embedded,
              const RecoveredDocument& document)
{
    Json json = Json::array();
    for (const output::EmbeddedOutput& one : embedded) {
        const EmbeddedFile& file = document.embedded.at(one.embedded);
        json.push_back({{"name", file.name},
                        {"path", one.path},
                        {"state", output::wordFor(one.isShort ? State::Partial : file.state)}});
        if (!one.recovered.empty()) {
            json.back()["recovered"] = one.recovered;
        }
    }
    return json;
}

Json describe(const DocumentFacts& facts)
{
    return {{"width", facts.width},
            {"height", facts.height},
            {"channels", facts.channels},
            {"depth", facts.depth},
            {"mode", static_cast<int>(facts.mode)},
            {"version", facts.version},
            {"origin", nameOf(facts.origin)}};
}

Json describe(const Composite& composite)
{
    Json json = {{"state", output::wordFor(composite.state)},
                 {"rows", composite.rows},
                 {"rowsRecovered", composite.rowsRecovered},
                 {"flattened", composite.flattened}};
    if (composite.state == State::Partial && !composite.channels.empty()) {
        json["lostRows"] =
            describe(lostRows(composite.channels, composite.channels.front().plane.rows));
    }
    if (composite.bytes.length > 0) {
        json["bytes"] = describe(composite.bytes);
    }
    return json;
}

/// A file to which pieces of JSON are appended, so that no document's report is held in memory.
class ReportFile
{
public:
    explicit ReportFile(WritingFileHandle handle) : m_handle(std::move(handle)) {}

    void text(const std::string& text)
    {
        m_handle.append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    void json(const Json& value)
    {
        text(value.dump(-1, ' ', false, Json::error_handler_t::replace));
    }
    void member(const char* name, const Json& value)
    {
        text(std::string(",\n \"") + name + "\": ");
        json(value);
    }
    bool close() { return m_handle.close(); }

private:
    WritingFileHandle m_handle;
};

/// Adds every layer, with its pictures' names. Pictures are in the order of the layers.
void writeLayers(ReportFile& file, const std::vector<Layer>& layers,
                 const std::vector<PictureFile>& pictures)
{
    auto picture = pictures.begin();
    for (std::size_t i = 0; i < layers.size(); ++i) {
        Json json = describe(layers[i]);
        for (; picture != pictures.end() && picture->layer == static_cast<std::int32_t>(i);
             ++picture) {
            json[memberFor(picture->kind)] = picture->path;
        }
        file.text(i == 0 ? "\n  " : ",\n  ");
        file.json(json);
    }
}

void writeNames(ReportFile& file, const RecoveredDocument& document, const ReportedFiles& written)
{
    for (const PictureFile& picture : written.pictures) {
        if (picture.kind == PictureFile::Kind::Composite) {
            file.member("composite_png", picture.path);
        }
    }
    if (!written.embedded.empty()) {
        file.member("embedded", describe(written.embedded, document));
    }
    if (!written.others.empty()) {
        file.member("files", written.others);
    }
    if (!written.fromReference.empty()) {
        file.member("fromReference", written.fromReference);
    }
}

} // namespace

bool writeReport(FileManager& files, const RecoveredDocument& document, const std::string& path,
                 const ReportedFiles& written)
{
    if (!files.createFile(path, {})) {
        return false;
    }
    ReportFile file(files.openForWriting(path));
    file.text("{\"document\": ");
    file.json(describe(document.facts));
    file.text(",\n \"layers\": [");
    writeLayers(file, document.layers, written.pictures);
    file.text("]");
    file.member("verdict", output::verdict(document));
    file.member("composite", describe(document.composite));
    file.member("sources", document.sources);
    file.member("size", document.size);
    file.member("nothingLeft", document.nothingLeft);
    if (document.statedLayers) {
        file.member("statedLayers", *document.statedLayers);
    }
    file.member("planesWithoutRecord", document.planesWithoutRecord);
    file.member("recordsWithoutPlanes", document.recordsWithoutPlanes);
    file.member("missing", document.missing);
    writeNames(file, document, written);
    file.text("}\n");
    return file.close();
}

} // namespace talvek::recovery
