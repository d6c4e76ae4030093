#include "cli/RecoveredFiles.h"

#include "platform/PathString.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <tuple>

namespace talvek {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBytesPerKiB = 1024;

struct Entry
{
    std::string path; ///< in the folder
    std::uint64_t bytes = 0;
};

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool isLayeredDocument(std::string_view path)
{
    constexpr std::string_view kEnding = "_layers.psd";
    constexpr std::string_view kLargeEnding = "_layers.psb";
    const std::string_view end = path.substr(path.size() - std::min(path.size(), kEnding.size()));
    return path.find('/') == std::string_view::npos && (end == kEnding || end == kLargeEnding);
}

/// What stands before what.
enum Rank : int
{
    kLayeredDocument,
    kReportPage,
    kReport,
    kComposite,
    kLayers,
    kEmbedded,
    kOther
};

Rank rankOf(std::string_view path)
{
    if (isLayeredDocument(path)) {
        return kLayeredDocument;
    }
    if (path == "report.html") {
        return kReportPage;
    }
    if (path == "report.json") {
        return kReport;
    }
    if (path == "Composite.png") {
        return kComposite;
    }
    if (startsWith(path, "Layers/")) {
        return kLayers;
    }
    return startsWith(path, "Embedded/") ? kEmbedded : kOther;
}

/// Layers' names begin with their numbers; more digits make a higher number.
std::size_t leadingDigits(std::string_view path)
{
    const std::string_view name = path.substr(path.find('/') + 1);
    return std::min(name.size(), name.find_first_not_of("0123456789"));
}

bool standsBefore(const Entry& one, const Entry& other)
{
    const auto key = [](const Entry& entry) {
        const Rank rank = rankOf(entry.path);
        // Without their extensions: "003 sky.png" stands before "003 sky mask.png".
        return std::tuple(rank, rank == kLayers ? leadingDigits(entry.path) : 0,
                          deletingPathExtension(entry.path), entry.path);
    };
    return key(one) < key(other);
}

std::vector<Entry> entriesBelow(const std::string& folder)
{
    std::vector<Entry> entries;
    std::error_code failed;
    fs::recursive_directory_iterator at(folder, failed);
    for (; !failed && at != fs::recursive_directory_iterator(); at.increment(failed)) {
        std::error_code ignored;
        if (at->is_regular_file(ignored)) {
            const std::string path = at->path().string().substr(folder.size() + 1);
            entries.push_back({path, static_cast<std::uint64_t>(at->file_size(ignored))});
        }
    }
    std::sort(entries.begin(), entries.end(), standsBefore);
    return entries;
}

} // namespace

RecoveredFiles listRecoveredFiles(const std::string& folder, const std::string& published)
{
    RecoveredFiles files;
    for (const Entry& entry : entriesBelow(folder)) {
        files.records.push_back({std::to_string(files.records.size() + 1),
                                 deletingPathExtension(lastPathComponent(entry.path)),
                                 std::to_string(entry.bytes / kBytesPerKiB),
                                 appendingPathComponent(published, entry.path)});
        files.totalBytes += entry.bytes;
    }
    return files;
}

} // namespace talvek
