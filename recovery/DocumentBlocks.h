#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// What stands behind the layers: the global mask and the document's tagged blocks.
struct DocumentBlocks
{
    ByteRange globalMask; ///< without its length field
    std::vector<TaggedBlock> blocks;
    std::int64_t end = -1; ///< behind the last block, where the composite begins; -1 unknown
    bool isCut = false;    ///< a block begins there, and goes on behind the end of the file
};

/// Reads from behind the planes on: padding, the global mask's length and the tagged blocks.
/// @param behindPlanes  where the last plane ends
DocumentBlocks readBlocksBehind(SourceBytes& source, std::int64_t behindPlanes, bool largeDocument);

/// Reads from the layer info's length field on, over the layer info.
/// @param limit  where the section ends, as stated
DocumentBlocks readBlocksOfSection(SourceBytes& source, std::int64_t start, std::int64_t limit,
                                   bool largeDocument);

/// The block holds layers of its own ("Lr16", "Lr32", "Layr").
bool holdsLayers(std::uint32_t blockKey);

} // namespace talvek::recovery
