#include "recovery/output/Picture.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace talvek::recovery::output {

namespace {

constexpr std::int64_t kMostColumns = 1'000'000;
/// Pictures of up to this many pixels are shown however little is left of them.
constexpr std::int64_t kModestPixels = std::int64_t{1} << 28U;
constexpr std::int64_t kLeastShare = 64;
constexpr std::int64_t kMostProfile = 16 << 20;
constexpr std::int64_t kMostPalette = 1 << 20;
constexpr std::uint16_t kTransparentIndexResource = 0x0417;

std::size_t colorsOf(const DocumentFacts& facts)
{
    return static_cast<std::size_t>(planesOf(facts.mode, facts.channels));
}

bool isUsable(const Plane& plane, std::int64_t rows, std::int64_t columns)
{
    const bool isKnownDepth =
        plane.depth == 1 || plane.depth == 8 || plane.depth == 16 || plane.depth == 32;
    return isKnownDepth && plane.rowsRecovered > 0 && !plane.isEmpty() && plane.rows == rows &&
           plane.columns == columns && plane.columns <= kMostColumns;
}

const Plane* planeWithId(const std::vector<Channel>& channels, int id, std::int64_t rows,
                         std::int64_t columns)
{
    for (const Channel& channel : channels) {
        if (channel.id == id && isUsable(channel.plane, rows, columns)) {
            return &channel.plane;
        }
    }
    return nullptr;
}

/// All colours of the mode, or the one that is likest to a picture in gray.
void gatherColors(const DocumentFacts& facts, const std::vector<Channel>& channels,
                  PictureSource& picture)
{
    constexpr std::array<int, 4> kLikestToGray = {1, 0, 2, 3};
    constexpr std::array<int, 4> kLightnessFirst = {0, 1, 2, 3};
    picture.mode = facts.mode;
    for (std::size_t id = 0; id < colorsOf(facts); ++id) {
        const Plane* plane =
            planeWithId(channels, static_cast<int>(id), picture.rows, picture.columns);
        if (plane != nullptr &&
            (picture.colors.empty() || plane->depth == picture.colors[0]->depth)) {
            picture.colors.push_back(plane);
        }
    }
    if (!picture.colors.empty() && picture.colors.size() < colorsOf(facts)) {
        picture.colors.clear();
        picture.mode = ColorMode::Grayscale;
        picture.colorsLost = true;
        const auto& order = facts.mode == ColorMode::Lab ? kLightnessFirst : kLikestToGray;
        for (const int id : order) {
            const Plane* plane = planeWithId(channels, id, picture.rows, picture.columns);
            if (plane != nullptr && picture.colors.empty()) {
                picture.colors.push_back(plane);
            }
        }
    }
    picture.depth = picture.colors.empty() ? facts.depth : picture.colors[0]->depth;
}

void takeAlpha(const Plane* alpha, PictureSource& picture)
{
    if (alpha != nullptr && !picture.isEmpty() && alpha->depth == picture.depth &&
        alpha->depth >= 8) {
        picture.alpha = alpha;
    }
}

/// A sample of 32 bits as an amount in 16.
std::uint32_t amountFrom32(const std::uint8_t* at)
{
    const std::uint32_t stored = std::uint32_t{at[0]} << 24U | std::uint32_t{at[1]} << 16U |
                                 std::uint32_t{at[2]} << 8U | at[3];
    const auto value = std::bit_cast<float>(stored);
    return !(value > 0) ? 0U
           : value >= 1 ? 65535U
                        : static_cast<std::uint32_t>(std::lround(double{value} * 65535));
}

/// Undoes c = stored * a + white * (1 - a), in numbers of which the highest is white.
std::uint32_t withoutWhite(std::uint32_t stored, std::uint32_t alpha, std::uint32_t white)
{
    if (alpha == 0 || alpha == white) {
        return stored;
    }
    const std::uint64_t missing = std::uint64_t{white - stored} * white / alpha;
    return missing >= white ? 0 : white - static_cast<std::uint32_t>(missing);
}

/// Sees in one row's samples whether a colour is darker than white alone would leave it.
class WhiteCheck
{
public:
    void add(std::span<const std::uint8_t> colors, std::span<const std::uint8_t> alpha, int depth)
    {
        constexpr int kRounding = 3;
        const std::size_t bytes = static_cast<std::size_t>(depth) / 8;
        for (std::size_t i = 0; i < alpha.size(); i += bytes) {
            if (alpha[i] > 0 && alpha[i] < 0xFF) {
                ++m_halfTransparent;
                m_tooDark += colors[i] + alpha[i] + kRounding < 0xFF ? 1 : 0;
            }
        }
    }
    [[nodiscard]] bool isOnWhite() const { return m_tooDark * 50 <= m_halfTransparent; }

private:
    std::int64_t m_halfTransparent = 0;
    std::int64_t m_tooDark = 0;
};

/// Most writers mix the merged picture's half-transparent colours with white, and some do not: told
/// by a sample of rows, in which no colour can be darker than what the white in it leaves.
bool isOnWhite(SourceFiles& files, const PictureSource& picture)
{
    constexpr std::int32_t kMostSampled = 128;
    const auto color = openPlane(files, *picture.colors.at(0));
    const auto alpha = openPlane(files, *picture.alpha);
    std::vector<std::uint8_t> colorRow(static_cast<std::size_t>(color->rowBytes()));
    std::vector<std::uint8_t> alphaRow(static_cast<std::size_t>(alpha->rowBytes()));
    const std::int32_t step = std::max(picture.rows / kMostSampled, 1);
    WhiteCheck check;
    for (std::int32_t row = 0; row < picture.rows; row += step) {
        const bool hasColor = color->readRow(colorRow);
        if (alpha->readRow(alphaRow) && hasColor) {
            check.add(colorRow, alphaRow, picture.depth);
        }
        color->skipRows(step - 1);
        alpha->skipRows(step - 1);
    }
    return check.isOnWhite();
}

} // namespace

