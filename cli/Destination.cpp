#include "cli/Destination.h"

#include "cli/TerminalText.h"
#include "platform/PathString.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace talvek {

namespace {

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? std::string(real.get()) : std::string();
}

/// `inner` is `outer` or lies below it; both are resolved. An entry that does not exist lies
/// nowhere.
bool holds(const std::string& outer, const std::string& inner)
{
    return !inner.empty() && (outer == "/" || inner == outer || inner.rfind(outer + "/", 0) == 0);
}

std::vector<std::string> homeFolders()
{
    std::vector<std::string> homes;
    if (const char* home = std::getenv("HOME")) {
        homes.emplace_back(resolved(home));
    }
    if (const passwd* user = ::getpwuid(::getuid())) {
        homes.emplace_back(resolved(user->pw_dir));
    }
    return homes;
}

EntryIdentity identityOf(const struct stat& status)
{
    return {static_cast<unsigned long long>(status.st_dev),
            static_cast<unsigned long long>(status.st_ino)};
}

/// A folder on the same volume as its parent can still be one that another was mounted over.
bool isMarkedAsMountPoint([[maybe_unused]] const char* path)
{
#if defined(__linux__) && defined(STATX_ATTR_MOUNT_ROOT)
    struct statx status = {};
    return ::statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
#else
    return false;
#endif
}

dev_t volumeOfTree = 0;

int isOnAnotherVolume(const char* path, const struct stat* status, int kind, FTW* /*place*/)
{
    const bool isFolder = kind == FTW_D || kind == FTW_DNR;
    return isFolder && (status->st_dev != volumeOfTree || isMarkedAsMountPoint(path)) ? 1 : 0;
}

/// True if the folder is a mount point or has one inside, whose files are not its own.
bool reachesAnotherVolume(const std::string& folder, const std::string& parent)
{
    struct stat status = {};
    constexpr int kOpenFolders = 16;
    if (::stat(parent.c_str(), &status) != 0) {
        return true;
    }
    volumeOfTree = status.st_dev;
    return ::nftw(folder.c_str(), isOnAnotherVolume, kOpenFolders, FTW_PHYS) != 0;
}

} // namespace

Destination::Destination(std::string path)
    : m_path(withoutTrailingSlashes(std::move(path))),
      m_name(lastPathComponent(m_path)),
      m_parent(deletingLastPathComponent(m_path))
{
    if (m_parent.empty()) {
        m_parent = ".";
    }
}

std::string Destination::sibling(const std::string& name) const
{
    return m_parent == "." ? name : appendingPathComponent(m_parent, name);
}

bool Destination::exists() const
{
    struct stat status = {};
    return ::lstat(m_path.c_str(), &status) == 0;
}

std::optional<EntryIdentity> Destination::folderThere() const
{
    struct stat status = {};
    if (::lstat(m_path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return std::nullopt;
    }
    return identityOf(status);
}

Descriptor Destination::hold() const
{
    return {SystemCalls::real(),
            ::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

std::string Destination::cannotCreate(const std::string& reason) const
{
    return "Cannot create " + quotedName(m_path) + ": " + reason;
}

std::string Destination::complaint(bool force, const std::vector<std::string>& documents) const
{
    if (exists()) {
        if (force) {
            return complaintAboutReplacing(documents);
        }
        return cannotCreate(folderThere() ? "the folder exists. Choose another with --output, or "
                                            "replace it with --force."
                                          : "something else of that name exists. Choose another "
                                            "name with --output.");
    }
    return complaintAboutParent();
}

std::string Destination::complaintAboutParent() const
{
    struct stat status = {};
    if (::stat(m_parent.c_str(), &status) != 0) {
        return cannotCreate(errno == ENOENT
                                ? "the folder " + quotedName(m_parent) +
                                      " does not exist. Make it first, or choose another place "
                                      "with --output."
                                : "the folder " + quotedName(m_parent) +
                                      " cannot be reached: " + std::strerror(errno) +
                                      ". Choose another place with --output.");
    }
    if (!S_ISDIR(status.st_mode)) {
        return cannotCreate(quotedName(m_parent) +
                            " is not a folder. Choose another place with --output.");
    }
    return {};
}

std::string Destination::complaintAboutReplacing(const std::vector<std::string>& documents) const
{
    constexpr const char* kAdvice = " Choose another name with --output.";
    if (!folderThere()) {
        return "Cannot replace " + quotedName(m_path) +
               ": it is not a folder itself, but a file or a link." + kAdvice;
    }
    const std::string there = resolved(m_path);
    std::string reason = complaintAboutWhatItHolds(there, documents);
    if (reason.empty() && (m_name == "." || m_name == "..")) {
        reason = "it is named by its place alone.";
    }
    if (reason.empty() && reachesAnotherVolume(m_path, deletingLastPathComponent(there))) {
        reason = "it is a mount point, or holds one.";
    }
    return reason.empty() ? reason
                          : "Cannot replace " + quotedName(m_path) + ": " + reason + kAdvice;
}

std::string Destination::complaintAboutWhatItHolds(const std::string& there,
                                                   const std::vector<std::string>& documents) const
{
    if (there.empty()) {
        return std::string("it cannot be looked at: ") + std::strerror(errno) + ".";
    }
    if (there == "/") {
        return "it is the root folder.";
    }
    for (const std::string& home : homeFolders()) {
        if (holds(there, home)) {
            return there == home ? "it is your home folder." : "your home folder lies inside it.";
        }
    }
    const std::string current = resolved(".");
    if (holds(there, current)) {
        return there == current ? "it is the current folder."
                                : "the current folder lies inside it.";
    }
    for (const std::string& document : documents) {
        if (holds(there, resolved(document))) {
            return "the document " + quotedName(document) + " lies inside it.";
        }
    }
    return {};
}

} // namespace talvek
