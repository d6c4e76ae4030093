#pragma once

#include "recovery/RecoveredDocument.h"
#include "recovery/SignatureIndex.h"
#include "recovery/SourceBytes.h"

#include <vector>

namespace talvek::recovery {

/// More files than documents have are not looked for, so that no document fills a folder.
constexpr std::size_t kMostEmbeddedFiles = 4096;

/// Ranges of tagged blocks that hold whole files of smart objects, by offset: what is inside
/// belongs to them. A block that reaches beyond the file ends with it.
std::vector<ByteRange> embeddedRanges(SourceBytes& source, const SignatureIndex& index);

/// The files in such ranges, none reaching into the next: unproved where they are there in full.
/// Format: an entry is an 8-byte length, "liFD", a version, a unique id, a file name, type and
/// creator, the data's length, an optional description, and the data; padded to four bytes.
std::vector<EmbeddedFile> findEmbedded(SourceBytes& source, const std::vector<ByteRange>& ranges);

} // namespace talvek::recovery
