#pragma once

#include "frontend/preview/PsdLayout.h"

#include <QRgb>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvek {

/// The samples of one row of one channel. Those from `present` on are not in the file.
struct ChannelRow
{
    std::vector<std::uint16_t> samples;
    std::size_t present = 0;
};

/// What the first extra channel of a document says.
enum class Transparency
{
    None,   ///< nothing about transparency: it is a saved selection, say
    Plain,  ///< how opaque each pixel is
    OnWhite ///< the same, and the colours are those of the picture laid on white
};

/// Turns rows of samples into colours for the screen, by the rules of the document's mode.
///
/// CMYK, and multichannel as if it were CMYK, is stored inverted (65535 is no ink) and shown by
/// plain arithmetic, since a salvaged document has no colour profile. Duotone is shown as gray.
class PixelColours
{
public:
    PixelColours(const PsdLayout& layout, Transparency transparency);

    /// @param colours  a row for each colour channel that the document declares, one at least; gaps
    ///                 are filled in: a pixel is shown if any of its colour samples is there
    /// @param alpha    the row of the transparency, or nothing; a gap in it is opaque
    /// @param pixels   receives premultiplied colours, transparent where nothing is there
    void convert(std::span<ChannelRow> colours, const ChannelRow* alpha,
                 std::span<QRgb> pixels) const;

private:
    using Row = std::span<const ChannelRow>;

    void fillGaps(std::span<ChannelRow> colours, std::size_t count) const;
    [[nodiscard]] QRgb colourAt(Row colours, std::size_t x) const;
    [[nodiscard]] QRgb indexedAt(std::uint16_t sample) const;
    [[nodiscard]] QRgb labAt(Row colours, std::size_t x) const;

    ColourMode m_mode;
    Transparency m_transparency;
    std::uint16_t m_colourless; ///< the sample of a and b in Lab that is no colour
    std::vector<QRgb> m_palette;
};

} // namespace talvek
