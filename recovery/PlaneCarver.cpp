#include "recovery/PlaneCarver.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PlaneScan.h"
#include "recovery/ZipStream.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kCodeBytes = 2;
constexpr std::size_t kMostPlanes = 1U << 17U;
constexpr std::int64_t kMostRows = 300000;
constexpr std::int64_t kMostZipBytes = std::int64_t{1} << 36;
constexpr std::int64_t kFirstBudget = 1 << 22;
constexpr std::int64_t kBudgetPerByte = 6;
/// Out of step with other planes, fewer rows or columns are met by chance.
constexpr std::int64_t kFewestRows = 6;
constexpr std::int64_t kFewestColumns = 4;

} // namespace

PlaneCarver::PlaneCarver(SourceBytes& source, int depth, int entryBytes,
                         std::vector<PlaneShape> shapes, const RunControl& control)
    : m_source(source),
      m_depth(depth),
      m_entryBytes(entryBytes),
      m_shapes(std::move(shapes)),
      m_control(control)
{}

void PlaneCarver::run(std::int64_t from, std::int64_t to)
{
    const std::size_t first = m_planes.size();
    m_to = std::min(to, m_source.size());
    m_budget = kFirstBudget;
    std::int64_t at = std::max<std::int64_t>(from, 0);
    bool inStep = false;
    while (at + kCodeBytes <= m_to && m_planes.size() < kMostPlanes) {
        if (m_control.isStoppedAfterPause()) {
            return;
        }
        if (m_budget > 0 && takeAt(at, inStep)) {
            m_budget += kBudgetPerByte * m_planes.back().check.length;
            at = m_planes.back().end();
            inStep = true;
            continue;
        }
        const std::int64_t next = nextPlaneCode(m_source, at + 1, m_to);
        m_budget += kBudgetPerByte * (next - at);
        at = next;
        inStep = false;
    }
    fillGaps(first);
}

bool PlaneCarver::takeAt(std::int64_t offset, bool inStep)
{
    switch (m_source.u16(offset)) {
    case 1:
        return takePackBits(offset, inStep);
    case 2:
    case 3:
        return takeZip(offset);
    default:
        return false;
    }
}

void PlaneCarver::add(std::int64_t offset, const PlaneCheck& check, const PlaneShape& shape)
{
    // Some writers pad planes to an even length; a plane without samples takes two bytes.
    const std::int64_t gap = m_planes.empty() ? -1 : offset - m_planes.back().end();
    const bool follows = gap == 0 || (gap == 1 && m_source.u8(offset - 1) == 0);
    m_planes.push_back({offset, check, shape, follows});
}

/// Another plane can begin here, or the region ends.
bool PlaneCarver::codeStandsAt(std::int64_t offset) const
{
    const std::uint16_t code = m_source.u16(offset);
    return offset == m_to || code <= 1 || (code <= 3 && isZipHeader(m_source, offset + kCodeBytes));
}

/// Tries every number of rows. The counts of a plain picture's table can be taken for rows
/// themselves; so what follows the plane has to look like a plane, and else the most rows win.
bool PlaneCarver::takePackBits(std::int64_t offset, bool inStep)
{
    constexpr std::size_t kMostDoubtful = 8;
    constexpr std::int64_t kFurther = 8;
    const auto entry = static_cast<std::size_t>(m_entryBytes);
    const std::int64_t table = offset + kCodeBytes;
    std::vector<PlaneShape> doubtful;
    PlaneShape best;
    int bestRank = -1;
    std::int64_t end = table;
    for (std::int64_t rows = 1; rows <= kMostRows; ++rows) {
        const auto count =
            static_cast<std::int64_t>(m_source.number(table + (rows - 1) * m_entryBytes, entry));
        end += m_entryBytes + count;
        if (count < 2 || end > m_to || --m_budget < 0 ||
            (bestRank >= 0 && rows > best.rows + kFurther)) {
            break;
        }
        PlaneShape shape{rows, 0};
        if (!endsFit(offset, end - count, count, inStep, shape)) {
            continue;
        }
        if (!codeStandsAt(end)) {
            doubtful.push_back(shape);
        } else if (rank(shape, end) >= bestRank && isSoundAt(offset, shape)) {
            best = shape;
            bestRank = rank(shape, end);
        }
    }
    if (bestRank >= 0) {
        return takeShape(offset, best);
    }
    for (std::size_t i = 0; i < std::min(doubtful.size(), kMostDoubtful); ++i) {
        const PlaneShape& shape = doubtful[doubtful.size() - 1 - i];
        if (shape.rows >= kFewestRows && takeShape(offset, shape)) {
            return true;
        }
    }
    return false;
}

