#pragma once

#include "platform/NotificationCenter.h"
#include "recovery/LayerRecord.h"
#include "recovery/RecoveredDocument.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::recovery {

/// What a run has found so far, in numbers and names, for somebody who watches it. Later findings
/// replace earlier ones: a layer can be found again in another place, and a size be corrected.
struct Findings
{
    /// More names than a person reads while a run lasts are not worth their copying.
    static constexpr std::size_t kMostNames = 200;

    std::uint64_t width = 0; ///< of the canvas in pixels; 0: not known yet
    std::uint64_t height = 0;
    std::uint64_t layers = 0; ///< groups not counted
    std::uint64_t groups = 0;
    std::uint64_t masks = 0;
    std::uint64_t embedded = 0;     ///< source files of smart objects
    std::string composite;          ///< the merged picture's state in a word; empty: not seen yet
    std::vector<std::string> names; ///< of layers and groups, the highest first, UTF-8

    bool operator==(const Findings&) const = default;
};

/// @param records  stand for the document's layers while it has none yet
Findings findingsOf(const RecoveredDocument& document, const std::vector<LayerRecord>& records);

/// For the notification centre, and back: names separated by line feeds, which no name keeps.
UserInfo asUserInfo(const Findings& findings);
Findings findingsFrom(const UserInfo& info);

} // namespace talvek::recovery
