#include "tests/engine/Expectation.h"

#include "tests/engine/PlainTwins.h"
#include "tests/engine/Workbench.h"

#include <algorithm>

namespace talvek::test {

namespace {

constexpr std::size_t kMostLayers = 500;
const Bytes kEmptySections = {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

Bytes twoBytes(std::int64_t value)
{
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

/// A size below 65536.
Bytes sizeField(std::int64_t value)
{
    return joined({{0, 0}, twoBytes(value)});
}

} // namespace

Expectation::Expectation(const Document& document, std::int64_t layerStart)
    : m_document(document), m_layerStart(layerStart)
{
    expectThumbnail();
    expectLayers();
    expectComposite();
    post(document.size());
    listed = m_main;
    for (const std::string& name : m_others) {
        if (std::find(listed.begin(), listed.end(), name) == listed.end()) {
            listed.push_back(name);
        }
    }
}

std::uint64_t Expectation::listedBytes() const
{
    std::uint64_t all = 0;
    for (const std::string& name : listed) {
        all += files.at(name).size();
    }
    return all;
}

void Expectation::post(std::int64_t offset)
{
    progress.push_back(percentageOf(offset, m_document.size()));
}

void Expectation::list(const std::string& name)
{
    m_others.push_back(name);
}

Bytes Expectation::at(std::int64_t from, std::int64_t to) const
{
    return slice(m_document.bytes, from, to);
}

/// Big-endian, as far as it lies within the file.
std::int64_t Expectation::number(std::int64_t offset, int bytes) const
{
    std::int64_t value = 0;
    for (const std::uint8_t byte : at(offset, offset + bytes)) {
        value = value * 256 + byte;
    }
    return value;
}

/// The first bytes of every document that is written.
Bytes Expectation::head(const Bytes& header) const
{
    return joined({header, at(26, m_document.imageResources.start), kEmptySections});
}

/// The first of today's kind, or none.
const Document::Block* Expectation::thumbnail() const
{
    for (const Document::Block& resource : m_document.thumbnails) {
        if (number(resource.start + 4, 2) == 0x040C) {
            return &resource;
        }
    }
    return nullptr;
}

void Expectation::expectThumbnail()
{
    const Document::Block* resource = thumbnail();
    post(resource != nullptr ? resource->start : 0);
    if (resource != nullptr) {
        files["a.psd_thumbnail.jpg"] = at(resource->data + 28, resource->data + resource->length);
        list("a.psd_thumbnail.jpg");
    }
    post(resource != nullptr ? m_document.layerAndMask.start : m_document.imageResources.start);
}

void Expectation::expectLayers()
{
    const std::int64_t mode = number(24, 2);
    if (mode == 2 || mode == 7) {
        if (m_document.globalBlocks.empty()) {
            post(compositeOffset());
        }
        return;
    }
    post(m_layerStart);
    const std::size_t count = std::min(m_document.records.size(), kMostLayers);
    for (std::size_t i = 0; i < count; ++i) {
        if (isTaken(m_document.records[i])) {
            expectLayer(m_document.records[i]);
        }
    }
    post(compositeOffset());
}

/// Identifiers that rise by one from first to last.
bool Expectation::isTaken(const Document::Record& record) const
{
    for (std::size_t i = 1; i < record.channels.size(); ++i) {
        if (record.channels[i].id != record.channels[i - 1].id + 1) {
            return false;
        }
    }
    return true;
}

void Expectation::expectLayer(const Document::Record& record)
{
    const auto isMask = [](const Document::Channel& channel) { return channel.id < 0; };
    const auto masks = std::count_if(record.channels.begin(), record.channels.end(), isMask);
    const auto colours = static_cast<std::int64_t>(record.channels.size()) - masks;
    const std::int64_t rows = number(record.start + 8, 4) - number(record.start, 4);
    const std::int64_t columns = number(record.start + 12, 4) - number(record.start + 4, 4);
    const Bytes header =
        joined({at(0, 12), twoBytes(colours), sizeField(rows), sizeField(columns), at(22, 26)});
    Bytes layer;
    Bytes mask;
    bool layerIsMoved = false;
    bool maskIsMoved = false;
    const std::string number = std::to_string(m_layers++);
    const std::string layerName = "layer" + number + "_image";
    const std::string maskName = "mask" + number + "_image";
    for (const Document::Channel& channel : record.channels) {
        if (expectChannel(record, channel, channel.id < 0 ? mask : layer)) {
            (channel.id < 0 ? maskIsMoved : layerIsMoved) = true;
            list((channel.id < 0 ? maskName : layerName) + " .psd");
        }
    }
    if (masks > 0) {
        expectDocument(maskName, head(header), mask, maskIsMoved);
    }
    expectDocument(layerName, head(header), layer, layerIsMoved);
}

/// Decoded, and listed only then, unless it was moved.
void Expectation::expectDocument(const std::string& name, const Bytes& head, const Bytes& channels,
                                 bool isMoved)
{
    files[name + (isMoved ? " .psd" : ".psd")] =
        joined({head, isMoved ? channels : plainDecoded(channels)});
    if (!isMoved) {
        list(name + ".psd");
    }
}

/// @return true if the channel is kept undecoded
bool Expectation::expectChannel(const Document::Record& record, const Document::Channel& channel,
                                Bytes& target)
{
    const std::int64_t rows = number(record.start + 8, 4) - number(record.start, 4);
    const bool isPacked = at(m_layerStart, m_layerStart + 2) == Bytes{0, 1};
    if (isPacked) {
        const Bytes packed =
            plainRead(m_document.bytes, m_layerStart + 2 + rows * 2, channel.length - 2 - rows * 2);
        for (int copy = 0; copy < (channel.id < 0 ? 3 : 1); ++copy) {
            append(target, packed);
        }
    } else {
        append(target, at(m_layerStart + 2, m_layerStart + 2 + channel.length));
    }
    m_layerStart += channel.length;
    post(m_layerStart);
    return !isPacked;
}

/// The filter mask ends where the composite begins; without one the section's length tells, or
/// the resources' for a document without a thumbnail.
std::int64_t Expectation::compositeOffset() const
{
    const bool hasFilterMask = !m_document.globalBlocks.empty();
    const bool sectionIsKnown = thumbnail() != nullptr;
    const std::int64_t stated =
        sectionIsKnown ? m_document.composite : m_document.layerAndMask.start;
    const std::int64_t mode = number(24, 2);
    const bool looksRight = number(m_document.composite, 2) <= 1 || mode == 2 || mode == 7;
    return hasFilterMask && looksRight ? m_document.composite : stated;
}

void Expectation::expectComposite()
{
    const std::int64_t offset = compositeOffset();
    if (offset >= m_document.size()) {
        return;
    }
    const std::string name = "a.psd_repaired.psd";
    const std::int64_t code = number(offset, 2);
    files[name] = head(at(0, 26));
    if (code == 0) {
        append(files[name], slice(m_document.bytes, offset + 2));
        post(offset + 2);
        m_main.push_back(name);
    } else if (code == 1) {
        const std::int64_t start = offset + 2 + number(14, 4) * number(12, 2) * 2;
        append(files[name], plainDecoded(slice(m_document.bytes, start)));
        post(start);
        post(m_document.size());
        m_main.push_back(name);
    }
}

} // namespace talvek::test
