#include "tests/model/PlainRepair.h"

#include <algorithm>

namespace talvek::model {

namespace {

constexpr std::size_t kMostChannels = 20;
constexpr std::uint8_t kIndexed = 2;
constexpr std::uint8_t kMultichannel = 7;

std::int16_t numberIn(std::array<std::uint8_t, 2>& buffer, const Bytes& read)
{
    std::copy(read.begin(), read.end(), buffer.begin());
    return PlainRepair::channelNumber(buffer.data(), 2);
}

void putSide(Bytes& header, std::size_t at, std::int64_t side)
{
    header[at] = static_cast<std::uint8_t>(side >> 56);
    header[at + 1] = static_cast<std::uint8_t>(side >> 48);
    header[at + 2] = static_cast<std::uint8_t>(side >> 8);
    header[at + 3] = static_cast<std::uint8_t>(side);
}

} // namespace

// From the section to its layers.

void PlainRepair::layerStage()
{
    m_layerAndMaskSize = lengthAt(m_layerAndMaskOffset);
    const std::int64_t filterMask = searchFilterMask(26, m_fileSize - 26);
    if (m_header[25] == kIndexed || m_header[25] == kMultichannel) {
        mapFlatDocument(filterMask);
        return;
    }
    m_layerCounter = 0;
    countRecords(26, m_fileSize - 26);
    m_layerStart = 0;
    if (!m_records.empty()) {
        findChannelData(filterMask);
    }
    postProgress(static_cast<double>(m_layerStart));
    for (std::size_t i = 0; i < m_records.size() && !aborted() && !m_stopFlag; ++i) {
        extractLayer(m_records[i]);
    }
    findComposite(filterMask);
    postProgress(static_cast<double>(m_compositeOffset));
}

void PlainRepair::mapFlatDocument(std::int64_t filterMask)
{
    if (filterMask != 0) {
        m_compositeOffset = filterMask + 12 + lengthAt(filterMask + 8);
        return; // nothing is posted here
    }
    m_layerAndMaskSize = lengthAt(m_layerAndMaskOffset);
    m_compositeOffset = m_layerAndMaskOffset + m_layerAndMaskSize + 4;
    postProgress(static_cast<double>(m_compositeOffset));
}

void PlainRepair::findChannelData(std::int64_t filterMask)
{
    const std::int64_t last = m_records.back();
    // Without a filter mask the bound is the composite's start, which nobody knows yet.
    const std::int64_t bound = filterMask != 0 ? filterMask : m_compositeOffset;
    findLastBlock(last + 8, bound - 1 - last - 8);
    if (m_lastBlock != 0) {
        m_layerStart = m_lastBlock + 12 + lengthAt(m_lastBlock + 8);
    } else {
        m_layerStart = last + 16 + lengthAt(last + 12);
    }
}

void PlainRepair::findComposite(std::int64_t filterMask)
{
    const std::int64_t sectionEnd = m_layerAndMaskOffset + m_layerAndMaskSize + 4;
    m_compositeOffset = sectionEnd;
    if (filterMask == 0) {
        return;
    }
    const std::int64_t blockEnd = filterMask + 12 + lengthAt(filterMask + 8);
    if (blockEnd == sectionEnd) {
        return;
    }
    const Bytes code = read(blockEnd, 2);
    if (code.size() == 2 && code[0] == 0 && code[1] <= 1) {
        m_compositeOffset = blockEnd;
    }
}

// One layer.

std::string PlainRepair::numbered(const char* kind, int number, const char* ending) const
{
    return m_folder + "/" + kind + std::to_string(number) + ending;
}

void PlainRepair::extractLayer(std::int64_t signature)
{
    Layer layer;
    layer.layerPath = numbered("layer", m_layerCounter, "_image.psd");
    layer.maskPath = numbered("mask", m_layerCounter, "_image.psd");
    layer.header = read(0, 26);
    layer.header.resize(26);
    layer.colourModeLength = lengthAt(26);
    walkChannelList(signature, layer);
    if (layer.table.empty()) {
        return;
    }
    ++m_layerCounter;
    readBounds(layer);
    fillHeader(layer);
    layer.colourModeBlock = read(26, layer.colourModeLength + 4);
    layer.layerOutput = startDocument(layer.layerPath, layer);
    const bool hasMask = std::any_of(layer.table.begin(), layer.table.end(),
                                     [](const Channel& channel) { return channel.id < 0; });
    if (hasMask && !aborted()) {
        layer.maskOutput = startDocument(layer.maskPath, layer);
    }
    copyChannels(layer);
    decodeLayer(layer);
}

/// Leaves the table empty if the record's channel count is not that of the channels found.
void PlainRepair::walkChannelList(std::int64_t signature, Layer& layer)
{
    std::array<std::uint8_t, 2> buffer = {};
    std::int64_t position = signature - 6;
    std::int16_t expected = numberIn(buffer, read(position, 2));
    layer.table.push_back({expected, lengthAt(position + 2)});
    while (!aborted() && !m_stopFlag && layer.table.size() < kMostChannels) {
        const std::int16_t id = numberIn(buffer, read(position - 6, 2));
        if (int{id} != int{expected} - 1) {
            break;
        }
        position -= 6;
        layer.table.push_back({id, lengthAt(position + 2)});
        expected = id;
    }
    const std::int16_t count = numberIn(buffer, read(position - 2, 2));
    if (count != static_cast<std::int64_t>(layer.table.size())) {
        layer.table.clear();
    }
    layer.listStart = position;
}

void PlainRepair::readBounds(Layer& layer)
{
    const std::int64_t top = lengthAt(layer.listStart - 18);
    const std::int64_t left = lengthAt(layer.listStart - 14);
    const std::int64_t bottom = lengthAt(layer.listStart - 10);
    const std::int64_t right = lengthAt(layer.listStart - 6);
    layer.rows = bottom - top;
    layer.columns = right - left;
}

void PlainRepair::fillHeader(Layer& layer) const
{
    const auto colours = std::count_if(layer.table.begin(), layer.table.end(),
                                       [](const Channel& channel) { return channel.id >= 0; });
    layer.header[12] = static_cast<std::uint8_t>(colours >> 8);
    layer.header[13] = static_cast<std::uint8_t>(colours);
    putSide(layer.header, 14, layer.rows);
    putSide(layer.header, 18, layer.columns);
}

Output PlainRepair::startDocument(const std::string& path, const Layer& layer)
{
    static const Bytes kTail = {0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    // The stated length is asked for, which may be negative, whatever was read.
    if (!hasRoomFor(26 + (layer.colourModeLength + 4) + 18)) {
        abortProgram();
        return nullptr;
    }
    create(path, layer.header);
    Output output = m_files.open(path);
    write(output, layer.colourModeBlock);
    write(output, kTail);
    return output;
}

void PlainRepair::copyChannels(Layer& layer)
{
    for (std::size_t i = layer.table.size(); i-- > 0 && !aborted();) {
        copyChannel(layer, layer.table[i]);
        m_layerStart += layer.table[i].length;
        postProgress(static_cast<double>(m_layerStart));
    }
}

void PlainRepair::copyChannel(Layer& layer, const Channel& channel)
{
    const bool isMask = channel.id < 0;
    const Output& output = isMask ? layer.maskOutput : layer.layerOutput;
    if (read(m_layerStart, 2) == Bytes{0, 1}) {
        const std::int64_t table = layer.rows * 2;
        for (int copy = 0; copy < (isMask ? 3 : 1); ++copy) {
            copyRange(output, m_layerStart + 2 + table, channel.length - 2 - table);
        }
        return;
    }
    const std::string path = isMask ? layer.maskPath : layer.layerPath;
    const std::string keptPath =
        numbered(isMask ? "mask" : "layer", m_layerCounter - 1, "_image .psd");
    m_files.move(path, keptPath);
    // The full length, which counts the code that is left out: two bytes more than the channel has.
    copyRange(output, m_layerStart + 2, channel.length);
    m_secondaryFiles.push_back(keptPath);
}

void PlainRepair::copyRange(const Output& output, std::int64_t offset, std::int64_t length)
{
    std::int64_t copied = 0;
    std::int64_t blocks = length / 1024;
    while (blocks > 0 && !aborted()) {
        const Bytes got = read(offset, 1024);
        writeTested(output, got);
        offset += 1024;
        copied += 1024;
        --blocks;
        if (got.empty() && !aborted()) {
            const std::int64_t skipped = emptyReads(offset, 1024, blocks);
            offset += skipped * 1024;
            copied += skipped * 1024;
            blocks -= skipped;
        }
    }
    // Also after an abort: then it is everything that is left.
    writeTested(output, read(offset, length - copied));
}

void PlainRepair::decodeLayer(const Layer& layer)
{
    for (const char* kind : {"mask", "layer"}) {
        const std::string path = numbered(kind, m_layerCounter - 1, "_image.psd");
        if (m_files.exists(path)) {
            decode(path, layer.colourModeLength + 48);
        }
    }
}

} // namespace talvek::model
