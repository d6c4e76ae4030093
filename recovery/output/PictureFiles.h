#pragma once

#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/RunControl.h"
#include "recovery/output/PicturePlan.h"

#include <functional>
#include <string>
#include <vector>

namespace talvek::recovery::output {

/// How writing the pictures ended.
enum class PictureResult : std::uint8_t
{
    Written,
    Stopped, ///< by the run's control
    Failed,  ///< a file could not be written whole
};

/// Writes pictures as PNG files, several at a time on all processors.
///
/// Memory: rows are streamed; as many pictures are worked on as fit 80 MiB. Every file that is left
/// behind is whole. `progress` is called on the caller's thread, with 0 to 1.
PictureResult writePictures(FileManager& files, const RecoveredDocument& document,
                            const std::vector<PictureFile>& pictures, const std::string& folder,
                            const RunControl& control, const std::function<void(double)>& progress);

} // namespace talvek::recovery::output
