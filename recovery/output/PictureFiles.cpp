#include "recovery/output/PictureFiles.h"

#include "platform/PathString.h"
#include "recovery/PlaneReader.h"
#include "recovery/output/OutputFile.h"
#include "recovery/output/Picture.h"
#include "recovery/output/PngWriter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <thread>
#include <utility>

namespace talvek::recovery::output {

namespace {

constexpr std::int64_t kPoolBytes = 80 << 20;
/// A worker's own readers, compressor and write buffer.
constexpr std::int64_t kWorkerBytes = 12 << 20;
constexpr std::int64_t kRowsBetweenLooks = 16;

/// Lets workers hold so much memory together, and one of them at least go on.
class MemoryGate
{
public:
    void enter(std::int64_t bytes)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_inside == 0 || m_inside + bytes <= kPoolBytes; });
        m_inside += bytes;
    }
    void leave(std::int64_t bytes)
    {
        const std::lock_guard lock(m_mutex);
        m_inside -= bytes;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::int64_t m_inside = 0;
};

/// A picture that waits for a worker.
struct Job
{
    const PictureFile* file = nullptr;
    PictureSource source;
    PngFormat format;
    std::int64_t bytes = 0;
};

/// The rows of a picture with no more samples than it needs.
class RowPacker
{
public:
    RowPacker(std::size_t sampleBytes, std::uint8_t samples)
        : m_sampleBytes(sampleBytes), m_samples(samples)
    {}
    std::span<const std::uint8_t> pack(std::span<const std::uint8_t> rgba)
    {
        if (m_samples == 4) {
            return rgba;
        }
        const std::size_t pixel = 4 * m_sampleBytes;
        const std::size_t kept = m_samples * m_sampleBytes;
        const std::size_t columns = rgba.size() / pixel;
        m_row.resize(columns * kept);
        for (std::size_t x = 0; x < columns; ++x) {
            const std::uint8_t* from = rgba.data() + x * pixel;
            std::uint8_t* to = m_row.data() + x * kept;
            const bool keepsAlpha = m_samples == 2;
            const std::size_t colours = keepsAlpha ? m_sampleBytes : kept;
            std::copy_n(from, colours, to);
            if (keepsAlpha) {
                std::copy_n(from + 3 * m_sampleBytes, m_sampleBytes, to + colours);
            }
        }
        return m_row;
    }

private:
    std::size_t m_sampleBytes;
    std::uint8_t m_samples;
    std::vector<std::uint8_t> m_row;
};

class Pool
{
public:
    Pool(FileManager& files, const RecoveredDocument& document, std::string folder,
         const RunControl& control)
        : m_files(files), m_document(document), m_folder(std::move(folder)), m_control(control)
    {}

    void add(const PictureFile& file);
    PictureResult run(const std::function<void(double)>& progress);

private:
    void work();
    bool write(SourceFiles& sources, Colors& colors, const Job& job);
    bool writeRows(PictureReader& reader, const Job& job, OutputFile& file);
    const Job* next();
    [[nodiscard]] bool isToEnd() const;

    FileManager& m_files;
    const RecoveredDocument& m_document;
    std::string m_folder;
    const RunControl& m_control;
    std::vector<Job> m_jobs;
    std::int64_t m_totalBytes = 0;
    std::atomic<std::size_t> m_nextJob{0};
    std::atomic<std::int64_t> m_doneBytes{0};
    std::atomic<bool> m_failed{false};
    MemoryGate m_gate;
    std::mutex m_mutex;
    std::condition_variable m_workerEnded;
    std::size_t m_workersLeft = 0;
};

const Channel* maskOf(const Layer& layer, PictureFile::Kind kind)
{
    const int id = kind == PictureFile::Kind::Mask ? -2 : -3;
    for (const Channel& channel : layer.channels) {
        if (channel.id == id && pictureOfMask(channel).isWorthShowing()) {
            return &channel;
        }
    }
    return nullptr;
}

void Pool::add(const PictureFile& file)
{
    Job job;
    job.file = &file;
    Rectangle place;
    if (file.kind == PictureFile::Kind::Composite) {
        job.source = pictureOfComposite(m_document);
    } else {
        const Layer& layer = m_document.layers.at(static_cast<std::size_t>(file.layer));
        const Channel* mask =
            file.kind == PictureFile::Kind::Layer ? nullptr : maskOf(layer, file.kind);
        job.source = mask != nullptr ? pictureOfMask(*mask) : pictureOfLayer(m_document, layer);
        place = mask != nullptr ? mask->bounds : layer.bounds;
        job.format.offset = PngFormat::Offset{place.left, place.top};
    }
    if (job.source.isEmpty()) {
        return;
    }
    job.format.isSrgb = file.kind == PictureFile::Kind::Layer || job.format.offset == std::nullopt;
    job.format.width = static_cast<std::uint32_t>(job.source.columns);
    job.format.height = static_cast<std::uint32_t>(job.source.rows);
    job.bytes = std::int64_t{job.source.columns} * job.source.rows;
    m_totalBytes += job.bytes;
    m_jobs.push_back(std::move(job));
}

