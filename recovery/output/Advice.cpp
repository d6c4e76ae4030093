#include "recovery/output/Advice.h"

#include "recovery/output/Verdict.h"

#include <algorithm>

namespace talvek::recovery::output {

namespace {

void addDocumentParts(const RecoveredDocument& document, std::vector<std::string>& pieces)
{
    const auto mode = document.facts.mode;
    const bool wantsProfile = mode == ColorMode::Cmyk || mode == ColorMode::Lab;
    if (wantsProfile && document.profile.length == 0 && outcome(document) != Outcome::Nothing) {
        pieces.emplace_back("No colour profile was found; the colours of the PNG files are close, "
                            "but not exact.");
    }
}

/// More zeros in a row than padding and empty fields make. Some programs fill files up with zeros,
/// so that those of a complete document mean nothing.
bool hasZeros(const RecoveredDocument& document)
{
    constexpr std::int64_t kLeastSector = 512;
    return std::any_of(document.regions.begin(), document.regions.end(), [](const Region& region) {
        return region.meaning == Meaning::Zeros && region.bytes.length >= kLeastSector;
    });
}

} // namespace

std::vector<std::string> missingPieces(const RecoveredDocument& document)
{
    if (document.nothingLeft) {
        return {};
    }
    std::vector<std::string> pieces = document.missing;
    addDocumentParts(document, pieces);
    return pieces;
}

std::vector<std::string> nextSteps(const RecoveredDocument& document, bool hasReference)
{
    std::vector<std::string> steps;
    const Outcome result = outcome(document);
    const LayerTally count = tally(document);
    if (result != Outcome::Complete) {
        if (!hasReference) {
            steps.emplace_back(
                "Look for another copy: an older save, a backup, the version history of "
                "a cloud folder, a mail attachment. Give it as the reference "
                "(--reference OLDER.psd), and what is lost here can be taken from it.");
        }
        steps.emplace_back(
            "If the file came from a memory card, a disk or a download, copy it again "
            "from there before anything is written to it.");
    }
    if (result == Outcome::Nothing) {
        steps.emplace_back("Other files of the same folder, or temporary files of the program that "
                           "saved this one, may still hold the document; try them too.");
    }
    if (result != Outcome::Complete && hasZeros(document) && !document.nothingLeft) {
        steps.emplace_back(
            "Runs of zeros are typical of an interrupted save or synchronisation: an "
            "earlier version in the cloud's history is often whole.");
    }
    if (count.unproved > 0) {
        steps.emplace_back(
            "Look at the layers called unproved: their pixels are all there, but nothing "
            "in the file can show that none was changed.");
    }
    if (count.nameless > 0) {
        steps.emplace_back("Layers found without a record stand in the upper left corner: put each "
                           "where the merged picture shows it, and name it anew.");
    }
    if (count.partial > count.nameless) {
        steps.emplace_back(
            "In partial layers the lost rows are transparent; paint or clone over them.");
    }
    if (result == Outcome::Complete) {
        steps.emplace_back(
            "Open the layered document, compare it with what you remember, and save it "
            "under a new name.");
    }
    return steps;
}

} // namespace talvek::recovery::output
