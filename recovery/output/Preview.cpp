#include "recovery/output/Preview.h"

#include "recovery/output/PngWriter.h"

#include <algorithm>
#include <array>
#include <span>

namespace talvek::recovery::output {

namespace {

/// Rows looked at for one row of the preview.
constexpr std::int64_t kRowsLookedAt = 2;
constexpr std::array<std::uint8_t, 4> kVeil = {0xD6, 0x45, 0x45, 0x90};

/// Sums of colours, weighed by how opaque they are, for each pixel of one row of the preview.
class RowSums
{
public:
    RowSums(std::int32_t columns, std::int32_t width)
        : m_columns(columns), m_width(width), m_sums(static_cast<std::size_t>(width))
    {}

    void add(std::span<const std::uint8_t> rgba, std::size_t sampleBytes)
    {
        for (std::int64_t x = 0; x < m_width; ++x) {
            const auto first = static_cast<std::size_t>(x * m_columns / m_width);
            const auto end = static_cast<std::size_t>((x + 1) * m_columns / m_width);
            auto& sum = m_sums[static_cast<std::size_t>(x)];
            for (std::size_t i = first; i < std::max(end, first + 1); ++i) {
                const std::uint8_t* pixel = rgba.data() + 4 * i * sampleBytes;
                const std::uint64_t alpha = pixel[3 * sampleBytes];
                for (std::size_t c = 0; c < 3; ++c) {
                    sum[c] += alpha * pixel[c * sampleBytes];
                }
                sum[3] += alpha;
                ++sum[4];
            }
        }
    }

    void take(std::span<std::uint8_t> row)
    {
        for (std::size_t x = 0; x < m_sums.size(); ++x) {
            auto& sum = m_sums[x];
            for (std::size_t c = 0; c < 3; ++c) {
                row[4 * x + c] = static_cast<std::uint8_t>(sum[3] > 0 ? sum[c] / sum[3] : 0);
            }
            row[4 * x + 3] = static_cast<std::uint8_t>(sum[4] > 0 ? sum[3] / sum[4] : 0);
            sum = {};
        }
    }

private:
    std::int64_t m_columns;
    std::int64_t m_width;
    std::vector<std::array<std::uint64_t, 5>> m_sums;
};

void veil(std::span<std::uint8_t> row)
{
    for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = kVeil[i % 4];
    }
}

Preview sized(const PictureSource& picture, std::int64_t mostSide)
{
    const std::int64_t longest = std::max(picture.rows, picture.columns);
    const auto scaled = [&](std::int64_t side) {
        const std::int64_t small = longest > mostSide ? side * mostSide / longest : side;
        return static_cast<std::int32_t>(std::max<std::int64_t>(small, 1));
    };
    return {scaled(picture.columns), scaled(picture.rows), {}};
}

} // namespace

Preview makePreview(SourceFiles& files, const PictureSource& picture, ColorConversion& conversion,
                    std::int32_t mostSide)
{
    if (!picture.isWorthShowing()) {
        return {};
    }
    Preview preview = sized(picture, mostSide);
    PngFormat format;
    format.width = static_cast<std::uint32_t>(preview.width);
    format.height = static_cast<std::uint32_t>(preview.height);
    PngWriter png(format, [&](std::span<const std::uint8_t> bytes) {
        preview.png.insert(preview.png.end(), bytes.begin(), bytes.end());
    });
    PictureReader reader(files, picture, conversion);
    RowSums sums(picture.columns, preview.width);
    std::vector<std::uint8_t> row(reader.rowBytes());
    std::vector<std::uint8_t> small(format.rowBytes());
    std::int64_t at = 0;
    for (std::int64_t y = 0; y < preview.height; ++y) {
        const std::int64_t first = y * picture.rows / preview.height;
        const std::int64_t end = std::max((y + 1) * picture.rows / preview.height, first + 1);
        const std::int64_t step = std::max<std::int64_t>((end - first) / kRowsLookedAt, 1);
        bool isWhole = false;
        for (std::int64_t from = first; from < end; from += step) {
            reader.skipRows(static_cast<std::int32_t>(from - at));
            isWhole = reader.readRow(row) || isWhole;
            sums.add(row, static_cast<std::size_t>(reader.depth()) / 8);
            at = from + 1;
        }
        sums.take(small);
        if (!isWhole) {
            veil(small);
        }
        png.writeRow(small);
    }
    png.finish();
    return preview;
}

} // namespace talvek::recovery::output
