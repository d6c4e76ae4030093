#pragma once

#include "frontend/preview/PictureSource.h"
#include "platform/FileHandle.h"

#include <utility>

namespace talvek {

/// A PNG picture of any size, read row by row and reduced while it is read: memory is that of the
/// picture asked for and of a few rows. Only what is not interlaced; rows of such a picture come
/// in their order.
class PngPicture : public PictureSource
{
public:
    /// Wider pictures are left to others: a row of this many pixels takes 8 MB.
    static constexpr std::uint32_t kMostColumns = 2'000'000;

    /// @return nothing if the file at `path` is no PNG, or is interlaced
    static std::unique_ptr<PngPicture> open(const QString& path);

    [[nodiscard]] QSize size() const override { return m_size; }
    /// A file that ends early gives the rows that are there.
    [[nodiscard]] QImage decode(const QRect& part, const QSize& target,
                                const CancelFlag& canceled) override;

private:
    PngPicture(ReadingFileHandle file, QSize size) : m_file(std::move(file)), m_size(size) {}

    ReadingFileHandle m_file;
    QSize m_size;
};

} // namespace talvek
