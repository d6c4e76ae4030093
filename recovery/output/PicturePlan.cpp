#include "recovery/output/PicturePlan.h"

#include "recovery/output/Picture.h"
#include "recovery/output/SafeName.h"

#include <algorithm>
#include <utility>

namespace talvek::recovery::output {

namespace {

/// The pictures of one layer, with what their names end in as paths.
std::vector<PictureFile> picturesOf(const RecoveredDocument& document, std::int32_t index)
{
    using Kind = PictureFile::Kind;
    const Layer& layer = document.layers[static_cast<std::size_t>(index)];
    std::vector<PictureFile> files;
    if (pictureOfLayer(document, layer).isWorthShowing()) {
        files.push_back({Kind::Layer, index, ".png"});
    }
    bool hasMask = false;
    bool hasUserMask = false;
    for (const Channel& channel : layer.channels) {
        const bool shows =
            (channel.id == -2 || channel.id == -3) && pictureOfMask(channel).isWorthShowing();
        if (shows && channel.id == -2 && !std::exchange(hasMask, true)) {
            files.push_back({Kind::Mask, index, " mask.png"});
        }
        if (shows && channel.id == -3 && !std::exchange(hasUserMask, true)) {
            files.push_back({Kind::UserMask, index, " user mask.png"});
        }
    }
    return files;
}

std::string padded(std::size_t number, std::size_t digits)
{
    std::string text = std::to_string(number);
    return std::string(digits - std::min(digits, text.size()), '0') + text;
}

} // namespace

std::vector<PictureFile> planPictures(const RecoveredDocument& document)
{
    std::vector<PictureFile> files;
    const std::size_t digits =
        std::max<std::size_t>(3, std::to_string(document.layers.size()).size());
    std::size_t number = 0;
    for (std::size_t i = 0; i < document.layers.size(); ++i) {
        auto pictures = picturesOf(document, static_cast<std::int32_t>(i));
        number += pictures.empty() ? 0U : 1U;
        for (PictureFile& picture : pictures) {
            // The number makes names different and fit for a file; "x" stands in front meanwhile,
            // so that a name is not changed for how it begins.
            const std::string name = safeFileName("x" + document.layers[i].name, "x").substr(1);
            const std::string stem = padded(number, digits) + (name.empty() ? "" : " ") + name;
            picture.path = "Layers/" + stem + picture.path;
            files.push_back(std::move(picture));
        }
    }
    if (pictureOfComposite(document).isWorthShowing()) {
        files.push_back({PictureFile::Kind::Composite, -1, "Composite.png"});
    }
    return files;
}

} // namespace talvek::recovery::output
