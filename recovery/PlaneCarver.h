#pragma once

#include "recovery/PlaneCheck.h"
#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <vector>

namespace talvek::recovery {

/// A plane that was found without a record.
struct CarvedPlane
{
    std::int64_t offset = 0; ///< of the compression code
    PlaneCheck check;
    PlaneShape shape;             ///< empty: a plane of an empty layer, two bytes of code alone
    bool followsPrevious = false; ///< begins where the one before ends
    bool shapeIsGuessed = false;  ///< the size is proved, not how it splits into rows

    [[nodiscard]] std::int64_t end() const { return offset + check.length; }
};

/// Finds planes in bytes of which no record tells anything.
///
/// A PackBits plane shows its rows and its width by itself: the row table must end where its rows
/// begin, and all rows must have one width. A ZIP stream shows its size, which known shapes or the
/// likeness of neighbouring rows split into rows and width. A raw plane shows nothing; it is taken
/// for one only between others of the same shape.
class PlaneCarver
{
public:
    /// @param depth   bits a sample
    /// @param shapes  of planes that are known, the likeliest first: the canvas, the layers
    PlaneCarver(SourceBytes& source, int depth, int entryBytes, std::vector<PlaneShape> shapes,
                const RunControl& control);

    /// Looks through `[from, to)` and adds what it finds. Time: linear.
    void run(std::int64_t from, std::int64_t to);

    [[nodiscard]] const std::vector<CarvedPlane>& planes() const { return m_planes; }

private:
    bool takeAt(std::int64_t offset, bool inStep);
    bool takePackBits(std::int64_t offset, bool inStep);
    bool takeZip(std::int64_t offset);
    void fillGaps(std::size_t first);
    [[nodiscard]] std::vector<CarvedPlane> fillGap(const CarvedPlane& before,
                                                   const CarvedPlane& behind) const;
    [[nodiscard]] int rank(const PlaneShape& shape, std::int64_t end) const;
    [[nodiscard]] bool isWorthTaking(const PlaneShape& shape, bool inStep) const;
    void add(std::int64_t offset, const PlaneCheck& check, const PlaneShape& shape);
    bool endsFit(std::int64_t offset, std::int64_t last, std::int64_t lastCount, bool inStep,
                 PlaneShape& shape);
    [[nodiscard]] std::vector<CarvedPlane> laidOut(std::int64_t at, std::int64_t empty,
                                                   std::int64_t raw, const PlaneShape& shape,
                                                   bool emptyFirst) const;
    bool isSoundAt(std::int64_t offset, const PlaneShape& shape);
    bool takeShape(std::int64_t offset, const PlaneShape& shape);
    PlaneShape shapeOfStream(std::int64_t offset, std::int64_t bytes);
    [[nodiscard]] bool codeStandsAt(std::int64_t offset) const;

    SourceBytes& m_source;
    int m_depth;
    int m_entryBytes;
    std::vector<PlaneShape> m_shapes;
    const RunControl& m_control;
    std::int64_t m_to = 0;
    std::int64_t m_budget = 0;
    bool m_shapeIsGuessed = false;
    std::vector<CarvedPlane> m_planes;
};

/// Rows and width of `bytes` bytes of samples: the split with which each row is most like the one
/// above it. For pictures of which only the size is known.
PlaneShape likeliestShape(SourceBytes& source, std::int64_t streamOffset, bool predicted,
                          std::int64_t bytes, int depth);

} // namespace talvek::recovery