/// Of several numbers of rows that would do: one that is known already, then one behind which a
/// packed plane begins.
int PlaneCarver::rank(const PlaneShape& shape, std::int64_t end) const
{
    const bool repeats = !m_planes.empty() && m_planes.back().shape == shape;
    const bool known = std::find(m_shapes.begin(), m_shapes.end(), shape) != m_shapes.end();
    const bool leads = end == m_to || m_source.u16(end) != 0;
    return (repeats || known ? 2 : 0) + (leads ? 1 : 0);
}

/// Out of step with other planes only larger ones are taken; in step, those that repeat the one
/// before as well.
bool PlaneCarver::isWorthTaking(const PlaneShape& shape, bool inStep) const
{
    if (!inStep) {
        return shape.rows >= kFewestRows && shape.rowBytes >= kFewestColumns;
    }
    return m_planes.back().shape == shape || (shape.rowBytes >= 2 && shape.bytes() >= 16);
}

bool PlaneCarver::isSoundAt(std::int64_t offset, const PlaneShape& shape)
{
    m_budget -= shape.rows;
    return checkPlane(m_source, offset, -1, shape, m_entryBytes).isSound;
}

/// With so many rows, the first two rows and the last have one width, which is filled in.
bool PlaneCarver::endsFit(std::int64_t offset, std::int64_t last, std::int64_t lastCount,
                          bool inStep, PlaneShape& shape)
{
    const auto entry = static_cast<std::size_t>(m_entryBytes);
    const std::int64_t table = offset + kCodeBytes;
    const std::int64_t data = table + shape.rows * m_entryBytes;
    const auto first = static_cast<std::int64_t>(m_source.number(table, entry));
    const auto second = static_cast<std::int64_t>(m_source.number(table + m_entryBytes, entry));
    m_budget -= 1 + first / 16;
    shape.rowBytes = widthOfRow(m_source, data, first);
    return shape.rowBytes > 0 && isWorthTaking(shape, inStep) &&
           !isWastefulRow(m_source, data, first) &&
           (shape.rows == 1 || rowFits(m_source, data + first, second, shape.rowBytes)) &&
           rowFits(m_source, last, lastCount, shape.rowBytes);
}

/// Adds the plane if all its rows have the width.
bool PlaneCarver::takeShape(std::int64_t offset, const PlaneShape& shape)
{
    m_budget -= shape.rows;
    const PlaneCheck check = checkPlane(m_source, offset, -1, shape, m_entryBytes);
    if (check.isSound) {
        add(offset, check, shape);
    }
    return check.isSound;
}

bool PlaneCarver::takeZip(std::int64_t offset)
{
    if (!isZipHeader(m_source, offset + kCodeBytes)) {
        return false;
    }
    const ZipExtent extent = measureZip(m_source, offset + kCodeBytes, m_to, kMostZipBytes);
    m_budget -= extent.consumed + extent.produced / 16;
    if (!extent.isProved || extent.produced < 1) {
        return false;
    }
    const auto compression = static_cast<Compression>(m_source.u16(offset));
    add(offset, {true, compression, Proof::ZipStream, kCodeBytes + extent.consumed},
        shapeOfStream(offset, extent.produced));
    m_planes.back().shapeIsGuessed = m_shapeIsGuessed;
    return true;
}

PlaneShape PlaneCarver::shapeOfStream(std::int64_t offset, std::int64_t bytes)
{
    m_shapeIsGuessed = !m_planes.empty() && m_planes.back().shapeIsGuessed;
    if (!m_planes.empty() && m_planes.back().shape.bytes() == bytes) {
        return m_planes.back().shape;
    }
    m_shapeIsGuessed = false;
    for (const PlaneShape& shape : m_shapes) {
        if (shape.bytes() == bytes) {
            return shape;
        }
    }
    m_shapeIsGuessed = true;
    return likeliestShape(m_source, offset + kCodeBytes, m_source.u16(offset) == 3, bytes, m_depth);
}

/// Between planes that prove themselves, empty planes and raw ones of their sizes fill a gap
/// exactly, or nothing is known of it.
void PlaneCarver::fillGaps(std::size_t first)
{
    std::vector<CarvedPlane> filled(m_planes.begin(),
                                    m_planes.begin() + static_cast<std::ptrdiff_t>(first));
    for (std::size_t i = first; i < m_planes.size(); ++i) {
        if (i > first && !m_planes[i].followsPrevious) {
            const auto between = fillGap(m_planes[i - 1], m_planes[i]);
            filled.insert(filled.end(), between.begin(), between.end());
            m_planes[i].followsPrevious = !between.empty();
        }
        filled.push_back(m_planes[i]);
    }
    m_planes = std::move(filled);
}

