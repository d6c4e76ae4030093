#pragma once

#include "engine/FreeSpaceLedger.h"
#include "engine/Repair.h"

#include <array>
#include <string>

namespace talvek {

/// True for a path straight in the root folder. The engine forms one only from the empty folder
/// name of an aborted run; it counts as absent and is never created, opened, moved or deleted.
bool isInRootFolder(const std::string& path);

/// What stands between the colour-mode data and the image data of every salvaged document: empty
/// resources, a layer-and-mask section of 8 bytes that holds nothing, and "not compressed".
inline constexpr std::array<std::uint8_t, 18> kEmptySections = {0, 0, 0, 0, 0, 0, 0, 8};

/// Bytes of a salvaged document before its image data, its colour-mode data left out.
inline constexpr std::int64_t kSalvagedHeadBytes = 48;

/// One output file of a run, open to be appended to.
///
/// The ledger knows it while it is open, and a write that failed is reported when it closes.
class Repair::OpenOutput
{
public:
    OpenOutput(Repair& repair, const std::string& path);
    ~OpenOutput();
    OpenOutput(const OpenOutput&) = delete;
    OpenOutput& operator=(const OpenOutput&) = delete;

    [[nodiscard]] WritingFileHandle& handle() { return m_handle; }

private:
    Repair& m_repair;
    WritingFileHandle m_handle;
};

} // namespace talvek