std::int64_t PictureSource::rowCost() const
{
    const std::int64_t samples = static_cast<std::int64_t>(colors.size()) + 1;
    const std::int64_t result = depth > 8 ? 8 : 4;
    return columns * (samples * 3 * std::max(depth / 8, 1) + 8 * result);
}

bool PictureSource::isWorthShowing() const
{
    if (isEmpty()) {
        return false;
    }
    std::int64_t most = 0;
    for (const Plane* plane : colors) {
        most = std::max<std::int64_t>(most, plane->rowsRecovered);
    }
    return std::int64_t{rows} * columns <= kModestPixels || most >= rows / kLeastShare;
}

bool PictureSource::hasLostRows() const
{
    return std::any_of(colors.begin(), colors.end(), [](const Plane* plane) {
        return plane->rowsRecovered < plane->rows || plane->state == State::Partial;
    });
}

PictureSource pictureOfLayer(const RecoveredDocument& document, const Layer& layer)
{
    PictureSource picture;
    if (!layer.hasPixels() || layer.bounds.rows() > INT32_MAX ||
        layer.bounds.columns() > kMostColumns) {
        return picture;
    }
    picture.rows = static_cast<std::int32_t>(layer.bounds.rows());
    picture.columns = static_cast<std::int32_t>(layer.bounds.columns());
    gatherColors(document.facts, layer.channels, picture);
    takeAlpha(planeWithId(layer.channels, -1, picture.rows, picture.columns), picture);
    return picture;
}

PictureSource pictureOfComposite(const RecoveredDocument& document)
{
    PictureSource picture;
    const DocumentFacts& facts = document.facts;
    picture.rows = facts.height;
    picture.columns = facts.width;
    gatherColors(facts, document.composite.channels, picture);
    const std::size_t alphaId = colorsOf(facts);
    if (document.mergedAlpha && facts.mode != ColorMode::Multichannel) {
        takeAlpha(planeWithId(document.composite.channels, static_cast<int>(alphaId), picture.rows,
                              picture.columns),
                  picture);
    }
    picture.mayBeOnWhite = picture.alpha != nullptr && facts.mode != ColorMode::Lab &&
                           facts.mode != ColorMode::Indexed && picture.depth <= 16;
    return picture;
}

PictureSource pictureOfMask(const Channel& mask)
{
    PictureSource picture;
    if (isUsable(mask.plane, mask.plane.rows, mask.plane.columns)) {
        picture.mode = mask.plane.depth == 1 ? ColorMode::Bitmap : ColorMode::Grayscale;
        picture.depth = mask.plane.depth;
        picture.rows = mask.plane.rows;
        picture.columns = mask.plane.columns;
        picture.colors = {&mask.plane};
    }
    return picture;
}

ColorFacts colorFacts(const RecoveredDocument& document, SourceFiles& files)
{
    ColorFacts facts;
    facts.mode = document.facts.mode;
    facts.depth = document.facts.depth;
    facts.colors = document.facts.channels;
    facts.profile = files.bytes(document.profile, kMostProfile);
    if (facts.mode == ColorMode::Indexed) {
        facts.palette = files.bytes(document.facts.colorData, kMostPalette);
        const Resource* transparent = document.resource(kTransparentIndexResource);
        if (transparent != nullptr) {
            const auto index = files.bytes(transparent->data, 16);
            facts.transparentIndex = index.size() >= 2 ? index[0] << 8 | index[1] : -1;
        }
    }
    return facts;
}

ColorConversion& Colors::keep(const ColorFacts& facts, int kind)
{
    auto& made = m_made[{kind, facts.depth}];
    if (made == nullptr) {
        made = std::make_unique<ColorConversion>(facts);
    }
    return *made;
}

