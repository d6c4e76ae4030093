#pragma once

#include "tests/support/Bytes.h"

#include <map>
#include <string>

namespace talvek::test {

/// A folder of a test's own, deleted with all it holds at the end of its life.
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Absolute, without a slash at its end.
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string pathOf(const std::string& name) const { return m_path + "/" + name; }

    /// Writes a file into the folder. @return its path
    std::string write(const std::string& name, const Bytes& contents) const;

private:
    std::string m_path;
};

/// The whole file; empty if it cannot be read.
Bytes readFile(const std::string& path);

/// Replaces the file at `path`. @return false if it could not be written whole
bool writeFile(const std::string& path, const Bytes& contents);

/// Every file in a folder, by name; folders within it stand with a slash behind their name.
std::map<std::string, Bytes> filesIn(const std::string& folder);

} // namespace talvek::test
