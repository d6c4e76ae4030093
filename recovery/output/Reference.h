#pragma once

#include "platform/FileManager.h"
#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/output/PlaneEvidence.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// Fills what a document lost from another copy of it: an older save, or a second damaged copy.
///
/// Pixels are never mixed on trust. Where rows of a layer are left in both copies they must be the
/// same, or the layer has changed since and is left as it is. Where nothing is left to compare, a
/// layer's pixels are taken as a whole and called unproved. Layers are matched by their ids, names
/// and bounds; layers without a record by their pixels. A copy that shares neither the canvas nor a
/// layer is one of another document, and gives nothing. Where the document's own header is lost,
/// its canvas says little, and the copy must show that it is of the same document.
class Reference
{
public:
    /// @param document  filled in place: the copy's files are added to its sources
    /// @param older     the other copy, recovered in the same way
    Reference(FileManager& files, RecoveredDocument& document, const RecoveredDocument& older,
              const RunControl& control);
    ~Reference();

    /// @return what was taken, a sentence each
    std::vector<std::string> run();

private:
    struct Match
    {
        std::size_t ours = 0;
        std::size_t theirs = 0;
    };

    void addSources();
    void takeHeader();
    [[nodiscard]] bool isOfSameDocument();
    [[nodiscard]] bool sharesLayer() const;
    [[nodiscard]] bool sharesPixels();
    [[nodiscard]] bool isSameCanvas() const;
    void takeParts();
    void takePart(ByteRange& ours, const ByteRange& theirs, const char* name);
    void matchLayers();
    [[nodiscard]] bool isMatch(const Layer& ours, const Layer& theirs, int strictness) const;
    void matchByPixels();
    std::optional<Plane> strayPlane(const Plane& theirs, std::set<std::size_t>& donors,
                                    bool onlyDonors);
    std::set<std::size_t> sameStray(const Layer& theirs);
    void takeRecord(std::size_t theirs);
    void takePlanes();
    void takePlanes(Layer& ours, const Layer& theirs);
    bool takeGroup(Layer& ours, const Layer& theirs, bool masks);
    void takeMissingLayers();
    [[nodiscard]] bool lacksLayers() const;
    void dropEmptiedGroups();
    void countStrays();
    [[nodiscard]] std::vector<bool> brackets(const std::vector<bool>& isMissing) const;
    void putInOrder();
    void takeComposite();
    void say(const std::string& what);
    [[nodiscard]] bool isMatched(std::size_t theirs) const;

    FileManager& m_files;
    RecoveredDocument& m_document;
    RecoveredDocument m_older; ///< its ranges point to the document's added sources
    const RunControl& m_control;
    std::unique_ptr<SourceFiles> m_sources;
    std::string m_name; ///< of the other copy's file
    std::vector<Match> m_matches;
    bool m_lacksLayers = false;
    bool m_orderChanged = false;
    std::vector<std::string> m_taken;
};

/// Recovers the other copy at `path` and fills the document from it.
/// @return what was taken, a sentence each
std::vector<std::string> fillFromReference(FileManager& files, RecoveredDocument& document,
                                           const std::string& path, const RunControl& control);

} // namespace talvek::recovery::output
