#include "recovery/LayeredDocumentName.h"

#include "platform/PathString.h"

namespace talvek::recovery {

namespace {

constexpr std::size_t kMostOfName = 255;
constexpr std::string_view kEnding = "_layers.psd";
constexpr std::string_view kLargeEnding = "_layers.psb";

} // namespace

std::string stemForNames(std::string_view path)
{
    return cutToBytes(deletingPathExtension(lastPathComponent(path)), kMostOfName - kEnding.size());
}

std::string layeredDocumentName(std::string_view path, bool isLarge)
{
    return stemForNames(path).append(isLarge ? kLargeEnding : kEnding);
}

} // namespace talvek::recovery
