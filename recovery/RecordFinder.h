#pragma once

#include "recovery/LayerRecord.h"
#include "recovery/SignatureIndex.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// The layer records of a document, in the order in which they stand in the file.
struct FoundRecords
{
    /// As many as a document can count.
    static constexpr std::size_t kMost = 32767;
    /// Of all records together. Programs write at most 8,000 layers, of six or seven channels.
    static constexpr std::size_t kMostChannels = 3U << 15U;
    /// Tagged blocks of all records together. A record that is sound keeps its bytes even so.
    static constexpr std::size_t kMostBlocks = 1U << 17U;

    std::vector<LayerRecord> records;
    bool isLarge = false;   ///< the lists are those of a large document
    bool isLimited = false; ///< there were more of them, or of their channels, than are kept
};

/// Finds every record by its channel list, at any signature outside `embedded`.
FoundRecords findRecords(SourceBytes& source, const SignatureIndex& index,
                         const std::vector<ByteRange>& embedded, const RunControl& control);

/// Takes out the records of other documents that stand in this one undescribed: when the first
/// records follow each other and are as many as their count says, those behind their planes are
/// not this document's.
void dropForeignRecords(SourceBytes& source, std::vector<LayerRecord>& records);

} // namespace talvek::recovery
