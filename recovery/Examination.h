#pragma once

#include "recovery/BlindComposite.h"
#include "recovery/CompositeFinder.h"
#include "recovery/DocumentBlocks.h"
#include "recovery/Findings.h"
#include "recovery/HeaderFinder.h"
#include "recovery/PlaneAligner.h"
#include "recovery/PlaneCheck.h"
#include "recovery/RecordFinder.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/ResourceFinder.h"
#include "recovery/RunControl.h"
#include "recovery/SignatureIndex.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvek::recovery {

/// Finds out what is left of one document. It reads and writes nothing but the result.
///
/// The stages, in order: signatures; records; header; resources; planes brought together with
/// records; blocks behind the layers; composite; planes without a record; groups.
class Examination
{
public:
    /// Called with what is being done and the share of the work done, from 0 to 1.
    using Progress = std::function<void(const std::string& status, double share)>;

    Examination(SourceBytes& source, const RunControl& control, Progress progress);

    /// Called at the steps of a run, on its thread, when they have found something new.
    void setListener(std::function<void(const Findings&)> listener)
    {
        m_listener = std::move(listener);
    }

    /// Embedded documents are examined as well, unless this is one: what is embedded in them is
    /// only found then, and not looked into.
    void setIsEmbedded() { m_isEmbedded = true; }

    /// @param path  noted as the document's source; not opened
    RecoveredDocument run(const std::string& path);

private:
    void tell();
    void indexSignatures();
    void findRecords();
    void findEmbeddedFiles();
    void findHeader();
    void checkHeader();
    void findResources();
    void alignPlanes();
    void buildLayers();
    void correctSection();
    void findBlocks();
    void rebuildHeader();
    void findComposite();
    [[nodiscard]] bool isOfAnotherSize(const Composite& picture);
    [[nodiscard]] std::int64_t rawBytesBehindLayers();
    void correctHeader();
    void carvePlanes();
    void doubtPlanes();
    void noteKind();
    void countLayers();
    void decideFlattening();
    [[nodiscard]] bool isEmptySection(std::int64_t start, std::int64_t end);
    [[nodiscard]] bool provesNoLayers();

    [[nodiscard]] int entryBytes() const { return m_document.facts.version == 2 ? 4 : 2; }
    [[nodiscard]] bool hasMergedAlpha();
    [[nodiscard]] std::int64_t behindPlanes() const;
    [[nodiscard]] std::int64_t earliestPicture() const;
    [[nodiscard]] std::optional<BlindComposite> blindComposite();
    [[nodiscard]] std::vector<std::int64_t> endsOfLastBlocks();
    [[nodiscard]] std::vector<ByteRange> claimedRanges() const;
    [[nodiscard]] std::vector<PlaneShape> knownShapes() const;

    SourceBytes& m_source;
    const RunControl& m_control;
    Progress m_progress;
    std::function<void(const Findings&)> m_listener;
    Findings m_told;
    RecoveredDocument m_document;
    SignatureIndex m_index;
    std::vector<ByteRange> m_embedded;
    FoundRecords m_found;
    bool m_isEmbedded = false;
    bool m_hasHeader = false;
    std::int32_t m_statedWidth = 0; ///< by a header that is not believed; 0 none
    std::int32_t m_statedHeight = 0;
    StatedSections m_sections;
    std::optional<ResourceFinder> m_resources;
    std::unique_ptr<PlaneAligner> m_aligner;
    std::int64_t m_blocksEnd = -1; ///< behind the document's blocks; -1 unknown
    bool m_isCut = false;          ///< the file ends inside one of them
};

} // namespace talvek::recovery
