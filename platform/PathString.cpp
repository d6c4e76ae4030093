#include "platform/PathString.h"

namespace talvek {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return path;
}

} // namespace

std::string lastPathComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || path.size() == 1) {
        return std::string(path);
    }
    return std::string(path.substr(slash + 1));
}

std::string deletingLastPathComponent(std::string_view path)
{
    path = withoutTrailingSlashes(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return {};
    }
    return std::string(withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash)));
}

std::string deletingPathExtension(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t nameStart = slash == std::string_view::npos ? 0 : slash + 1;
    const std::size_t point = path.rfind('.');
    if (point == std::string_view::npos || point <= nameStart) {
        return std::string(path);
    }
    return std::string(path.substr(0, point));
}

std::string appendingPathComponent(std::string_view folder, std::string_view name)
{
    while (!name.empty() && name.front() == '/') {
        name.remove_prefix(1);
    }
    if (folder.empty()) {
        return std::string(name);
    }
    std::string joined(withoutTrailingSlashes(folder));
    if (joined.back() != '/') {
        joined += '/';
    }
    return joined.append(name);
}

std::string cutToBytes(std::string_view name, std::size_t mostBytes)
{
    if (name.size() <= mostBytes) {
        return std::string(name);
    }
    // A longer run is no character's, and is not worth losing the name for.
    constexpr std::size_t kMostContinued = 3;
    const auto isContinued = [&](std::size_t at) {
        return (static_cast<unsigned char>(name[at]) & 0xC0U) == 0x80;
    };
    std::size_t end = mostBytes;
    while (end > 0 && mostBytes - end < kMostContinued && isContinued(end)) {
        --end;
    }
    return std::string(name.substr(0, isContinued(end) ? mostBytes : end));
}

} // namespace talvek
