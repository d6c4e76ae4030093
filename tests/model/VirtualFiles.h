#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace talvek::model {

using test::Bytes;

/// A file that is open for writing; null for one that could not be opened. It stays the same file
/// when the file is moved.
using Output = std::shared_ptr<Bytes>;

/// The output folder, in memory. Nothing ever stands in the root folder: a path there is absent,
/// whatever is done to it.
class VirtualFiles
{
public:
    [[nodiscard]] bool exists(const std::string& path) const { return m_files.contains(path); }
    /// 0 for an absent file.
    [[nodiscard]] std::int64_t sizeOf(const std::string& path) const;

    /// Creates, or replaces. @return false in the root folder
    bool create(const std::string& path, const Bytes& contents);
    [[nodiscard]] Output open(const std::string& path) const;
    void remove(const std::string& path) { m_files.erase(path); }
    /// Does nothing if the one is absent or the other is not.
    void move(const std::string& from, const std::string& to);

    /// By name, without the folder.
    [[nodiscard]] std::map<std::string, Bytes> contents() const;

private:
    std::map<std::string, Output> m_files; ///< by path
};

std::string lastComponent(const std::string& path);
/// Without the last component: "" for a path in the root folder.
std::string folderOf(const std::string& path);
std::string withoutExtension(const std::string& name);

} // namespace talvek::model
