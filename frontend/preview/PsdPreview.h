#pragma once

#include "frontend/preview/PackedRows.h"
#include "frontend/preview/PictureSource.h"
#include "frontend/preview/PixelColours.h"
#include "frontend/preview/PsdLayout.h"
#include "frontend/preview/RowSamples.h"

#include <array>
#include <cstddef>

namespace talvek {

/// The composite picture of a PSD document, also of one that is damaged or cut short.
///
/// Memory is that of the picture asked for and of read windows of 1 MiB for a channel; nothing is
/// sized by what the document states. What the file does not hold is transparent.
///
/// The first extra channel of a gray or RGB document may be its transparency or a saved selection,
/// and salvaged documents have lost the mark that tells which. A selection taken for transparency
/// would make whole parts look lost, so the channel counts as transparency only if the document
/// says so, or if the colours are as on white wherever the channel is not full.
class PsdPreview : public PictureSource
{
public:
    /// @return nothing if the file at `path` is no document with a picture that can be shown
    static std::unique_ptr<PsdPreview> open(const QString& path, const CancelFlag& canceled);

    [[nodiscard]] QSize size() const override;
    [[nodiscard]] QImage decode(const QRect& part, const QSize& target,
                                const CancelFlag& canceled) override;

private:
    static constexpr std::size_t kMostChannels = 5; // four inks, or three colours and alpha

    explicit PsdPreview(const std::string& path);
    [[nodiscard]] bool readLayout();
    void chooseChannels(const CancelFlag& canceled);
    [[nodiscard]] bool coloursAreOnWhite(const CancelFlag& canceled);
    [[nodiscard]] bool hasAlpha() const { return m_transparency != Transparency::None; }

    [[nodiscard]] SampleKind kindOf(int channel) const;
    [[nodiscard]] bool rowIsBehindEnd(std::int32_t row) const;
    void readRow(std::size_t slot, std::int32_t row, const PackedRow& packed,
                 const Sampling& columns, ChannelRow& into);
    void readRawRow(std::size_t slot, std::int64_t offset, RowPicker& picker);
    void readPackedRow(std::size_t slot, const PackedRow& packed, RowPicker& picker);

    bool reduce(const Sampling& columns, const Sampling& rows, QImage& image,
                const CancelFlag& canceled);
    [[nodiscard]] std::vector<PackedRow> locateRows(const Sampling& rows,
                                                    const CancelFlag& canceled);

    PsdLayout m_layout;
    std::vector<int> m_channels;                      ///< that are shown, ascending; alpha last
    Transparency m_transparency = Transparency::None; ///< of the last of them
    ReadingFileHandle m_head;                         ///< the head, and the row table later
    std::array<ReadingFileHandle, kMostChannels> m_planes; ///< one window for each channel shown
};

} // namespace talvek
