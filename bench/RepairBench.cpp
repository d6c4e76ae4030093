#include "engine/Repair.h"
#include "tests/support/PsdBuilder.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace talvek {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::uint64_t bytesIn(const std::string& folder)
{
    std::uint64_t sum = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        sum += entry.file_size();
    }
    return sum;
}

/// What any program must do at the least: read the document, and write as much as was salvaged.
double secondsOfPlainCopy(const std::string& path, const std::string& to, std::uint64_t outBytes)
{
    FileManager& files = FileManager::defaultManager();
    std::vector<std::uint8_t> block(1U << 20U);
    const Clock::time_point start = Clock::now();
    ReadingFileHandle input = files.openForReading(path);
    for (std::int64_t offset = 0; const std::size_t read = input.read(offset, block);) {
        offset += static_cast<std::int64_t>(read);
    }
    files.createFile(to, {});
    WritingFileHandle output = files.openForWriting(to);
    for (std::uint64_t left = outBytes; left > 0;) {
        const std::uint64_t count = std::min<std::uint64_t>(left, block.size());
        output.append(std::span(block).first(static_cast<std::size_t>(count)));
        left -= count;
    }
    output.close();
    const double seconds = secondsSince(start);
    files.removeItem(to);
    return seconds;
}

double secondsOfRepair(const std::string& path, const std::string& folder)
{
    FileManager::defaultManager().removeItem(folder);
    const Clock::time_point start = Clock::now();
    Repair repair;
    repair.repairFileAtPath_andSaveAtPath(path, folder);
    return secondsSince(start);
}

test::Document bigDocument(test::Packing packing)
{
    constexpr std::uint32_t kColumns = 3000;
    constexpr std::uint32_t kRows = 2000;
    constexpr int kLayers = 8;
    test::PsdBuilder builder;
    builder.size(kColumns, kRows).filterMask();
    for (int layer = 0; layer < kLayers; ++layer) {
        builder.layer("layer " + std::to_string(layer)).transparent().packing(packing);
        builder.taggedBlock("lclr", test::Bytes(8));
    }
    return builder.build();
}

/// The ratio is the median over the run's iterations, each of which does both in turn.
void repairAgainstCopy(benchmark::State& state, test::Packing packing)
{
    const test::TemporaryFolder folder;
    const std::string path = folder.path() + "/document.psd";
    const test::Document document = bigDocument(packing);
    FileManager::defaultManager().createFile(path, document.bytes);
    std::vector<double> ratios;
    std::uint64_t salvaged = 0;
    for (auto _ : state) {
        const double repair = secondsOfRepair(path, folder.path() + "/salvaged");
        salvaged = bytesIn(folder.path() + "/salvaged");
        const double copy = secondsOfPlainCopy(path, folder.path() + "/copy", salvaged);
        ratios.push_back(repair / copy);
        state.SetIterationTime(repair);
    }
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["document_MiB"] = static_cast<double>(document.bytes.size()) / (1U << 20U);
    state.counters["salvaged_MiB"] = static_cast<double>(salvaged) / (1U << 20U);
    state.counters["repair_over_copy"] = median(ratios);
}
BENCHMARK_CAPTURE(repairAgainstCopy, packBits, test::Packing::packBits)
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(repairAgainstCopy, raw, test::Packing::raw)
    ->UseManualTime()
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

} // namespace

} // namespace talvek
