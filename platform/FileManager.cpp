#include "platform/FileManager.h"

#include "platform/PathString.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace talvek {

namespace {

const char* orCurrentFolder(const std::string& path)
{
    return path.empty() ? "." : path.c_str();
}

struct CloseFolder
{
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

/// Opens the folder `name` in `parent`; never through a link, so a deletion cannot leave the tree.
OpenFolder openFolder(int parent, const char* name)
{
    const int descriptor =
        ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return nullptr;
    }
    DIR* folder = ::fdopendir(descriptor);
    if (folder == nullptr) {
        ::close(descriptor);
    }
    return OpenFolder(folder);
}

std::vector<std::string> entriesOf(DIR* folder)
{
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    return names;
}

bool removeTree(int parent, const std::string& name);

bool removeContents(int parent, const std::string& name)
{
    const OpenFolder folder = openFolder(parent, name.c_str());
    if (!folder) {
        return false;
    }
    bool removedAll = true;
    for (const std::string& entry : entriesOf(folder.get())) {
        removedAll = removeTree(::dirfd(folder.get()), entry) && removedAll;
    }
    return removedAll;
}

bool removeTree(int parent, const std::string& name)
{
    struct stat status = {};
    if (::fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        return ::unlinkat(parent, name.c_str(), 0) == 0;
    }
    return removeContents(parent, name) && ::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0;
}

std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? std::string(real.get()) : std::string();
}

/// `inner` is `outer` or lies below it; both are resolved paths.
bool holds(const std::string& outer, const std::string& inner)
{
    return outer == "/" || inner == outer ||
           (inner.size() > outer.size() && inner.compare(0, outer.size(), outer) == 0 &&
            inner[outer.size()] == '/');
}

/// The path as deletion sees it: links on the way are followed, one at the very end is not.
std::string resolvedForDeletion(const std::string& path)
{
    struct stat status = {};
    std::string bare = path;
    while (bare.size() > 1 && bare.back() == '/') {
        bare.pop_back();
    }
    if (::lstat(bare.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        const std::string parent = resolved(orCurrentFolder(deletingLastPathComponent(bare)));
        return parent.empty() ? parent : appendingPathComponent(parent, lastPathComponent(bare));
    }
    return resolved(bare);
}

} // namespace

FileManager& FileManager::defaultManager()
{
    static FileManager manager(SystemCalls::real());
    return manager;
}

bool FileManager::existsAtPath(const std::string& path) const
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool FileManager::isFolder(const std::string& path) const
{
    struct stat status = {};
    return ::stat(orCurrentFolder(path), &status) == 0 && S_ISDIR(status.st_mode);
}

std::int64_t FileManager::fileSizeAtPath(const std::string& path) const
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_size) : 0;
}

bool FileManager::isWritableAtPath(const std::string& path) const
{
    return ::access(orCurrentFolder(path), W_OK) == 0;
}

std::optional<std::uint64_t> FileManager::freeSizeAtPath(const std::string& path) const
{
    return m_system.freeBytes(orCurrentFolder(path));
}

bool FileManager::createFile(const std::string& path, std::span<const std::uint8_t> contents)
{
    const Descriptor created(m_system, m_system.create(path));
    if (!created.isOpen()) {
        return false;
    }
    WritingFileHandle handle = openForWriting(path);
    handle.append(contents);
    return handle.isOpen() && handle.close();
}

bool FileManager::createFolder(const std::string& path, mode_t mode)
{
    return m_system.makeFolder(path, mode) == 0;
}

bool FileManager::createFolders(const std::string& path, mode_t mode)
{
    if (path.empty() || isFolder(path)) {
        return true;
    }
    const std::string parent = deletingLastPathComponent(path);
    return parent != path && createFolders(parent, mode) &&
           (createFolder(path, mode) || isFolder(path));
}

bool FileManager::removeItem(const std::string& path)
{
    return removeTree(AT_FDCWD, path);
}

bool FileManager::moveItem(const std::string& from, const std::string& to)
{
    return m_system.rename(from, to) == 0;
}

ReadingFileHandle FileManager::openForReading(const std::string& path) const
{
    return {m_system, path};
}

WritingFileHandle FileManager::openForWriting(const std::string& path) const
{
    return {m_system, path};
}

bool deletionIsRefused(const std::string& tree, const std::string& precious)
{
    const std::string doomed = resolvedForDeletion(tree);
    if (doomed.empty()) {
        return false;
    }
    const char* home = std::getenv("HOME");
    const std::string resolvedHome = home != nullptr ? resolved(home) : std::string();
    // Also a link by which the file was named: without it the file could not be opened.
    const std::vector<std::string> kept = {resolvedHome, resolved(precious),
                                           resolvedForDeletion(precious)};
    return doomed == "/" ||
           std::any_of(kept.begin(), kept.end(), [&doomed](const std::string& path) {
               return !path.empty() && holds(doomed, path);
           });
}

} // namespace talvek
