// Runs the engine alone and prints every notification, in the order posted, as one JSON line.

#include "cli/NotificationJson.h"
#include "engine/Repair.h"
#include "platform/FileManager.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace talvek;

/// A volume with a given room, whatever path is asked about. What is written takes room; deleting
/// and moving give nothing back.
class SimulatedVolume : public SystemCalls
{
public:
    explicit SimulatedVolume(std::uint64_t freeBytes) : m_freeBytes(freeBytes) {}

    std::optional<std::uint64_t> freeBytes(const std::string& /*path*/) override
    {
        return m_freeBytes - std::min(m_freeBytes, m_acceptedBytes);
    }
    void bytesAccepted(std::uint64_t count) override { m_acceptedBytes += count; }

private:
    std::uint64_t m_freeBytes;
    std::uint64_t m_acceptedBytes = 0;
};

struct Arguments
{
    std::optional<std::uint64_t> freeBytes;
    bool stop = false;
    std::vector<std::string> paths; ///< the document and the output folder
};

std::optional<std::uint64_t> wholeNumber(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

std::optional<Arguments> parse(const std::vector<std::string>& words)
{
    Arguments arguments;
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (words[index] == "--stop") {
            arguments.stop = true;
        } else if (words[index] == "--free-bytes") {
            arguments.freeBytes = ++index < words.size() ? wholeNumber(words[index]) : std::nullopt;
            if (!arguments.freeBytes) {
                return std::nullopt;
            }
        } else if (words[index].rfind("--", 0) == 0) {
            return std::nullopt;
        } else {
            arguments.paths.push_back(words[index]);
        }
    }
    return arguments.paths.size() == 2 ? std::optional(arguments) : std::nullopt;
}

void trace(const Arguments& arguments)
{
    SimulatedVolume volume(arguments.freeBytes.value_or(0));
    FileManager files(arguments.freeBytes ? volume : SystemCalls::real());
    Repair repair(files);
    repair.setStopflag(arguments.stop);
    const int token = NotificationCenter::defaultCenter().addObserver(
        "notif", [](const UserInfo& info) { std::printf("%s\n", jsonOf(info).c_str()); });
    repair.repairFileAtPath_andSaveAtPath(arguments.paths[0], arguments.paths[1]);
    NotificationCenter::defaultCenter().removeObserver(token);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const auto parsed = parse(std::vector<std::string>(arguments + 1, arguments + argumentCount));
    if (!parsed) {
        static_cast<void>(std::fputs(
            "Usage: engine-trace [--free-bytes N] [--stop] INPUT OUTPUT_FOLDER\n", stderr));
        return 2;
    }
    trace(*parsed);
    return EXIT_SUCCESS;
}
