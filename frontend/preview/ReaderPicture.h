#pragma once

#include "frontend/preview/PictureSource.h"

#include <QByteArray>
#include <QFile>

namespace talvek {

/// A JPEG or PNG picture, read by Qt within Qt's own allocation limit.
class ReaderPicture : public PictureSource
{
public:
    /// @return nothing if the file at `path` is of another kind or its size cannot be read
    static std::unique_ptr<ReaderPicture> open(const QString& path);

    [[nodiscard]] QSize size() const override { return m_size; }
    [[nodiscard]] QImage decode(const QRect& part, const QSize& target,
                                const CancelFlag& canceled) override;

private:
    ReaderPicture(std::unique_ptr<QFile> file, QByteArray format, QSize size);

    std::unique_ptr<QFile> m_file;
    QByteArray m_format;
    QSize m_size;
};

} // namespace talvek
