#pragma once

#include "recovery/DocumentOutput.h"
#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talvek::recovery {

/// Writes the recovered document as a layered one that is valid in every length and count.
class LayeredDocumentWriter
{
public:
    /// Called with the share of the work done, from 0 to 1.
    using Progress = std::function<void(double)>;

    /// The parameters outlive the writer.
    LayeredDocumentWriter(FileManager& files, SourceFiles& sources,
                          const RecoveredDocument& document, const RunControl& control);

    /// Creates the file at `path`. @return false if it could not be written whole
    bool write(const std::string& path, const Progress& progress);

private:
    void writeHeader(DocumentOutput& output);
    void writeColorData(DocumentOutput& output);
    void writeResources(DocumentOutput& output);
    void writeLayerSection(DocumentOutput& output, const Progress& progress);
    void writeLayerInfo(DocumentOutput& output, const Progress& progress);
    void writeRecord(DocumentOutput& output, std::size_t index);
    void writeMadeUpExtra(DocumentOutput& output, const Layer& layer);
    void writePlanes(DocumentOutput& output, const Layer& layer);
    void writeComposite(DocumentOutput& output);
    void writeFlattened(DocumentOutput& output);
    void writeEmptyComposite(DocumentOutput& output);
    void measurePlanes();
    void writeLength(DocumentOutput& output, std::int64_t length);

    [[nodiscard]] bool hasSection() const;
    /// 16- and 32-bit layers stand in a tagged block of their own.
    [[nodiscard]] bool usesOwnBlock() const;
    [[nodiscard]] bool carriesResource(const Resource& resource) const;
    [[nodiscard]] std::int64_t extraLength(const Layer& layer) const;
    [[nodiscard]] std::int64_t layerInfoLength() const;
    [[nodiscard]] std::int64_t lengthBytes() const { return m_large ? 8 : 4; }
    [[nodiscard]] int entryBytes() const { return m_large ? 4 : 2; }

    FileManager& m_files;
    SourceFiles& m_sources;
    const RecoveredDocument& m_document;
    const RunControl& m_control;
    bool m_large;
    std::vector<std::vector<std::int64_t>> m_lengths; ///< of each layer's channels as written
};

} // namespace talvek::recovery