std::vector<CarvedPlane> PlaneCarver::fillGap(const CarvedPlane& before,
                                              const CarvedPlane& behind) const
{
    constexpr std::int64_t kMostInGap = 64;
    const std::int64_t gap = behind.offset - before.end();
    for (const PlaneShape& shape : {before.shape, behind.shape}) {
        const std::int64_t length = kCodeBytes + shape.bytes();
        for (std::int64_t raw = 0; raw <= kMostInGap && raw * length <= gap; ++raw) {
            const std::int64_t left = gap - raw * length;
            if (left % kCodeBytes != 0 || left / kCodeBytes > kMostInGap) {
                continue;
            }
            // Empty planes stand together; raw ones follow or precede them.
            for (const bool emptyFirst : {true, false}) {
                auto planes = laidOut(before.end(), left / kCodeBytes, raw, shape, emptyFirst);
                if (!planes.empty()) {
                    return planes;
                }
            }
        }
    }
    return {};
}

/// So many empty and raw planes from `at` on, if a code stands where each would begin.
std::vector<CarvedPlane> PlaneCarver::laidOut(std::int64_t at, std::int64_t empty, std::int64_t raw,
                                              const PlaneShape& shape, bool emptyFirst) const
{
    std::vector<CarvedPlane> planes;
    for (std::int64_t i = 0; i < empty + raw; ++i) {
        const bool isEmpty = emptyFirst ? i < empty : i >= raw;
        if (m_source.u16(at) > (isEmpty ? 1 : 0)) {
            return {};
        }
        CarvedPlane plane;
        plane.offset = at;
        plane.shape = isEmpty ? PlaneShape{} : shape;
        plane.check = {true, Compression::Raw, isEmpty ? Proof::Empty : Proof::Length,
                       kCodeBytes + plane.shape.bytes()};
        plane.followsPrevious = true;
        planes.push_back(plane);
        at = plane.end();
    }
    return planes;
}

namespace {

constexpr std::size_t kSampled = 192U << 10U;

/// The stream's first bytes, plain.
std::vector<std::uint8_t> beginningOf(SourceBytes& source, std::int64_t offset, std::int64_t bytes)
{
    std::vector<std::uint8_t> plain(
        static_cast<std::size_t>(std::min<std::int64_t>(bytes, kSampled)));
    ZipStream stream(source, offset, source.size());
    plain.resize(stream.read(plain));
    return plain;
}

/// The highest byte of each sample, prediction undone for rows of this width.
std::vector<std::uint8_t> highBytes(const std::vector<std::uint8_t>& plain, std::size_t width,
                                    int depth, bool predicted)
{
    const std::size_t step = depth >= 16 ? static_cast<std::size_t>(depth) / 8 : 1;
    const std::size_t rowBytes = width * step;
    const bool planar = predicted && depth == 32;
    std::vector<std::uint8_t> high;
    for (std::size_t row = 0; row + rowBytes <= plain.size(); row += rowBytes) {
        std::uint32_t sum = 0;
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t at = row + (planar ? x : x * step);
            std::uint32_t value = plain[at];
            if (predicted && depth == 16) {
                sum += value << 8U | plain[at + 1];
                value = sum >> 8U & 0xFFU;
            } else if (predicted) {
                sum += value;
                value = sum & 0xFFU;
            }
            high.push_back(static_cast<std::uint8_t>(value));
        }
    }
    return high;
}

/// Mean difference between a sample and the one above it.
double unlikeness(const std::vector<std::uint8_t>& samples, std::size_t width)
{
    if (samples.size() < 2 * width) {
        return 1000;
    }
    double sum = 0;
    for (std::size_t i = width; i < samples.size(); ++i) {
        const int difference = samples[i] - samples[i - width];
        sum += difference < 0 ? -difference : difference;
    }
    return sum / static_cast<double>(samples.size() - width);
}

} // namespace

PlaneShape likeliestShape(SourceBytes& source, std::int64_t streamOffset, bool predicted,
                          std::int64_t bytes, int depth)
{
    constexpr int kMostTried = 400;
    const std::int64_t step = depth >= 16 ? depth / 8 : 1;
    const std::int64_t samples = bytes / step;
    const auto plain = beginningOf(source, streamOffset, bytes);
    PlaneShape best{1, bytes};
    double least = 1e9;
    int tried = 0;
    for (std::int64_t width = 2; width <= samples / 2 && width <= kMostRows && tried < kMostTried;
         ++width) {
        if (samples % width != 0 || samples / width > kMostRows) {
            continue;
        }
        ++tried;
        const auto count = static_cast<std::size_t>(width);
        const double found = unlikeness(highBytes(plain, count, depth, predicted), count);
        // Narrow strips are alike in every picture: a wider split must not lose to them by a hair.
        const double ratio = static_cast<double>(std::max(width, samples / width)) /
                             static_cast<double>(std::min(width, samples / width));
        const double judged = (found + 0.01) * (1 + ratio / 20);
        if (judged < least) {
            least = judged;
            best = {samples / width, width * step};
        }
    }
    return best;
}

} // namespace talvek::recovery
