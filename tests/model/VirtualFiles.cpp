#include "tests/model/VirtualFiles.h"

namespace talvek::model {

std::string lastComponent(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string folderOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

std::string withoutExtension(const std::string& name)
{
    return name.substr(0, name.rfind('.'));
}

std::int64_t VirtualFiles::sizeOf(const std::string& path) const
{
    const auto found = m_files.find(path);
    return found == m_files.end() ? 0 : static_cast<std::int64_t>(found->second->size());
}

bool VirtualFiles::create(const std::string& path, const Bytes& contents)
{
    if (folderOf(path).empty()) {
        return false;
    }
    m_files[path] = std::make_shared<Bytes>(contents);
    return true;
}

Output VirtualFiles::open(const std::string& path) const
{
    const auto found = m_files.find(path);
    return found == m_files.end() ? nullptr : found->second;
}

void VirtualFiles::move(const std::string& from, const std::string& to)
{
    if (!exists(from) || exists(to) || folderOf(to).empty()) {
        return;
    }
    m_files[to] = m_files[from];
    m_files.erase(from);
}

std::map<std::string, Bytes> VirtualFiles::contents() const
{
    std::map<std::string, Bytes> named;
    for (const auto& [path, bytes] : m_files) {
        named[lastComponent(path)] = *bytes;
    }
    return named;
}

} // namespace talvek::model
