#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// The first place at or behind `from` where the code of a packed plane stands, PackBits or ZIP;
/// `to` if there is none before it.
std::int64_t nextPlaneCode(SourceBytes& source, std::int64_t from, std::int64_t to);

/// A place where a plane seems to begin.
struct PlaneHit
{
    std::int64_t offset = 0; ///< of the compression code
    std::int64_t length = 0; ///< the code included, no padding
    Compression compression = Compression::PackBits;
    std::int64_t rows = 0;  ///< PackBits: those of the table
    std::int64_t bytes = 0; ///< ZIP: bytes of all rows together
};

/// What planes are looked for, by their rows and lengths. Nothing else is reported, so that chance
/// finds stay rare.
class WantedPlanes
{
public:
    void add(const PlaneShape& shape, std::int64_t length);
    void prepare();

    /// Row counts, ascending, each once.
    [[nodiscard]] const std::vector<std::int64_t>& rows() const { return m_rows; }
    [[nodiscard]] std::int64_t mostRowBytes() const { return m_mostRowBytes; }
    [[nodiscard]] std::int64_t mostLength() const { return m_mostLength; }
    [[nodiscard]] std::int64_t mostBytes() const { return m_mostBytes; }
    /// A plane of so many rows and this length, up to padding, is looked for.
    [[nodiscard]] bool wants(std::int64_t rows, std::int64_t length) const;
    [[nodiscard]] bool wantsBytes(std::int64_t bytes) const;

private:
    std::vector<std::int64_t> m_rows;
    std::vector<std::int64_t> m_bytes;
    std::vector<std::pair<std::int64_t, std::int64_t>> m_lengths;
    std::int64_t m_mostRowBytes = 0;
    std::int64_t m_mostLength = 0;
    std::int64_t m_mostBytes = 0;
};

/// Looks through `[from, to)` for planes that are wanted, by their row tables and streams alone.
/// Time: linear, whatever the bytes: tables are followed as long as a budget that grows with the
/// bytes passed allows it.
std::vector<PlaneHit> scanForPlanes(SourceBytes& source, std::int64_t from, std::int64_t to,
                                    const WantedPlanes& wanted, int entryBytes,
                                    const RunControl& control);

} // namespace talvek::recovery
