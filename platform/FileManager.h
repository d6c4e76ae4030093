#pragma once

#include "platform/FileHandle.h"
#include "platform/SystemCalls.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>

namespace talvek {

/// Files and folders by path. Failures are told by the result and `errno`; nothing throws.
/// Any thread.
class FileManager
{
public:
    static constexpr mode_t kPrivateFolder = 0700;
    static constexpr mode_t kSharedFolder = 0777;

    explicit FileManager(SystemCalls& system) : m_system(system) {}

    /// The one over the operating system itself.
    static FileManager& defaultManager();

    [[nodiscard]] SystemCalls& system() const { return m_system; }

    /// Something stands at `path`, a link that leads nowhere included.
    [[nodiscard]] bool existsAtPath(const std::string& path) const;
    /// A folder stands at `path`, or a link to one.
    [[nodiscard]] bool isFolder(const std::string& path) const;
    /// Size in bytes, links followed; 0 if it cannot be told.
    [[nodiscard]] std::int64_t fileSizeAtPath(const std::string& path) const;
    /// The user may write to what stands at `path`; an empty path is the current folder.
    [[nodiscard]] bool isWritableAtPath(const std::string& path) const;
    /// Bytes free to the user on the volume that holds `path`; an empty path is the current folder.
    [[nodiscard]] std::optional<std::uint64_t> freeSizeAtPath(const std::string& path) const;

    /// Creates a file with these contents, in place of a file that is there.
    bool createFile(const std::string& path, std::span<const std::uint8_t> contents);
    /// Creates one folder; its parent must exist.
    bool createFolder(const std::string& path, mode_t mode);
    /// Creates a folder and the parents that are missing; true if it stands in the end.
    bool createFolders(const std::string& path, mode_t mode);
    /// Deletes a file, a link (never what it leads to) or a folder with all it holds.
    bool removeItem(const std::string& path);
    /// Renames; fails if something stands at `to`.
    bool moveItem(const std::string& from, const std::string& to);

    /// A handle that is absent if the file cannot be opened.
    [[nodiscard]] ReadingFileHandle openForReading(const std::string& path) const;
    [[nodiscard]] WritingFileHandle openForWriting(const std::string& path) const;

private:
    SystemCalls& m_system;
};

/// True if deleting the tree at `tree` would take with it the root folder, the user's home folder,
/// or the file at `precious`. Links are resolved first; a path that leads nowhere holds nothing.
bool deletionIsRefused(const std::string& tree, const std::string& precious);

} // namespace talvek
