#pragma once

#include <string>
#include <vector>

namespace talvek::test {

/// A folder of its own for a test, open to every user; it goes with the object.
class Scratch
{
public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// The path of an entry in the folder.
    [[nodiscard]] std::string at(const std::string& name) const { return m_path + "/" + name; }
    /// Writes a file into the folder. @return its path
    std::string write(const std::string& name, const std::string& contents) const;
    /// A file that is all holes behind `contents`. @return its path
    std::string writeSparse(const std::string& name, const std::string& contents,
                            long long size) const;
    /// The same with a byte in every MiB, so that no reader can pass over it in a few steps.
    std::string writeScattered(const std::string& name, const std::string& contents,
                               long long size) const;
    /// Makes a folder in the folder. @return its path
    std::string makeFolder(const std::string& name) const;

    [[nodiscard]] bool has(const std::string& name) const;
    /// The names in the folder, or in one below it, sorted.
    [[nodiscard]] std::vector<std::string> names(const std::string& folder = ".") const;

private:
    std::string m_path;
};

/// Lays a small volume over the folder at `path`. @return false where that is not possible
bool mountVolume(const std::string& path, const std::string& size);
bool unmountVolume(const std::string& path);

std::string contentsOf(const std::string& path);

} // namespace talvek::test
