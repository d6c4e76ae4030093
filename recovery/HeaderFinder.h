#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SignatureIndex.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek::recovery {

constexpr std::int64_t kHeaderBytes = 26;

/// The header at `offset` if every field is one that a document can have. Its signature may be
/// damaged, or else one of the six bytes that are always zero.
std::optional<DocumentFacts> readHeader(SourceBytes& source, std::int64_t offset);

/// A single byte of what all headers hold alike is another one in this one.
bool hasChangedHeader(SourceBytes& source, const DocumentFacts& facts);

/// The document's own header: the first sound one that is not inside an embedded document. At the
/// file's start its signature may be damaged as long as the rest is sound.
std::optional<DocumentFacts> findHeader(SourceBytes& source, const SignatureIndex& index,
                                        const std::vector<ByteRange>& embedded);

/// Colours of a mode's picture, without alpha channels; 0 where the mode does not say.
int colorsOf(ColorMode mode);

/// Where the sections are by their own lengths. Only a proposal: lengths are not believed.
struct StatedSections
{
    ByteRange colorData;              ///< without its length field; empty if unsound
    std::int64_t resourcesStart = -1; ///< of the first resource
    std::int64_t resourcesEnd = -1;
    std::int64_t layersStart = -1; ///< of the layer info's length field
    std::int64_t layersEnd = -1;   ///< where the composite begins
};

/// Follows the lengths from a header at `headerOffset` on, as far as they stay inside the file.
StatedSections readStatedSections(SourceBytes& source, std::int64_t headerOffset,
                                  bool largeDocument);

} // namespace talvek::recovery
