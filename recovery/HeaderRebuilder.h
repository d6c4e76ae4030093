#pragma once

#include "recovery/BlindComposite.h"
#include "recovery/LayerRecord.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/ResourceFinder.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace talvek::recovery {

/// The depth that the place of the layers tells: 16 or 32 in a block of their own; 0 unknown.
int depthOfLayerBlocks(SourceBytes& source, const SignatureIndex& index);

/// What is known of a document whose header is lost.
struct HeaderEvidence
{
    const std::vector<LayerRecord>& records;
    const ResourceFinder& resources;
    ByteRange colorData;
    std::optional<BlindComposite> composite;
    std::int64_t rawBytes = -1; ///< of a picture that seems to be raw, without its code; -1 none
    int depth = 0;              ///< 0 unknown
    bool mergedAlpha = false;
    std::int32_t statedWidth = 0; ///< by a header that cannot be right as a whole; 0 none
    std::int32_t statedHeight = 0;
};

/// Works out size, channels, depth and mode from what the rest of the document says about them.
///
/// The canvas is proposed by the slices' bounds, by layers that cover it, by the thumbnail and by
/// the metadata; the proposal that fits the picture's rows wins, then the one most agree on.
class HeaderRebuilder
{
public:
    HeaderRebuilder(SourceBytes& source, const HeaderEvidence& evidence)
        : m_source(source), m_evidence(evidence)
    {}

    /// Fills in all fields but the version. If nothing tells the canvas' size, it is one pixel and
    /// the origin says so.
    void run(DocumentFacts& facts);

private:
    struct Size
    {
        std::int64_t width = 0;
        std::int64_t height = 0;
        int weight = 0;
    };

    void propose(std::int64_t width, std::int64_t height, int weight);
    void proposeFromSlices();
    void proposeFromLayers();
    void proposeFromThumbnail();
    void proposeFromMetadata();
    void proposeFromComposite();
    [[nodiscard]] int fit(const Size& size) const;
    [[nodiscard]] std::int64_t widthOfComposite() const;
    int colorsTold();
    bool isToning();
    [[nodiscard]] int extraChannels() const;
    ColorMode mode(int channels);
    std::optional<ColorMode> modeOfMetadata();
    std::optional<ColorMode> modeOfProfile();
    std::optional<std::int64_t> metadataNumber(const char* name);
    [[nodiscard]] std::int64_t channelsFor(const Size& size) const;

    SourceBytes& m_source;
    const HeaderEvidence& m_evidence;
    int m_depth = 8;
    int m_colors = 0; ///< 0 unknown
    std::vector<Size> m_sizes;
};

} // namespace talvek::recovery
