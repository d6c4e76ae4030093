#include "recovery/output/Verdict.h"

#include <algorithm>

namespace talvek::recovery::output {

namespace {

bool hasComposite(const RecoveredDocument& document)
{
    return document.composite.state != State::Lost;
}

std::string completeLayers(const LayerTally& count)
{
    std::string text = count.layers == 1
                           ? "The one layer is back"
                           : "All " + std::to_string(count.layers) + " layers are back";
    if (count.unproved == count.layers) {
        text += count.layers == 1 ? ", though nothing in the file can prove its pixels"
                                  : ", though nothing in the file can prove their pixels";
    } else if (count.unproved > 0) {
        text += ", though nothing in the file can prove the pixels of " +
                std::to_string(count.unproved) + " of them";
    }
    return text;
}

std::string damagedLayers(const LayerTally& count)
{
    if (count.layers == 1) {
        if (count.nameless == 1) {
            return "The one layer that was found is back without name and place";
        }
        return count.partial == 1 ? "The one layer that was found is back in part"
                                  : "Of the one layer that was found only name and place are left";
    }
    const std::int64_t complete = count.whole + count.unproved;
    std::string text = (complete == 0 ? std::string("None") : std::to_string(complete)) + " of " +
                       std::to_string(count.layers) + " layers " + (complete == 1 ? "is" : "are") +
                       " back complete";
    if (count.partial > count.nameless) {
        text += ", " + std::to_string(count.partial - count.nameless) + " in part";
    }
    if (count.nameless > 0) {
        text += ", " + std::to_string(count.nameless) + " without name and place";
    }
    if (count.lost > 0) {
        text += ", and of " + std::to_string(count.lost) + " only name and place are left";
    }
    return text;
}

std::string layerClause(const LayerTally& count)
{
    std::string text;
    if (count.layers == 0) {
        text = "No layers were found";
    } else if (count.partial + count.lost == 0) {
        text = completeLayers(count);
    } else {
        text = damagedLayers(count);
    }
    if (count.gone > 0) {
        // Groups leave as little behind as layers do, and each is two of what is counted.
        text += count.gone == 1
                    ? "; 1 more layer or group is"
                    : "; up to " + std::to_string(count.gone) + " more layers or groups are";
        text += " gone without a trace";
    }
    return text;
}

std::string compositeClause(const Composite& composite)
{
    if (composite.flattened) {
        return "; the merged picture was lost and has been made anew from the layers";
    }
    switch (composite.state) {
    case State::Whole:
        return ", and the merged picture is whole";
    case State::Unproved:
        return ", and the merged picture is there";
    case State::Partial:
        return "; part of the merged picture is lost";
    case State::Lost:
        break;
    }
    return "; the merged picture is lost";
}

/// Documents may have had no layers at all: then the merged picture is the whole of it.
std::string flatClause(const RecoveredDocument& document)
{
    const std::string layers =
        document.layersMayBeLost || document.composite.state == State::Partial
            ? "; no layers were found"
            : "; the document has no layers";
    switch (document.composite.state) {
    case State::Whole:
        return "The picture is back whole" + layers;
    case State::Unproved:
        return "The picture is back, though nothing in the file can prove it" + layers;
    default:
        return "The picture is back in part" + layers;
    }
}

std::int64_t damagedFiles(const RecoveredDocument& document)
{
    return std::count_if(document.embedded.begin(), document.embedded.end(),
                         [](const EmbeddedFile& file) { return file.state >= State::Partial; });
}

std::string embeddedClause(const RecoveredDocument& document)
{
    const std::int64_t damaged = damagedFiles(document);
    return damaged == 0   ? ""
           : damaged == 1 ? "; 1 embedded file is damaged"
                          : "; " + std::to_string(damaged) + " embedded files are damaged";
}

} // namespace

LayerTally tally(const RecoveredDocument& document)
{
    LayerTally count;
    std::int64_t records = 0;
    for (const Layer& layer : document.layers) {
        records += layer.hasRecord && !layer.inferred ? 1 : 0;
        if (layer.isDivider()) {
            continue;
        }
        ++count.layers;
        count.whole += layer.state == State::Whole ? 1 : 0;
        count.unproved += layer.state == State::Unproved ? 1 : 0;
        count.partial += layer.state == State::Partial ? 1 : 0;
        count.nameless += layer.state == State::Partial && !layer.hasRecord ? 1 : 0;
        count.lost += layer.state == State::Lost ? 1 : 0;
    }
    // Planes without a record are some of the layers whose records are gone.
    const std::int64_t stated = document.statedLayers.value_or(0);
    const std::int64_t nameless =
        std::count_if(document.layers.begin(), document.layers.end(),
                      [](const Layer& layer) { return !layer.hasRecord && !layer.isDivider(); });
    count.gone = std::max<std::int64_t>(0, stated - records - nameless);
    return count;
}

Outcome outcome(const RecoveredDocument& document)
{
    const LayerTally count = tally(document);
    if (document.nothingLeft || (document.layers.empty() && !hasComposite(document))) {
        return Outcome::Nothing;
    }
    const bool compositeDamaged =
        document.composite.state == State::Partial || document.composite.state == State::Lost;
    const bool damaged = count.partial + count.lost + count.gone + damagedFiles(document) > 0 ||
                         document.composite.flattened || compositeDamaged ||
                         document.layersMayBeLost;
    return damaged ? Outcome::Damaged : Outcome::Complete;
}

std::string verdict(const RecoveredDocument& document)
{
    if (document.nothingLeft) {
        return document.size == 0 ? "It is empty: nothing is left in this file."
                                  : "Every byte of it is the same: nothing is left in this file.";
    }
    if (outcome(document) == Outcome::Nothing) {
        return "Neither layers nor a picture could be found in this file.";
    }
    const LayerTally count = tally(document);
    const bool isFlat = count.layers == 0 && count.gone == 0 && hasComposite(document);
    return (isFlat ? flatClause(document)
                   : layerClause(count) + compositeClause(document.composite)) +
           embeddedClause(document) + ".";
}

const char* wordFor(State state)
{
    switch (state) {
    case State::Whole:
        return "whole";
    case State::Unproved:
        return "unproved";
    case State::Partial:
        return "partial";
    case State::Lost:
        break;
    }
    return "lost";
}

} // namespace talvek::recovery::output
