#pragma once

#include "platform/FileHandle.h"
#include "platform/FileManager.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace talvek {

/// Answers, before every write of a run, how many bytes are free on a volume.
///
/// Far from the limit the answer is the volume's last figure less all that was written since; the
/// volume itself is asked afresh once 100 ms have passed, and before every write that would leave
/// less than 64 MiB. A fresh figure is taken after what the known outputs have gathered was
/// flushed, so near the limit the outcome is that of asking each time. One thread at a time.
class FreeSpaceLedger
{
public:
    static constexpr std::uint64_t kMargin = 64ULL << 20U;
    static constexpr std::int64_t kFigureLastsNanoseconds = 100'000'000;

    /// A volume as the ledger knows it. Belongs to the ledger.
    class Volume
    {
        friend class FreeSpaceLedger;
        std::string m_path;
        std::uint64_t m_freeBytes = 0;
        std::uint64_t m_writtenBefore = 0;
        std::int64_t m_takenAt = 0;
        bool m_isKnown = false;
    };

    explicit FreeSpaceLedger(FileManager& files) : m_files(files) {}

    /// The volume that holds `path`; good as long as the ledger.
    Volume& volumeAt(const std::string& path);
    /// Bytes free on the volume, with a write of `coming` bytes in mind; 0 if they cannot be told.
    std::uint64_t freeBytes(Volume& volume, std::uint64_t coming);
    /// True if every write of the coming `count` bytes has room, however they are cut up, with the
    /// margin to spare. No answer is needed for each of them then.
    bool hasRoomToSpare(Volume& volume, std::uint64_t count);
    /// So many bytes were written, or gathered to be written, on any of the volumes.
    void noteWritten(std::uint64_t count) { m_written += count; }

    /// While an output is open its gathered bytes belong to the figures. Borrowed.
    void addOutput(WritingFileHandle& output) { m_outputs.push_back(&output); }
    void removeOutput(WritingFileHandle& output) { std::erase(m_outputs, &output); }

private:
    [[nodiscard]] std::uint64_t estimateOf(const Volume& volume) const;
    void takeFigure(Volume& volume, std::int64_t now);

    FileManager& m_files;
    std::vector<WritingFileHandle*> m_outputs;
    std::map<std::string, Volume> m_volumes;
    std::uint64_t m_written = 0;
};

} // namespace talvek
