// How fast layers become PNG files: makes a document of raw layers in a temporary file, writes
// their pictures, and prints megabytes of pixels (four samples each) a second of wall clock and of
// processor time, what the files came to, and the most memory that the process held.
//
// usage: picture-bench FOLDER [LAYERS WIDTH HEIGHT DEPTH KIND]     KIND: photo, flat or noise

#include "recovery/output/PictureFiles.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using talvek::recovery::Plane;
using talvek::recovery::RecoveredDocument;

struct Settings
{
    std::string folder;
    int layers = 8;
    int width = 3000;
    int height = 2000;
    int depth = 8;
    std::string kind = "photo";
};

double valueAt(const Settings& settings, int x, int y, int channel, std::mt19937& random)
{
    if (settings.kind == "noise") {
        return static_cast<double>(random() % 65536) / 65535;
    }
    if (settings.kind == "flat") {
        return (x / 300 + y / 200 + channel) % 3 * 0.4;
    }
    const double grain = static_cast<double>(random() % 64) / 65535 * 257 / 8;
    return 0.5 + 0.2 * std::sin(x * 0.01 + channel) + 0.2 * std::cos(y * 0.013 * (channel + 1)) +
           grain;
}

/// One plane's samples, which all layers share.
void writePlane(std::ofstream& file, const Settings& settings, int channel)
{
    std::mt19937 random(static_cast<unsigned>(channel));
    const auto bytes = static_cast<std::size_t>(settings.depth / 8);
    std::string row(static_cast<std::size_t>(settings.width) * bytes, '\0');
    for (int y = 0; y < settings.height; ++y) {
        for (int x = 0; x < settings.width; ++x) {
            const auto value =
                static_cast<unsigned>(valueAt(settings, x, y, channel, random) * 65535);
            row[static_cast<std::size_t>(x) * bytes] = static_cast<char>(value >> 8U);
            if (bytes == 2) {
                row[static_cast<std::size_t>(x) * bytes + 1] = static_cast<char>(value);
            }
        }
        file.write(row.data(), static_cast<std::streamsize>(row.size()));
    }
}

RecoveredDocument makeDocument(const Settings& settings)
{
    const std::string path = settings.folder + "/planes.bin";
    std::ofstream file(path, std::ios::binary);
    RecoveredDocument document;
    document.sources = {path};
    document.facts.depth = settings.depth;
    talvek::recovery::Layer layer;
    layer.bounds = {0, 0, settings.height, settings.width};
    std::int64_t offset = 0;
    for (int id = 0; id < 3; ++id) {
        writePlane(file, settings, id);
        Plane plane;
        plane.state = talvek::recovery::State::Whole;
        plane.depth = static_cast<std::uint16_t>(settings.depth);
        plane.rows = plane.rowsRecovered = settings.height;
        plane.columns = settings.width;
        plane.runs = {{0, plane.rows, offset, -1}};
        offset += plane.rows * plane.rowBytes();
        layer.channels.push_back({static_cast<std::int16_t>(id), layer.bounds, plane});
    }
    layer.channels.push_back(layer.channels[0]);
    layer.channels.back().id = -1;
    document.layers.assign(static_cast<std::size_t>(settings.layers), layer);
    return document;
}

double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::uintmax_t bytesIn(const fs::path& folder)
{
    std::uintmax_t bytes = 0;
    for (const auto& file : fs::directory_iterator(folder)) {
        bytes += file.file_size();
    }
    return bytes;
}

void measure(const Settings& settings)
{
    namespace output = talvek::recovery::output;
    const RecoveredDocument document = makeDocument(settings);
    const talvek::recovery::RunControl control;
    const double processor = processorSeconds();
    const auto start = std::chrono::steady_clock::now();
    const auto result = output::writePictures(talvek::FileManager::defaultManager(), document,
                                              output::planPictures(document), settings.folder,
                                              control, [](double) {});
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const double pixelBytes =
        4.0 * settings.depth / 8 * settings.width * settings.height * settings.layers;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf(
        "%s: %.0f MB of pixels, %.0f MB/s, %.0f MB/s a core, files %.1f %%, memory %ld MB\n",
        result == output::PictureResult::Written ? "written" : "FAILED", pixelBytes / 1e6,
        pixelBytes / 1e6 / elapsed.count(), pixelBytes / 1e6 / (processorSeconds() - processor),
        100.0 * static_cast<double>(bytesIn(settings.folder + "/Layers")) / pixelBytes,
        usage.ru_maxrss / 1024);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 7) {
        std::fprintf(stderr, "usage: picture-bench FOLDER [LAYERS WIDTH HEIGHT DEPTH KIND]\n");
        return 2;
    }
    Settings settings;
    settings.folder = argv[1];
    if (argc == 7) {
        settings.layers = std::stoi(argv[2]);
        settings.width = std::stoi(argv[3]);
        settings.height = std::stoi(argv[4]);
        settings.depth = std::stoi(argv[5]);
        settings.kind = argv[6];
    }
    fs::create_directories(settings.folder);
    measure(settings);
    return 0;
}
