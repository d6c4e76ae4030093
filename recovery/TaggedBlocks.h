#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <optional>

namespace talvek::recovery {

/// "abcd" as the number in which keys are held.
consteval std::uint32_t key(const char (&letters)[5])
{
    return static_cast<std::uint32_t>(letters[0]) << 24U |
           static_cast<std::uint32_t>(letters[1]) << 16U |
           static_cast<std::uint32_t>(letters[2]) << 8U | static_cast<std::uint32_t>(letters[3]);
}

constexpr std::uint32_t kBlockSignature = key("8BIM");
constexpr std::uint32_t kWideSignature = key("8B64");

/// The key's length field takes eight bytes in a large document even when it is signed "8BIM".
bool isWideKey(std::uint32_t blockKey);

/// "8BIM" or "8B64" stands at `offset`.
bool isBlockSignature(SourceBytes& source, std::int64_t offset);

/// The tagged block at `offset`, with as much padding to `unit` bytes as is zero, if it ends at or
/// before `limit`. In a large document both widths of the length are tried where the key leaves a
/// doubt; the one that leads to `limit` or to another block wins.
/// @param largeDocument  lengths of some keys take eight bytes
std::optional<TaggedBlock> readTaggedBlock(SourceBytes& source, std::int64_t offset,
                                           std::int64_t limit, bool largeDocument, int unit);

} // namespace talvek::recovery
