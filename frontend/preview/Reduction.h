#pragma once

#include <QRgb>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvek {

/// Adds up the samples of one row of target pixels and writes their average. Pixels are
/// premultiplied, so that what is transparent lends no colour to what is beside it.
class Reduction
{
public:
    Reduction(std::size_t pixels, std::int32_t columnsPerPixel, std::int32_t rowsPerPixel)
        : m_sums(pixels),
          m_columnsPerPixel(static_cast<std::size_t>(columnsPerPixel)),
          m_samples(static_cast<std::uint32_t>(columnsPerPixel * rowsPerPixel))
    {}

    void clear() { std::fill(m_sums.begin(), m_sums.end(), Sum{}); }

    void add(std::span<const QRgb> row)
    {
        for (std::size_t i = 0; i < row.size(); ++i) {
            Sum& sum = m_sums[i / m_columnsPerPixel];
            sum.alpha += static_cast<std::uint32_t>(qAlpha(row[i]));
            sum.red += static_cast<std::uint32_t>(qRed(row[i]));
            sum.green += static_cast<std::uint32_t>(qGreen(row[i]));
            sum.blue += static_cast<std::uint32_t>(qBlue(row[i]));
        }
    }

    void write(QRgb* pixels) const
    {
        for (const Sum& sum : m_sums) {
            *pixels++ =
                qRgba(average(sum.red), average(sum.green), average(sum.blue), average(sum.alpha));
        }
    }

private:
    struct Sum
    {
        std::uint32_t alpha = 0;
        std::uint32_t red = 0;
        std::uint32_t green = 0;
        std::uint32_t blue = 0;
    };

    [[nodiscard]] int average(std::uint32_t sum) const
    {
        return static_cast<int>((sum + m_samples / 2) / m_samples);
    }

    std::vector<Sum> m_sums;
    std::size_t m_columnsPerPixel;
    std::uint32_t m_samples;
};

} // namespace talvek