bool Pool::isToEnd() const
{
    return m_failed.load(std::memory_order_relaxed) || m_control.isStoppedAfterPause();
}

const Job* Pool::next()
{
    const std::size_t index = m_nextJob.fetch_add(1);
    return index < m_jobs.size() && !isToEnd() ? &m_jobs[index] : nullptr;
}

bool Pool::writeRows(PictureReader& reader, const Job& job, OutputFile& file)
{
    PngFormat format = job.format;
    format.depth = static_cast<std::uint8_t>(reader.depth());
    format.samples =
        static_cast<std::uint8_t>((format.isSrgb ? 3 : 1) + (reader.needsAlpha() ? 1 : 0));
    PngWriter png(format, [&](std::span<const std::uint8_t> bytes) { file.append(bytes); });
    RowPacker packer(format.depth / 8U, format.samples);
    std::vector<std::uint8_t> row(reader.rowBytes());
    for (std::int64_t y = 0; y < job.source.rows; ++y) {
        if (y % kRowsBetweenLooks == 0 && (isToEnd() || file.hasFailed())) {
            return !file.hasFailed();
        }
        reader.readRow(row);
        png.writeRow(packer.pack(row));
        m_doneBytes.fetch_add(job.source.columns, std::memory_order_relaxed);
    }
    png.finish();
    return file.close();
}

bool Pool::write(SourceFiles& sources, Colors& colors, const Job& job)
{
    OutputFile file(m_files, appendingPathComponent(m_folder, job.file->path));
    ColorConversion& conversion =
        job.format.isSrgb ? colors.of(job.source) : colors.plain(job.source.depth);
    PictureReader reader(sources, job.source, conversion);
    return writeRows(reader, job, file);
}

void Pool::work()
{
    SourceFiles sources(m_files, m_document.sources);
    Colors colors(colorFacts(m_document, sources));
    while (const Job* job = next()) {
        const std::int64_t bytes = kWorkerBytes + job->source.rowCost();
        m_gate.enter(bytes);
        if (!write(sources, colors, *job)) {
            m_failed = true;
        }
        m_gate.leave(bytes);
    }
    const std::lock_guard lock(m_mutex);
    --m_workersLeft;
    m_workerEnded.notify_one();
}

PictureResult Pool::run(const std::function<void(double)>& progress)
{
    // The largest first, so that no worker is left alone with one at the end.
    std::stable_sort(m_jobs.begin(), m_jobs.end(),
                     [](const Job& a, const Job& b) { return a.bytes > b.bytes; });
    const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
    m_workersLeft =
        std::min({cores, m_jobs.size(), static_cast<std::size_t>(kPoolBytes / kWorkerBytes)});
    std::vector<std::thread> workers(m_workersLeft);
    for (std::thread& worker : workers) {
        worker = std::thread([this] { work(); });
    }
    std::unique_lock lock(m_mutex);
    while (m_workersLeft > 0) {
        m_workerEnded.wait_for(lock, std::chrono::milliseconds(50));
        lock.unlock();
        progress(static_cast<double>(m_doneBytes) /
                 static_cast<double>(std::max<std::int64_t>(m_totalBytes, 1)));
        lock.lock();
    }
    lock.unlock();
    for (std::thread& worker : workers) {
        worker.join();
    }
    if (!m_failed && !m_control.stop()) {
        progress(1);
    }
    return m_failed           ? PictureResult::Failed
           : m_control.stop() ? PictureResult::Stopped
                              : PictureResult::Written;
}

} // namespace

PictureResult writePictures(FileManager& files, const RecoveredDocument& document,
                            const std::vector<PictureFile>& pictures, const std::string& folder,
                            const RunControl& control, const std::function<void(double)>& progress)
{
    Pool pool(files, document, folder, control);
    for (const PictureFile& picture : pictures) {
        const std::string path = appendingPathComponent(folder, picture.path);
        if (!files.createFolders(deletingLastPathComponent(path), FileManager::kSharedFolder)) {
            return PictureResult::Failed;
        }
        pool.add(picture);
    }
    return pool.run(progress);
}

} // namespace talvek::recovery::output
