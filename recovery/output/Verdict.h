#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <string>

namespace talvek::recovery::output {

/// How many of a document's layers are how well. Groups' brackets are no layers here.
struct LayerTally
{
    std::int64_t layers = 0;
    std::int64_t whole = 0;
    std::int64_t unproved = 0;
    std::int64_t partial = 0;
    std::int64_t nameless = 0; ///< of the partial ones: their record is lost, and what it said
    std::int64_t lost = 0;
    std::int64_t gone = 0; ///< stated by the document, and no trace of them found; at most
                           ///< so many layers, as dividers of groups are among them
};

LayerTally tally(const RecoveredDocument& document);

/// What a recovery came to, the best first.
enum class Outcome : std::uint8_t
{
    Complete, ///< all that was found is whole or unproved
    Damaged,  ///< some of it is partial or lost
    Nothing,  ///< nothing was found
};

Outcome outcome(const RecoveredDocument& document);

/// What a recovery came to, in one sentence of plain English that ends in a point, without names.
std::string verdict(const RecoveredDocument& document);

/// A state in one word.
const char* wordFor(State state);

} // namespace talvek::recovery::output
