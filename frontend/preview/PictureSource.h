#pragma once

#include <QImage>
#include <QRect>
#include <QSize>
#include <QString>

#include <atomic>
#include <memory>

namespace talvek {

/// Set by one thread to make a decoding on another end early.
using CancelFlag = std::atomic<bool>;

/// A picture in a file, of which any part can be had in any smaller size.
///
/// The file is opened read-only and stays open, so a picture on the screen outlives its file.
/// One thread at a time.
class PictureSource
{
public:
    /// Opens the picture at `path`: a PSD document, a JPEG or a PNG, told by its first bytes.
    /// @return nothing for a file that cannot be shown, or if the flag was set
    static std::unique_ptr<PictureSource> open(const QString& path, const CancelFlag& canceled);

    virtual ~PictureSource() = default;
    PictureSource(const PictureSource&) = delete;
    PictureSource& operator=(const PictureSource&) = delete;

    /// The whole picture's width and height in pixels, both at least 1.
    [[nodiscard]] virtual QSize size() const = 0;

    /// Decodes `part` of the picture (in its pixels), reduced to `target` pixels. A target larger
    /// than the part gives the part at its own size: nothing is ever enlarged.
    /// @return premultiplied ARGB, transparent where the file holds nothing; a null image if
    ///         `part` lies outside, the flag was set, or memory is short
    [[nodiscard]] virtual QImage decode(const QRect& part, const QSize& target,
                                        const CancelFlag& canceled) = 0;

protected:
    PictureSource() = default;
};

} // namespace talvek
