#include "recovery/ReportWriter.h"

#include "recovery/output/Verdict.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <span>

namespace talvek::recovery {

namespace {

using Json = nlohmann::ordered_json;

/// Rows between and around the runs, as [first, behind) pairs.
Json lostRows(const Plane& plane)
{
    constexpr std::size_t kMostListed = 1000;
    Json lost = Json::array();
    std::int32_t row = 0;
    const auto add = [&lost](std::int32_t from, std::int32_t to) {
        if (from < to && lost.size() < kMostListed) {
            lost.push_back({from, to});
        }
    };
    for (const RowRun& run : plane.runs) {
        add(row, run.firstRow);
        row = run.firstRow + run.rowCount;
    }
    add(row, plane.rows);
    return lost;
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
        json["lostRows"] = lostRows(plane);
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
    for (const Channel& channel : layer.channels) {
        json["channels"].push_back(describe(channel));
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

} // namespace

bool writeReport(FileManager& files, const RecoveredDocument& document, const std::string& path)
{
    if (!files.createFile(path, {})) {
        return false;
    }
    ReportFile file(files.openForWriting(path));
    file.text("{\"document\": ");
    file.json(describe(document.facts));
    file.text(",\n \"layers\": [");
    bool first = true;
    for (const Layer& layer : document.layers) {
        file.text(first ? "\n  " : ",\n  ");
        file.json(describe(layer));
        first = false;
    }
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
    file.text("}\n");
    return file.close();
}

} // namespace talvek::recovery
