#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvek::recovery {

/// One entry of a record's channel list.
struct ChannelEntry
{
    std::int16_t id = 0;
    std::int64_t length = 0; ///< of the channel's data, as stated, the compression code included
};

/// A layer record as it stands in a file.
struct LayerRecord
{
    std::int64_t start = 0;     ///< of the rectangle
    std::int64_t signature = 0; ///< of the blend mode's signature
    std::int64_t end = 0;       ///< behind the last tagged block and its padding
    bool endIsProved = false;   ///< the stated length agrees with the blocks
    bool isLarge = false;       ///< ten bytes a channel entry, as in a large document
    Layer layer;                ///< what the record says; its channels have no planes yet
    std::vector<ChannelEntry> entries;
};

/// Reads the record whose blend mode's signature stands at `signature` if the bytes before it are
/// a channel list that agrees with its own count, under a plausible rectangle. Blend key, opacity
/// and lengths of sections are not believed, because the list is proof enough without them.
/// Everything up to the extra data's length is filled in.
/// @param isLarge  ten bytes a channel entry, not six
std::optional<LayerRecord> readRecordHead(SourceBytes& source, std::int64_t signature,
                                          bool isLarge);

/// Reads the extra data: masks, name and tagged blocks, and finds the record's end.
/// @param next  start of the record that follows in the file; -1 if none is known
void readRecordExtra(SourceBytes& source, LayerRecord& record, std::int64_t next);

/// The record's channels are those of a layer in a document of so many colours: the colours from 0
/// on without a gap, and transparency and masks at will.
bool hasUsualChannels(const LayerRecord& record, int colors);

/// The four bytes are a blend mode of the PSD format.
bool isBlendMode(std::string_view letters);

} // namespace talvek::recovery
