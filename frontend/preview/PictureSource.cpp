#include "frontend/preview/PictureSource.h"

#include "frontend/preview/PngPicture.h"
#include "frontend/preview/PsdPreview.h"
#include "frontend/preview/ReaderPicture.h"

namespace talvek {

std::unique_ptr<PictureSource> PictureSource::open(const QString& path, const CancelFlag& canceled)
{
    if (auto document = PsdPreview::open(path, canceled)) {
        return document;
    }
    if (canceled) {
        return nullptr;
    }
    if (auto picture = PngPicture::open(path)) {
        return picture;
    }
    return ReaderPicture::open(path);
}

} // namespace talvek
