#pragma once

#include "frontend/preview/RowSpan.h"
#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/output/RecoveryOutput.h"

#include <QPoint>
#include <QSize>
#include <QString>

#include <cstdint>
#include <vector>

namespace talvek {

/// One line of the layer tree.
struct DeepItem
{
    enum class Kind : std::uint8_t
    {
        WholePicture,
        Layer,
        Group,
        Mask,
    };

    Kind kind = Kind::Layer;
    int parent = -1; ///< index of the item that holds it, which stands before it; -1: none
    QString name;
    recovery::State state = recovery::State::Lost;
    QString picture;                       ///< absolute path; empty: there is none to show
    QSize size;                            ///< in pixels; empty: it has none of its own
    QPoint place;                          ///< of its upper left corner on the canvas
    std::vector<RowSpan> lostRows;         ///< of its colours, disjoint, from the top down
    std::int64_t lostRowCount = 0;         ///< how many those are
    std::int64_t lostTransparencyRows = 0; ///< the picture is opaque there
    bool isMaskDamaged = false;            ///< a mask of it is not all there
    bool isWithoutRecord = false;          ///< name and place are made up around its pixels
    bool isInGray = false;                 ///< colours are lost; one of them stands for all
    bool isFlattened = false;              ///< made anew from the layers
    bool isHidden = false;
    int opacityPercent = 100;
    QString blend; ///< four letters, as stored
    QString note;  ///< what was found missing, in words; empty if nothing
};

/// What a deep recovery came to, as the application shows and saves it. It holds no pixels: those
/// are in the files of the folder.
struct DeepResults
{
    QString document; ///< absolute path of the damaged file
    QString folder;   ///< absolute path of the folder that the files are in
    QString verdict;  ///< one sentence
    bool hasNothing = false;
    QSize size; ///< of the canvas
    int depth = 8;
    recovery::ColorMode mode = recovery::ColorMode::Rgb;
    int layerCount = 0;
    int embeddedCount = 0;
    std::vector<DeepItem> items; ///< the whole picture first, then the highest layer

    // Paths of files, relative to the folder.
    QString layeredDocument; ///< empty: there is none
    QString report;
    std::vector<QString> pictures;
    std::vector<QString> everything;
};

/// Any thread. The layers of a document whose groups are damaged come without them, not not at all.
DeepResults resultsOf(const recovery::RecoveredDocument& document,
                      const recovery::output::RecoveryOutput& output, const FileManager& files,
                      const std::string& folder);

} // namespace talvek
