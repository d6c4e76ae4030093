#pragma once

#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// A picture that is, or is to be, a PNG file in the output folder.
struct PictureFile
{
    enum class Kind : std::uint8_t
    {
        Layer,
        Mask,     ///< channel -2
        UserMask, ///< channel -3
        Composite,
    };

    Kind kind = Kind::Layer;
    std::int32_t layer = -1; ///< index in the document's layers; -1: the composite
    std::string path;        ///< relative to the output folder: "Layers/001 Sky.png"
};

/// The pictures that a document gives, the lowest layer first, the composite last. A layer of which
/// no pixel is left gives none; a mask gives one of its own. The same document gives the same
/// names.
std::vector<PictureFile> planPictures(const RecoveredDocument& document);

} // namespace talvek::recovery::output
