#include "tests/cli/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>

#if defined(__linux__)
#include <sys/mount.h>
#endif

namespace talvek::test {

namespace fs = std::filesystem;

Scratch::Scratch()
{
    std::string pattern = (fs::temp_directory_path() / "talvek-cli-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no scratch folder can be made");
    }
    ::chmod(pattern.c_str(), 0777);
    // Resolved, so that what a program says about its current folder can be compared.
    m_path = fs::canonical(pattern).string();
}

Scratch::~Scratch()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::string Scratch::write(const std::string& name, const std::string& contents) const
{
    std::ofstream(at(name), std::ios::binary) << contents;
    return at(name);
}

std::string Scratch::writeSparse(const std::string& name, const std::string& contents,
                                 long long size) const
{
    write(name, contents);
    fs::resize_file(at(name), static_cast<std::uintmax_t>(size));
    return at(name);
}

std::string Scratch::writeScattered(const std::string& name, const std::string& contents,
                                    long long size) const
{
    constexpr long long kStep = 1LL << 20U;
    writeSparse(name, contents, size);
    std::fstream file(at(name), std::ios::binary | std::ios::in | std::ios::out);
    for (long long offset = kStep; offset < size; offset += kStep) {
        file.seekp(offset);
        file.put('x');
    }
    return at(name);
}

std::string Scratch::makeFolder(const std::string& name) const
{
    fs::create_directories(at(name));
    return at(name);
}

bool Scratch::has(const std::string& name) const
{
    return fs::exists(fs::symlink_status(at(name)));
}

std::vector<std::string> Scratch::names(const std::string& folder) const
{
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(at(folder))) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

bool mountVolume([[maybe_unused]] const std::string& path, [[maybe_unused]] const std::string& size)
{
#if defined(__linux__)
    return ::mount("none", path.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
#else
    return false;
#endif
}

bool unmountVolume([[maybe_unused]] const std::string& path)
{
#if defined(__linux__)
    return ::umount(path.c_str()) == 0;
#else
    return false;
#endif
}

std::string contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace talvek::test
