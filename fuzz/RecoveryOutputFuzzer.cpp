// All that the deep recovery writes, of any bytes: it ends, stays in its folder, writes every file
// whole or not at all, and names in the report what is there.

#include "recovery/DeepRecovery.h"
#include "recovery/output/RecoveryOutput.h"
#include "tests/support/TemporaryFolder.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

using namespace talvek;
using namespace talvek::recovery;

namespace {

namespace fs = std::filesystem;

/// A volume of so many bytes for each run: damaged rectangles may ask for more.
class SmallVolume : public SystemCalls
{
public:
    ssize_t write(int descriptor, std::span<const std::uint8_t> bytes) override
    {
        const auto count = static_cast<std::int64_t>(bytes.size());
        if (m_written.fetch_add(count) + count > kRoom) {
            errno = ENOSPC;
            return -1;
        }
        return SystemCalls::write(descriptor, bytes);
    }

    void empty() { m_written = 0; }
    [[nodiscard]] bool wasTooSmall() const { return m_written > kRoom; }

private:
    static constexpr std::int64_t kRoom = 16 << 20;

    std::atomic<std::int64_t> m_written{0};
};

void require(bool holds, const char* what)
{
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "%s\n", what));
        std::abort();
    }
}

bool endsWith(const test::Bytes& bytes, std::string_view end)
{
    return bytes.size() >= end.size() &&
           std::equal(end.rbegin(), end.rend(), bytes.rbegin(),
                      [](char character, std::uint8_t byte) {
                          return static_cast<std::uint8_t>(character) == byte;
                      });
}

void lookAtFiles(const std::string& folder)
{
    constexpr std::string_view kPngEnd("\0\0\0\0IEND\xAE\x42\x60\x82", 12);
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        // What was embedded carries its own name and contents.
        const bool isOurs = entry.path().parent_path().filename() != "Embedded";
        if (isOurs && entry.path().extension() == ".png") {
            require(endsWith(test::readFile(entry.path()), kPngEnd), "a picture is not whole");
        }
    }
    require(endsWith(test::readFile(folder + "/report.html"), "</html>\n"),
            "the page is not whole");
}

void lookAtReport(const std::string& folder)
{
    const test::Bytes text = test::readFile(folder + "/report.json");
    const auto report = nlohmann::json::parse(text.begin(), text.end());
    const auto isThere = [&](const nlohmann::json& of, const char* key) {
        return !of.contains(key) || fs::exists(folder + "/" + of[key].get<std::string>());
    };
    require(isThere(report, "composite_png"), "the report names a picture that is not there");
    for (const auto& layer : report["layers"]) {
        for (const char* key : {"png", "mask_png", "user_mask_png"}) {
            require(isThere(layer, key), "the report names a layer's file that is not there");
        }
    }
}

/// The folder holds the document and the output, and nothing else.
void lookAround(const std::string& folder, std::span<const std::uint8_t> document)
{
    const auto entries = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    require(entries == 2, "something was written outside of the output");
    const test::Bytes now = test::readFile(folder + "/input.psd");
    require(std::equal(now.begin(), now.end(), document.begin(), document.end()),
            "the document was changed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const test::TemporaryFolder folder;
    static SmallVolume volume;
    const std::string path = folder.write("input.psd", {data, data + size});
    const std::string out = folder.pathOf("out");
    fs::remove_all(out);
    volume.empty();
    FileManager files(volume);
    DeepRecovery recovery(files);
    if (!recovery.recoverFileAtPath_andSaveAtPath(path, out)) {
        require(volume.wasTooSmall(), "the layered document could not be written");
        return 0;
    }
    output::RecoveryOutput outputs(files, recovery.control());
    const auto result = outputs.write(recovery.document(), out, [](const std::string&, double) {});
    lookAround(folder.path(), {data, size});
    if (result != output::OutputResult::Written) {
        require(volume.wasTooSmall(), "the outputs could not be written");
        return 0;
    }
    lookAtFiles(out);
    lookAtReport(out);
    return 0;
}
