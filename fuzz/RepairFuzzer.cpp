// Any bytes whatever, as a document: the engine must end, and leave and post what the plain one
// does. The first bytes choose the volume's size and a stop, the rest is the document.

#include "tests/engine/Bench.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::size_t kSettingsBytes = 4;

talvek::model::Settings settingsFrom(const std::uint8_t* bytes)
{
    talvek::model::Settings settings;
    if (bytes[0] % 2 == 1) {
        settings.freeBytes = bytes[1] * 256U + bytes[2];
    }
    settings.stopFlag = bytes[3] > 250;
    return settings;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < kSettingsBytes) {
        return 0;
    }
    static talvek::test::Bench bench;
    bench.replaceDocument({data + kSettingsBytes, data + size});
    const std::string difference = bench.difference(settingsFrom(data));
    if (!difference.empty()) {
        std::fprintf(stderr, "The engines differ: %s\n", difference.c_str());
        std::abort();
    }
    return 0;
}
