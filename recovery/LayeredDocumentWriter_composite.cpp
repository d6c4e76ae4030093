#include "recovery/Flattening.h"
#include "recovery/LayeredDocumentWriter.h"
#include "recovery/PackBitsRow.h"
#include "recovery/PlaneWriter.h"

namespace talvek::recovery {

void LayeredDocumentWriter::writeComposite(DocumentOutput& output)
{
    const Composite& composite = m_document.composite;
    std::vector<const Plane*> planes;
    for (const Channel& channel : composite.channels) {
        planes.push_back(&channel.plane);
    }
    if (!planes.empty()) {
        PlaneWriter(m_sources, planes, entryBytes(), 0).write(output);
        return;
    }
    if (composite.flattened) {
        writeFlattened(output);
    } else {
        writeEmptyComposite(output);
    }
}

void LayeredDocumentWriter::writeFlattened(DocumentOutput& output)
{
    output.u16(static_cast<std::int64_t>(Compression::Raw));
    std::vector<std::uint8_t> row;
    for (std::int32_t channel = 0; channel < m_document.facts.channels; ++channel) {
        const auto reader = openFlattened(m_sources, m_document, channel);
        row.resize(static_cast<std::size_t>(reader->rowBytes()));
        for (std::int32_t y = 0; y < reader->rows() && !m_control.isStoppedAfterPause(); ++y) {
            reader->readRow(row);
            output.bytes(row);
        }
    }
}

/// Packed, because a damaged header can claim any size.
void LayeredDocumentWriter::writeEmptyComposite(DocumentOutput& output)
{
    const DocumentFacts& facts = m_document.facts;
    const std::int64_t width = (std::int64_t{facts.width} * facts.depth + 7) / 8;
    const std::int64_t rows = std::int64_t{facts.height} * facts.channels;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(packedFillLength(width)));
    packFill(width, 0, row);
    output.u16(static_cast<std::int64_t>(Compression::PackBits));
    for (std::int64_t y = 0; y < rows; ++y) {
        output.number(row.size(), entryBytes());
    }
    for (std::int64_t y = 0; y < rows; ++y) {
        output.bytes(row);
    }
}

} // namespace talvek::recovery
