#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// Rows of a plane that follow each other, in the row table as in the data.
struct FoundRows
{
    std::int64_t firstRow = 0;
    std::int64_t rows = 0;
    std::int64_t offset = 0;
    std::int64_t end = 0;          ///< behind the last of them
    std::int64_t tableOffset = -1; ///< of the first row's entry; -1: told apart by the width

    [[nodiscard]] std::int64_t behind() const { return firstRow + rows; }
};

/// Where the parts of a damaged PackBits plane are taken to stand.
struct RowAnchors
{
    std::int64_t table = 0;   ///< of the first entry
    std::int64_t front = 0;   ///< of the first row
    std::int64_t end = 0;     ///< behind the last row
    bool endIsSure = false;   ///< what follows the plane was found there
    bool placeIsSure = false; ///< the table adds up, or nothing says otherwise
};

/// What a row table says of one row; 0 if no row can be so long.
std::int64_t countOfRow(SourceBytes& source, std::int64_t table, std::int64_t row, int entryBytes,
                        std::int64_t width);

/// Lays the counts of the row table over the rows, from the front and from the end.
///
/// Where both come out at the same place, each row's place is certain. Where they do not, bytes are
/// missing or too many in one of the rows, or a count is wrong: before it the rows stand where the
/// front says, behind it where the end says. It is looked for where the rows fit best; rows that
/// fit either way are not given, as a row of one colour may be read as well from its middle on, and
/// neither are those next to the place unless it is known to be in one row.
/// Time: linear in the plane. Memory: three bits a row.
class RowTrial
{
public:
    RowTrial(SourceBytes& source, const PlaneShape& shape, int entryBytes,
             const RowAnchors& anchors);

    /// By `firstRow`, disjoint.
    std::vector<FoundRows> run();

private:
    /// Rows `[from, to)` that all fit, or none of which does, and their bytes.
    struct Stretch
    {
        std::int64_t from = 0;
        std::int64_t to = 0;
        std::int64_t offset = 0;
        std::int64_t end = 0;
    };

    void readTable();
    void tryRows();
    void findBreak();
    void doubtBreak();
    void dropBroken();
    [[nodiscard]] bool hasOnlyReading(const FoundRows& run);
    void drop(std::vector<bool>& fits, std::int64_t row) const;
    [[nodiscard]] bool isCut() const;
    void doubtHoles();
    [[nodiscard]] bool isExplained(const Stretch& hole);
    void keepProved(const Stretch& run, bool isBehindDoubt, bool isBeforeDoubt);
    [[nodiscard]] std::int64_t behindProved(const Stretch& run, bool isBeforeDoubt);
    [[nodiscard]] bool isOnlyReading(std::int64_t row, std::int64_t offset);
    [[nodiscard]] std::int64_t countAt(std::int64_t row);
    [[nodiscard]] bool isSoundRow(std::int64_t offset, std::int64_t count);
    void collect(std::int64_t from, std::int64_t to, std::int64_t offset,
                 const std::vector<bool>& fits, bool fromFront);
    void keep(FoundRows& run, bool trusted, bool isSure);
    [[nodiscard]] bool isAgreed() const { return m_isComplete && m_shift == 0; }

    SourceBytes& m_source;
    std::int64_t m_rows;
    std::int64_t m_width;
    int m_entryBytes;
    RowAnchors m_anchors;
    bool m_isComplete = true;         ///< every count can be
    std::int64_t m_firstUnknown = 0;  ///< first row without a count; m_rows if there is none
    std::int64_t m_behindUnknown = 0; ///< behind the last such row; 0 if there is none
    std::int64_t m_backOffset = 0;    ///< of row m_behindUnknown, seen from the end
    std::int64_t m_shift = 0;         ///< from where the front puts a row to where the end does
    std::int64_t m_cutRow = 0;        ///< the first row that the file does not hold, by the front
    std::int64_t m_frontRows = 0;     ///< rows before this one are taken as seen from the front
    std::int64_t m_backRow = 0;       ///< and those from this one on as seen from the end
    std::vector<bool> m_fitsFront;
    std::vector<bool> m_fitsBack;
    std::vector<FoundRows> m_found;
};

} // namespace talvek::recovery
