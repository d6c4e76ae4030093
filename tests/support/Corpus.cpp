#include "tests/support/Corpus.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace talvek::test {

std::string corpusFolder(const std::string& fallback)
{
    const char* wish = std::getenv("TALVEK_CORPUS");
    return wish != nullptr && *wish != '\0' ? wish : fallback;
}

std::vector<std::string> corpusDocuments(const std::string& fallback)
{
    std::vector<std::string> paths;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(corpusFolder(fallback), none)) {
        if (entry.path().extension() == ".psd") {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace talvek::test
