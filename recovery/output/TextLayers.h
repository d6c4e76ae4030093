#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// The wording of a text layer.
struct LayerText
{
    std::int32_t layer = 0; ///< index in the document's layers
    std::string text;       ///< UTF-8; lines end in "\n"
};

/// The text in a type tool block's data. It stands there twice; a damaged block may still give it
/// from one of the two. Nothing if neither is left.
/// Total; memory and time linear in the block.
std::optional<std::string> textOfBlock(std::span<const std::uint8_t> block);

/// The texts of a document's layers, the topmost first. Blocks of more than 16 MiB are left out.
std::vector<LayerText> textLayers(const RecoveredDocument& document, SourceFiles& files);

/// All texts as one page of plain text, each under its layer's name.
std::string asPage(const RecoveredDocument& document, const std::vector<LayerText>& texts);

} // namespace talvek::recovery::output