ColorConversion& Colors::of(const PictureSource& picture)
{
    ColorFacts facts = m_facts;
    facts.mode = picture.mode;
    facts.depth = picture.depth;
    facts.colors = static_cast<int>(picture.colors.size());
    return keep(facts, static_cast<int>(picture.mode));
}

ColorConversion& Colors::plain(int depth)
{
    ColorFacts facts;
    facts.mode = depth == 1 ? ColorMode::Bitmap : ColorMode::Grayscale;
    facts.depth = depth;
    facts.areAmounts = true;
    return keep(facts, -1);
}

PictureReader::PictureReader(SourceFiles& files, const PictureSource& picture,
                             ColorConversion& conversion)
    : m_picture(picture),
      m_conversion(conversion),
      m_isOnWhite(picture.mayBeOnWhite && isOnWhite(files, picture))
{
    for (const Plane* plane : picture.colors) {
        m_colors.push_back(openPlane(files, *plane));
    }
    m_stride = static_cast<std::size_t>(picture.colors.at(0)->rowBytes());
    m_samples.resize(m_stride * m_colors.size());
    if (picture.alpha != nullptr) {
        m_alpha = openPlane(files, *picture.alpha);
        m_alphaRow.resize(static_cast<std::size_t>(picture.alpha->rowBytes()));
    }
}

std::size_t PictureReader::rowBytes() const
{
    return static_cast<std::size_t>(m_picture.columns) * (depth() == 16 ? 8 : 4);
}

bool PictureReader::needsAlpha() const
{
    return m_alpha != nullptr || m_picture.hasLostRows() || m_conversion.makesTransparency();
}

bool PictureReader::readRow(std::span<std::uint8_t> rgba)
{
    std::size_t recovered = 0;
    for (std::size_t i = 0; i < m_colors.size(); ++i) {
        recovered += m_colors[i]->readRow(std::span(m_samples).subspan(i * m_stride, m_stride));
    }
    const bool hasAlpha = m_alpha != nullptr && m_alpha->readRow(m_alphaRow);
    if (recovered == 0) {
        std::fill(rgba.begin(), rgba.end(), std::uint8_t{0});
        return false;
    }
    if (hasAlpha && m_isOnWhite) {
        takeOffWhite();
    }
    m_conversion.convertRow(m_samples, m_stride, static_cast<std::size_t>(m_picture.columns), rgba);
    const bool isWhole = recovered == m_colors.size();
    if (!isWhole) {
        m_alphaRow.assign(m_stride, 0);
    }
    if (hasAlpha || !isWhole) {
        applyAlpha(rgba);
    }
    return isWhole;
}

void PictureReader::skipRows(std::int32_t count)
{
    for (const auto& reader : m_colors) {
        reader->skipRows(count);
    }
    if (m_alpha != nullptr) {
        m_alpha->skipRows(count);
    }
}

void PictureReader::takeOffWhite()
{
    const auto columns = static_cast<std::size_t>(m_picture.columns);
    for (std::size_t i = 0; i < columns * m_colors.size(); ++i) {
        const std::size_t x = i % columns;
        std::uint8_t* sample = m_samples.data() + i / columns * m_stride;
        if (m_picture.depth == 8) {
            sample[x] = static_cast<std::uint8_t>(withoutWhite(sample[x], m_alphaRow[x], 0xFF));
        } else {
            sample += 2 * x;
            const std::uint32_t alpha = m_alphaRow[2 * x] * 256U + m_alphaRow[2 * x + 1];
            const std::uint32_t value = withoutWhite(sample[0] * 256U + sample[1], alpha, 0xFFFF);
            sample[0] = static_cast<std::uint8_t>(value >> 8U);
            sample[1] = static_cast<std::uint8_t>(value);
        }
    }
}

void PictureReader::applyAlpha(std::span<std::uint8_t> rgba) const
{
    const auto columns = static_cast<std::size_t>(m_picture.columns);
    for (std::size_t x = 0; x < columns; ++x) {
        if (depth() == 8) {
            rgba[4 * x + 3] = std::min(m_alphaRow[m_picture.depth == 8 ? x : 0], rgba[4 * x + 3]);
        } else if (m_picture.depth == 16) {
            rgba[8 * x + 6] = m_alphaRow[2 * x];
            rgba[8 * x + 7] = m_alphaRow[2 * x + 1];
        } else {
            const std::uint32_t amount = amountFrom32(m_alphaRow.data() + 4 * x);
            rgba[8 * x + 6] = static_cast<std::uint8_t>(amount >> 8U);
            rgba[8 * x + 7] = static_cast<std::uint8_t>(amount);
        }
    }
}

} // namespace talvek::recovery::output
