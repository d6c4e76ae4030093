#include "recovery/PlaneScan.h"

#include "recovery/PackBitsRow.h"
#include "recovery/ZipStream.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::size_t kMostHits = 1U << 18U;
constexpr std::int64_t kFirstBudget = 1 << 22;
constexpr std::int64_t kBudgetPerByte = 4;

void sortOnce(std::vector<std::int64_t>& values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

class Scan
{
public:
    Scan(SourceBytes& source, const WantedPlanes& wanted, int entryBytes)
        : m_source(source), m_wanted(wanted), m_entryBytes(entryBytes)
    {}

    void look(std::int64_t offset, std::uint8_t code)
    {
        if (m_budget <= 0 || hits.size() >= kMostHits) {
            return;
        }
        if (code == 1) {
            followTable(offset);
        } else if (isZipHeader(m_source, offset + 2)) {
            followStream(offset, static_cast<Compression>(code));
        }
    }

    void earn(std::int64_t bytes)
    {
        m_budget = std::min(m_budget + bytes * kBudgetPerByte, 64 * kFirstBudget);
    }

    std::vector<PlaneHit> hits;

private:
    /// Adds up the counts; wherever the rows so far are a wanted number, compares the length.
    void followTable(std::int64_t offset)
    {
        const auto most = static_cast<std::uint64_t>(mostPacked(m_wanted.mostRowBytes()));
        const auto step = static_cast<std::size_t>(m_entryBytes);
        std::int64_t row = 0;
        std::int64_t length = 2;
        for (const std::int64_t rows : m_wanted.rows()) {
            for (; row < rows; ++row) {
                const auto count = m_source.number(offset + 2 + row * m_entryBytes, step);
                length += static_cast<std::int64_t>(count) + m_entryBytes;
                if (count == 0 || count > most || length > m_wanted.mostLength()) {
                    m_budget -= row;
                    return;
                }
            }
            if (m_wanted.wants(rows, length)) {
                hits.push_back({offset, length, Compression::PackBits, rows, 0});
            }
        }
        m_budget -= row;
    }

    void followStream(std::int64_t offset, Compression compression)
    {
        const ZipExtent extent =
            measureZip(m_source, offset + 2, m_source.size(), m_wanted.mostBytes());
        m_budget -= extent.produced / 4 + 1024;
        if (extent.isProved && m_wanted.wantsBytes(extent.produced)) {
            hits.push_back({offset, 2 + extent.consumed, compression, 0, extent.produced});
        }
    }

    SourceBytes& m_source;
    const WantedPlanes& m_wanted;
    int m_entryBytes;
    std::int64_t m_budget = kFirstBudget;
};

} // namespace

std::int64_t nextPlaneCode(SourceBytes& source, std::int64_t from, std::int64_t to)
{
    constexpr std::int64_t kStep = std::int64_t{SourceBytes::kMostView} - 1;
    for (std::int64_t offset = std::max<std::int64_t>(from, 0); offset < to; offset += kStep) {
        const auto view = source.at(offset, SourceBytes::kMostView);
        for (std::size_t i = 1; i < view.size(); ++i) {
            if (view[i] - 1U < 3U && view[i - 1] == 0) {
                return std::min(to, offset + static_cast<std::int64_t>(i) - 1);
            }
        }
        if (view.size() < SourceBytes::kMostView) {
            break;
        }
    }
    return to;
}

void WantedPlanes::add(const PlaneShape& shape, std::int64_t length)
{
    m_rows.push_back(shape.rows);
    m_bytes.push_back(shape.bytes());
    m_lengths.emplace_back(shape.rows, length);
    m_mostRowBytes = std::max(m_mostRowBytes, shape.rowBytes);
    m_mostLength = std::max(m_mostLength, length);
    m_mostBytes = std::max(m_mostBytes, shape.bytes());
}

void WantedPlanes::prepare()
{
    sortOnce(m_rows);
    sortOnce(m_bytes);
    std::sort(m_lengths.begin(), m_lengths.end());
}

bool WantedPlanes::wants(std::int64_t rows, std::int64_t length) const
{
    const auto found =
        std::lower_bound(m_lengths.begin(), m_lengths.end(), std::pair(rows, length));
    return found != m_lengths.end() && found->first == rows &&
           found->second - length <= kMostPlanePadding;
}

bool WantedPlanes::wantsBytes(std::int64_t bytes) const
{
    return std::binary_search(m_bytes.begin(), m_bytes.end(), bytes);
}

std::vector<PlaneHit> scanForPlanes(SourceBytes& source, std::int64_t from, std::int64_t to,
                                    const WantedPlanes& wanted, int entryBytes,
                                    const RunControl& control)
{
    Scan scan(source, wanted, entryBytes);
    constexpr std::int64_t kStep = 32 << 10;
    std::vector<std::uint8_t> codes;
    for (std::int64_t offset = from; offset < to && !control.isStoppedAfterPause();
         offset += kStep) {
        const auto wantedBytes = std::min<std::int64_t>(kStep + 1, to - offset);
        const auto view = source.at(offset, static_cast<std::size_t>(wantedBytes));
        // Following a table looks elsewhere, so the bytes are copied first.
        codes.assign(view.begin(), view.end());
        scan.earn(kStep);
        for (std::size_t i = 0; i + 1 < codes.size(); ++i) {
            if (codes[i] == 0 && codes[i + 1] - 1U < 3U) {
                scan.look(offset + static_cast<std::int64_t>(i), codes[i + 1]);
            }
        }
    }
    return std::move(scan.hits);
}

} // namespace talvek::recovery
