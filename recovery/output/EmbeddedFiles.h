#pragma once

#include "platform/FileManager.h"
#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// A smart object's source file as it was written.
struct EmbeddedOutput
{
    std::size_t embedded = 0; ///< index in the document's embedded files
    std::string path;         ///< relative to the output folder: "Embedded/logo.ai"
    std::string recovered;    ///< likewise, of the layered document made of a damaged one; or empty
    bool isShort = false;     ///< the document ends, or is damaged, before the file is over
};

/// The file name for an embedded file: safe, and not mistaken for the recovery's own results.
std::string embeddedFileName(const std::string& stored);

/// Recovers the document at a path; writes the layered one to another path.
/// @return true if one was written, because the document is damaged and something of it was found
using RecoverInTurn = std::function<bool(const std::string& from, const std::string& to)>;

/// Writes every embedded file into "Embedded" in `folder`; documents among them that are not proved
/// whole are given to `recover`, which may be empty. Identical names get numbers.
/// @return nothing if a file could not be written whole
std::optional<std::vector<EmbeddedOutput>>
writeEmbeddedFiles(FileManager& files, const RecoveredDocument& document, SourceFiles& sources,
                   const std::string& folder, const RunControl& control,
                   const RecoverInTurn& recover);

} // namespace talvek::recovery::output
