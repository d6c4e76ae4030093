#include "tests/cli/DeepDocuments.h"

#include "tests/cli/Documents.h"

#include <nlohmann/json.hpp>

namespace talvek::test {

namespace {

void appendU64(Bytes& to, std::uint64_t value)
{
    appendU32(to, static_cast<std::uint32_t>(value >> 32U));
    appendU32(to, static_cast<std::uint32_t>(value));
}

/// Literal runs of samples that differ from row to row, behind counts of four bytes.
Bytes packedPlane(std::uint32_t columns, std::uint32_t rows)
{
    Bytes plane;
    appendU16(plane, 1);
    for (std::uint32_t row = 0; row < rows; ++row) {
        appendU32(plane, columns + 1);
    }
    for (std::uint32_t row = 0; row < rows; ++row) {
        plane.push_back(static_cast<std::uint8_t>(columns - 1));
        for (std::uint32_t column = 0; column < columns; ++column) {
            plane.push_back(static_cast<std::uint8_t>(row * 7 + column * 3 + row * column));
        }
    }
    return plane;
}

} // namespace

PsdBuilder layeredBuilder()
{
    // Two bytes a layer, which tell how many there were when a record and its pixels are gone.
    constexpr std::uint16_t kLayerStates = 0x0402;
    PsdBuilder builder;
    builder.size(120, 90).resource(kLayerStates, Bytes(6));
    builder.layer("sky").transparent();
    builder.layer("sea").transparent().bounds(2, 3, 75, 111);
    builder.layer("sand").transparent().masked().bounds(10, 1, 89, 119);
    return builder;
}

Document layeredDocument()
{
    return layeredBuilder().build();
}

Bytes largeDocument()
{
    constexpr std::uint32_t kColumns = 60;
    constexpr std::uint32_t kRows = 40;
    const Bytes plane = packedPlane(kColumns, kRows);
    Bytes record;
    for (const std::uint32_t edge : {0U, 0U, kRows, kColumns}) {
        appendU32(record, edge);
    }
    appendU16(record, 3);
    for (std::uint32_t id = 0; id < 3; ++id) {
        appendU16(record, id);
        appendU64(record, plane.size());
    }
    append(record, std::string_view("8BIMnorm\xFF\0\0\0", 12));
    appendU32(record, 12);
    append(record, std::string_view("\0\0\0\0\0\0\0\0\3sky", 12));
    Bytes layers;
    appendU16(layers, 1);
    append(layers, record);
    for (int channel = 0; channel < 3; ++channel) {
        append(layers, plane);
    }
    layers.resize((layers.size() + 3) / 4 * 4);
    Bytes document = bytesOf(header({.version = 2, .rows = kRows, .columns = kColumns}));
    appendU32(document, 0);
    appendU32(document, 0);
    appendU64(document, 8 + layers.size() + 4);
    appendU64(document, layers.size());
    append(document, layers);
    appendU32(document, 0);
    appendU16(document, 0);
    document.resize(document.size() + std::size_t{3} * kRows * kColumns, 0x77);
    return document;
}

std::string write(const Scratch& scratch, const std::string& name, const Document& document)
{
    return scratch.write(name, std::string(document.bytes.begin(), document.bytes.end()));
}

std::string statesIn(const std::string& reportPath)
{
    const auto report = nlohmann::json::parse(contentsOf(reportPath), nullptr, false);
    std::string states;
    for (const auto& layer : report.value("layers", nlohmann::json::array())) {
        states += layer.value("name", "") + ":" + layer.value("state", "") + " ";
    }
    return states;
}

std::string completionIn(const std::string& output)
{
    const std::size_t from = output.rfind("{\"complete\":");
    return from == std::string::npos ? std::string() : output.substr(from);
}

} // namespace talvek::test
