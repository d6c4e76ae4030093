#include "engine/ChunkedScan.h"
#include "engine/SignatureSearch.h"
#include "platform/FileManager.h"
#include "tests/support/Random.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

namespace talvek {

namespace {

constexpr std::size_t kHaystackBytes = 32U << 20U;

/// Bytes without a signature: the search has to look at all of them.
const std::vector<std::uint8_t>& haystack()
{
    static const std::vector<std::uint8_t> bytes = [] {
        std::vector<std::uint8_t> made(kHaystackBytes);
        std::uint64_t state = 1;
        for (std::uint8_t& byte : made) {
            state = state * 6364136223846793005U + 1442695040888963407U;
            byte = static_cast<std::uint8_t>(state >> 56U);
        }
        return made;
    }();
    return bytes;
}

std::size_t findPlainly(std::span<const std::uint8_t> bytes)
{
    for (std::size_t i = 0; i + kSignature.size() <= bytes.size(); ++i) {
        if (bytes[i] == '8' && bytes[i + 1] == 'B' && bytes[i + 2] == 'I' && bytes[i + 3] == 'M') {
            return i;
        }
    }
    return kNotFound;
}

std::size_t find(std::span<const std::uint8_t> bytes)
{
    return findSignature(bytes);
}

bool isAny(std::span<const std::uint8_t> /*bytes*/, std::size_t /*position*/)
{
    return true;
}

void searchSixteenAtATime(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(haystack()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kHaystackBytes));
}
BENCHMARK(searchSixteenAtATime)->Unit(benchmark::kMillisecond);

void searchByteByByte(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(findPlainly(haystack()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kHaystackBytes));
}
BENCHMARK(searchByteByByte)->Unit(benchmark::kMillisecond);

void scanThroughWindows(benchmark::State& state)
{
    const test::TemporaryFolder folder;
    const std::string path = folder.path() + "/haystack";
    FileManager::defaultManager().createFile(path, haystack());
    for (auto _ : state) {
        ReadingFileHandle document = FileManager::defaultManager().openForReading(path);
        SignatureMemo memo;
        benchmark::DoNotOptimize(
            scanChunks(document, memo, 0, static_cast<std::int64_t>(kHaystackBytes), isAny));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kHaystackBytes));
}
BENCHMARK(scanThroughWindows)->Unit(benchmark::kMillisecond);

/// One system call and one plain search a chunk, as the scan is defined.
void scanChunkByChunk(benchmark::State& state)
{
    const test::TemporaryFolder folder;
    const std::string path = folder.path() + "/haystack";
    FileManager::defaultManager().createFile(path, haystack());
    std::array<std::uint8_t, kChunkReadBytes> chunk = {};
    for (auto _ : state) {
        SystemCalls& system = SystemCalls::real();
        const Descriptor document(system, system.openForReading(path));
        std::int64_t offset = 0;
        while (system.readAt(document.number(), chunk, offset) > 0) {
            benchmark::DoNotOptimize(findPlainly(chunk));
            offset += kChunkBytes;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kHaystackBytes));
}
BENCHMARK(scanChunkByChunk)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace talvek
