#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <unistd.h>

namespace talvek::test {

namespace {

/// In memory where there is room: some tests make files by the hundred thousand.
std::string parentFolder()
{
    constexpr std::uintmax_t kPlenty = 1U << 30U;
    const std::filesystem::path memory = "/dev/shm";
    std::error_code none;
    const std::filesystem::space_info space = std::filesystem::space(memory, none);
    if (std::getenv("TMPDIR") == nullptr && !none && space.available > kPlenty &&
        ::access(memory.c_str(), W_OK | X_OK) == 0) {
        return memory.string();
    }
    return std::filesystem::temp_directory_path().string();
}

} // namespace

TemporaryFolder::TemporaryFolder()
{
    std::string pattern = parentFolder() + "/talvek-test-XXXXXX";
    const char* made = ::mkdtemp(pattern.data());
    if (made == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    m_path = made;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const Bytes& contents) const
{
    std::string path = pathOf(name);
    if (!writeFile(path, contents)) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return path;
}

Bytes readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool writeFile(const std::string& path, const Bytes& contents)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(contents.data()),
               static_cast<std::streamsize>(contents.size()));
    file.close();
    return !file.fail();
}

std::map<std::string, Bytes> filesIn(const std::string& folder)
{
    std::map<std::string, Bytes> files;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_directory()) {
            files[name + "/"] = {};
        } else {
            files[name] = readFile(entry.path().string());
        }
    }
    return files;
}

} // namespace talvek::test
