#include "cli/WorkFolder.h"

#include "platform/FileManager.h"
#include "platform/PathString.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace talvek {

namespace {

constexpr std::size_t kSuffixLetters = 6;
constexpr std::size_t kMostNameBytes = 200;

/// A long name is cut, since the longest that a volume takes would leave no room for the rest.
std::string prefixFor(const Destination& destination)
{
    std::string name = destination.name();
    if (name.size() > kMostNameBytes) {
        std::size_t end = kMostNameBytes;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80) {
            --end;
        }
        name.resize(end);
    }
    return "." + name + ".talvek-";
}

bool isWorkFolderName(std::string_view name, const std::string& prefix)
{
    return name.size() == prefix.size() + kSuffixLetters &&
           name.substr(0, prefix.size()) == prefix &&
           std::all_of(name.end() - kSuffixLetters, name.end(),
                       [](unsigned char letter) { return std::isalnum(letter) != 0; });
}

bool takeLock(const Descriptor& lock)
{
    return ::flock(lock.number(), LOCK_EX | LOCK_NB) == 0;
}

/// The lock gets its name when it is held: a "lock" that can be taken belongs to no living run.
Descriptor lockIn(const std::string& folder)
{
    const std::string unnamed = folder + "/lock.new";
    Descriptor lock(SystemCalls::real(),
                    ::open(unnamed.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                           S_IRUSR | S_IWUSR));
    // Where a volume knows no locks, the folder is left without one and never counts as stale.
    if (lock.isOpen() && takeLock(lock)) {
        static_cast<void>(::rename(unnamed.c_str(), (folder + "/lock").c_str()));
    }
    return lock;
}

std::vector<std::string> entriesOf(const std::string& folder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(::opendir(folder.c_str()), &::closedir);
    std::vector<std::string> names;
    while (const dirent* entry = opened ? ::readdir(opened.get()) : nullptr) {
        names.emplace_back(entry->d_name);
    }
    return names;
}

bool isOwnFolder(const std::string& path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid();
}

void clearIfStale(const std::string& folder, const Destination& destination)
{
    if (!isOwnFolder(folder)) {
        return;
    }
    const Descriptor lock(SystemCalls::real(),
                          ::open((folder + "/lock").c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!lock.isOpen() || !takeLock(lock)) {
        return;
    }
    const std::string replaced = folder + "/replaced";
    FileManager& files = FileManager::defaultManager();
    if (files.existsAtPath(replaced) && !destination.exists() &&
        !files.moveItem(replaced, destination.path())) {
        return;
    }
    files.removeItem(folder);
}

bool isFolder(const std::string& path, const EntryIdentity& identity)
{
    return Destination(path).folderThere() == identity;
}

/// Work is done in private; what it makes is as open as the user lets new folders be.
void giveUsualMode(const std::string& folder)
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(folder.c_str(), FileManager::kSharedFolder & ~mask);
}

} // namespace

WorkFolder::WorkFolder(const Destination& destination, SystemCalls& system)
    : m_destination(destination), m_files(system)
{
    std::string pattern = destination.sibling(prefixFor(destination) + "XXXXXX");
    if (::mkdtemp(pattern.data()) == nullptr) {
        m_error = errno;
        return;
    }
    m_path = pattern;
    m_lock = lockIn(m_path);
}

std::string WorkFolder::filesPath() const
{
    return appendingPathComponent(m_path, "files");
}

WorkFolder::Outcome WorkFolder::publish(const std::optional<EntryIdentity>& replaced)
{
    giveUsualMode(filesPath());
    if (!replaced || !m_destination.exists()) {
        return publishAsNew();
    }
    const Outcome outcome = exchangeWith(*replaced);
    const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
    return outcome == Outcome::failed && unsupported ? moveAsideAndPublish(*replaced) : outcome;
}

WorkFolder::Outcome WorkFolder::publishAsNew()
{
    if (m_files.moveItem(filesPath(), m_destination.path())) {
        return Outcome::published;
    }
    return errno == EEXIST || errno == ENOTEMPTY ? Outcome::nameTaken : Outcome::failed;
}

WorkFolder::Outcome WorkFolder::exchangeWith(const EntryIdentity& replaced)
{
    if (m_files.system().exchange(filesPath(), m_destination.path()) != 0) {
        return Outcome::failed;
    }
    if (isFolder(filesPath(), replaced)) {
        return Outcome::published;
    }
    // What came back is not what the user agreed to lose.
    m_files.system().exchange(filesPath(), m_destination.path());
    return Outcome::nameTaken;
}

WorkFolder::Outcome WorkFolder::moveAsideAndPublish(const EntryIdentity& replaced)
{
    const std::string aside = appendingPathComponent(m_path, "replaced");
    if (!m_files.moveItem(m_destination.path(), aside)) {
        return Outcome::failed;
    }
    const Outcome outcome = isFolder(aside, replaced) ? publishAsNew() : Outcome::nameTaken;
    if (outcome != Outcome::published) {
        const int error = errno;
        m_files.moveItem(aside, m_destination.path());
        errno = error;
    }
    return outcome;
}

bool WorkFolder::discard()
{
    if (!isMade()) {
        return true;
    }
    const bool removed = m_files.removeItem(m_path);
    m_path.clear();
    m_lock.reset();
    return removed;
}

void WorkFolder::clearStale(const Destination& destination)
{
    const std::string prefix = prefixFor(destination);
    for (const std::string& name : entriesOf(destination.parent())) {
        if (isWorkFolderName(name, prefix)) {
            clearIfStale(destination.sibling(name), destination);
        }
    }
}

} // namespace talvek
