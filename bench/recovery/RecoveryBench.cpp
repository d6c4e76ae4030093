// How fast a large document comes back: makes one in a folder, recovers it (layered document and
// both reports), copies the same input and output in the same run, and prints both times, their
// ratio and the most memory that the recovery held; then how fast its pictures become PNG files.
//
// usage: recovery-bench FOLDER [MEBIBYTES LAYERS]

#include "bench/recovery/LargeDocument.h"
#include "recovery/DeepRecovery.h"
#include "recovery/output/PictureFiles.h"
#include "recovery/output/RecoveryOutput.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace output = talvek::recovery::output;
using talvek::FileManager;
using talvek::recovery::DeepRecovery;

double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long peakMebibytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

struct Took
{
    double seconds = 0;
    double processor = 0; ///< seconds, of all cores together
};

Took timeOf(const std::function<void()>& work)
{
    const double processor = processorSeconds();
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return {elapsed.count(), processorSeconds() - processor};
}

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void recover(DeepRecovery& recovery, const std::string& document, const std::string& folder)
{
    require(recovery.recoverFileAtPath_andSaveAtPath(document, folder), "Nothing was recovered.");
    output::OutputOptions options;
    options.pictures = false;
    output::RecoveryOutput outputs(FileManager::defaultManager(), recovery.control(), options);
    const auto written =
        outputs.write(recovery.document(), folder, [](const std::string&, double) {});
    require(written == output::OutputResult::Written, "The reports could not be written.");
}

/// Block by block: a copy inside the file system moves no bytes, and measures nothing.
void copy(const std::string& from, const std::string& to)
{
    FileManager& files = FileManager::defaultManager();
    auto source = files.openForReading(from);
    require(files.createFile(to, {}), "The copy could not be written.");
    auto copied = files.openForWriting(to);
    std::vector<std::uint8_t> block(1 << 20);
    for (std::int64_t offset = 0;;) {
        const std::size_t count = source.read(offset, block);
        if (count == 0) {
            break;
        }
        copied.append({block.data(), count});
        offset += static_cast<std::int64_t>(count);
    }
    require(copied.close(), "The copy could not be written.");
}

struct Round
{
    Took recovering;
    Took copying;

    [[nodiscard]] double ratio() const { return recovering.seconds / copying.seconds; }
};

/// The layered document and its source are copied right behind the recovery, so that both meet the
/// same load of the machine and of the disk.
Round measureOnce(DeepRecovery& recovery, const std::string& folder, const std::string& document)
{
    const std::string out = folder + "/out";
    fs::remove_all(out);
    Round round;
    round.recovering = timeOf([&] { recover(recovery, document, out); });
    round.copying = timeOf([&] {
        copy(document, folder + "/copy-of-input");
        copy(out + "/large_layers.psd", folder + "/copy-of-output");
    });
    fs::remove(folder + "/copy-of-input");
    fs::remove(folder + "/copy-of-output");
    return round;
}

void measureRecovery(DeepRecovery& recovery, const std::string& folder, const std::string& document)
{
    std::array<Round, 3> rounds;
    for (Round& round : rounds) {
        round = measureOnce(recovery, folder, document);
        std::printf(
            "  recovered in %.2f s (processor %.2f s), copied in %.2f s (%.2f s): %.2f times\n",
            round.recovering.seconds, round.recovering.processor, round.copying.seconds,
            round.copying.processor, round.ratio());
    }
    std::sort(rounds.begin(), rounds.end(),
              [](const Round& one, const Round& other) { return one.ratio() < other.ratio(); });
    std::printf("layered document and reports: %.2f times a copy of input and output (at most 3), "
                "memory %ld MiB (at most 128)\n",
                rounds[1].ratio(), peakMebibytes());
}

void measurePictures(const DeepRecovery& recovery, const std::string& folder)
{
    const auto pictures = output::planPictures(recovery.document());
    double pixelBytes = 0;
    for (const auto& layer : recovery.document().layers) {
        pixelBytes += 4.0 * static_cast<double>(layer.bounds.rows()) *
                      static_cast<double>(layer.bounds.columns());
    }
    const auto& facts = recovery.document().facts;
    pixelBytes += 3.0 * static_cast<double>(facts.width) * static_cast<double>(facts.height);
    const Took took = timeOf([&] {
        const auto written =
            output::writePictures(FileManager::defaultManager(), recovery.document(), pictures,
                                  folder + "/out", recovery.control(), [](double) {});
        require(written == output::PictureResult::Written, "The pictures could not be written.");
    });
    std::printf("%zu pictures: %.0f MB of pixels, %.0f MB/s, %.0f MB/s a core (at least 80), "
                "memory %ld MiB\n",
                pictures.size(), pixelBytes / 1e6, pixelBytes / 1e6 / took.seconds,
                pixelBytes / 1e6 / took.processor, peakMebibytes());
}

void run(const std::string& folder, const talvek::bench::LargeDocument& shape)
{
    fs::create_directories(folder);
    const std::string document = folder + "/large.psd";
    const std::int64_t size = talvek::bench::writeLargeDocument(document, shape);
    require(size > 0, "The document could not be made.");
    std::printf("%.0f MiB, %d layers of PackBits\n", static_cast<double>(size) / (1 << 20),
                shape.layers);
    DeepRecovery recovery;
    measureRecovery(recovery, folder, document);
    require(recovery.document().layers.size() == static_cast<std::size_t>(shape.layers),
            "Not every layer was found.");
    for (const auto& layer : recovery.document().layers) {
        require(layer.state == talvek::recovery::State::Whole, "A layer is not whole.");
    }
    measurePictures(recovery, folder);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 4) {
        static_cast<void>(
            std::fprintf(stderr, "usage: recovery-bench FOLDER [MEBIBYTES LAYERS]\n"));
        return 2;
    }
    try {
        talvek::bench::LargeDocument shape;
        if (argc == 4) {
            shape.mebibytes = std::stoll(argv[2]);
            shape.layers = std::stoi(argv[3]);
        }
        run(argv[1], shape);
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
        return 1;
    }
    return 0;
}
