#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/output/ColorConversion.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace talvek::recovery::output {

/// The planes that a picture is made of. They belong to the document, which outlives this.
struct PictureSource
{
    ColorMode mode = ColorMode::Rgb; ///< grayscale where colours were lost and one stands for all
    int depth = 8;
    std::int32_t rows = 0;
    std::int32_t columns = 0;
    std::vector<const Plane*> colors; ///< in the order of the mode
    const Plane* alpha = nullptr;     ///< null: opaque
    bool colorsLost = false;          ///< shown in gray for want of a colour channel
    bool mayBeOnWhite = false;        ///< half-transparent colours may be mixed with white

    [[nodiscard]] bool isEmpty() const { return colors.empty(); }
    /// Memory that a row of it takes while it is read and written, about, in bytes.
    [[nodiscard]] std::int64_t rowCost() const;
    /// Enough of it was recovered for its size: a damaged rectangle can claim any.
    [[nodiscard]] bool isWorthShowing() const;
    /// Some of its rows are lost.
    [[nodiscard]] bool hasLostRows() const;
};

/// A layer's own pixels: its colours and its transparency, but not its masks.
PictureSource pictureOfLayer(const RecoveredDocument& document, const Layer& layer);
/// The merged picture, with its transparency where it has one.
PictureSource pictureOfComposite(const RecoveredDocument& document);
/// A mask, as a picture in gray; empty if nothing is left of it.
PictureSource pictureOfMask(const Channel& mask);

/// What the document says about its colours: profile, palette, transparent index.
ColorFacts colorFacts(const RecoveredDocument& document, SourceFiles& files);

/// The conversions that a document's pictures need, each made once. One thread at a time.
class Colors
{
public:
    explicit Colors(ColorFacts facts) : m_facts(std::move(facts)) {}
    ColorConversion& of(const PictureSource& picture);
    /// For masks, whose samples are amounts and not colours.
    ColorConversion& plain(int depth);

private:
    ColorConversion& keep(const ColorFacts& facts, int kind);

    ColorFacts m_facts;
    std::map<std::pair<int, int>, std::unique_ptr<ColorConversion>> m_made;
};

/// Gives a picture's rows in sRGB, top to bottom.
///
/// A row that lost one of its colours is transparent; what is left of it stays beneath. A row that
/// lost its transparency alone is opaque. Memory: a few rows. One thread at a time.
class PictureReader
{
public:
    /// `files`, `picture` and `conversion` outlive the reader.
    PictureReader(SourceFiles& files, const PictureSource& picture, ColorConversion& conversion);

    [[nodiscard]] int depth() const { return m_conversion.resultDepth(); }
    [[nodiscard]] std::size_t rowBytes() const;
    /// Some pixels may not be opaque.
    [[nodiscard]] bool needsAlpha() const;
    /// Fills `rgba` with the next row. @return false if some of its colours are lost
    /// Requires: rgba.size() == rowBytes(); no more calls than rows.
    bool readRow(std::span<std::uint8_t> rgba);
    void skipRows(std::int32_t count);

private:
    void takeOffWhite();
    void applyAlpha(std::span<std::uint8_t> rgba) const;

    const PictureSource& m_picture;
    ColorConversion& m_conversion;
    std::vector<std::unique_ptr<PlaneReader>> m_colors;
    std::unique_ptr<PlaneReader> m_alpha;
    bool m_isOnWhite;
    std::size_t m_stride;
    std::vector<std::uint8_t> m_samples;
    std::vector<std::uint8_t> m_alphaRow;
};

} // namespace talvek::recovery::output
