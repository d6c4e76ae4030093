#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <memory>

namespace talvek::recovery {

/// There is something to flatten, and few enough layers to hold all of them open at once.
bool canFlatten(const RecoveredDocument& document);

/// The picture that the visible layers make is all in their pixels: none has effects, an adjustment
/// or a blend mode that counts as normal.
bool isAllInPixels(const RecoveredDocument& document);

/// The rows of one channel of the picture that the layers make, for a document whose own composite
/// is lost.
///
/// Visible layers are laid over each other with their blend modes, transparency, masks, opacities,
/// clipping and those of their groups. Effects and adjustments are not drawn, groups pass through,
/// and a few blend modes count as normal, so the result is a likeness. Where no layer covers the
/// canvas it is white. Lost rows of a layer let what is below show through.
/// @param channel  of the composite; behind the colours: the picture's opacity when
///                 `document.mergedAlpha`, else empty
/// `files` and `document` outlive the reader. Memory: a few rows for each layer.
std::unique_ptr<PlaneReader> openFlattened(SourceFiles& files, const RecoveredDocument& document,
                                           std::int32_t channel);

} // namespace talvek::recovery
