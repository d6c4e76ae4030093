#pragma once

#include "platform/NotificationCenter.h"
#include "tests/model/VirtualFiles.h"
#include "tests/support/Bytes.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace talvek::model {

/// One notification.
struct Event
{
    enum class Kind
    {
        progress,
        abort,
        completion,
    };

    Kind kind = Kind::progress;
    double percentage = 0;           ///< of a progress
    std::vector<FileRecord> listing; ///< of a completion
    std::uint64_t totalBytes = 0;    ///< of a completion

    /// Equal to the last bit of the percentage.
    bool operator==(const Event& other) const;
};

struct Settings
{
    /// The volume holds this much at the start of the run, and what is written takes from it.
    /// Without it, there is always room.
    std::optional<std::uint64_t> freeBytes;
    bool stopFlag = false;
    /// The stop flag is set while this many notifications have been posted.
    std::optional<std::size_t> stopAtEvent;
};

struct Outcome
{
    std::map<std::string, Bytes> files; ///< by name
    std::vector<Event> events;
    std::uint64_t writtenBytes = 0; ///< into files that were there, whatever became of them
};

/// What a repair of `document`, which stands at `path`, leaves in `folder` and posts on its way.
///
/// A second engine, as an oracle for the first: it takes every step one by one, on bytes in memory,
/// without windows, ledgers or fast searches, and shares no code with it. Where the first is quick,
/// this one is obvious.
Outcome repair(const Bytes& document, const std::string& path, const std::string& folder,
               const Settings& settings = {});

/// One run. Split as the repair is: PlainRepair.cpp has the run and its reporting.
class PlainRepair
{
public:
    PlainRepair(const Bytes& document, const Settings& settings);

    void run(const std::string& path, const std::string& folder);
    [[nodiscard]] Outcome outcome() const;

    // Open to tests of their own.

    static std::int64_t sizeOfLength(const std::uint8_t* bytes, int count);
    static std::int16_t channelNumber(const std::uint8_t* bytes, int count);

private:
    /// True if the pattern starts at `at` and lies wholly within what was read.
    using Pattern = std::function<bool(const Bytes& read, std::size_t at)>;

    struct Channel
    {
        std::int16_t id = 0;
        std::int64_t length = 0;
    };

    /// What one layer's extraction keeps.
    struct Layer
    {
        std::string layerPath;
        std::string maskPath;
        Bytes header;
        std::int64_t colourModeLength = 0;
        std::vector<Channel> table; ///< the record's last channel first
        std::int64_t listStart = 0; ///< of the first channel that was accepted
        std::int64_t rows = 0;
        std::int64_t columns = 0;
        Bytes colourModeBlock;
        Output layerOutput;
        Output maskOutput;
    };

    /// What the decoder keeps on its way through the packed stream.
    struct Decoding
    {
        const Bytes& input;
        Output output;
        std::int64_t position = 0; ///< of the next byte of the input that is not consumed
        std::int64_t consumed = 0;
        Bytes block; ///< what was read last, over what was read before
        std::size_t index = 0;
    };

    // Reporting and the run's end.
    [[nodiscard]] bool aborted() const { return m_folder.empty(); }
    void post(const Event& event);
    void postProgress(double offset);
    void abortProgram();
    std::vector<FileRecord> list();
    void listOne(const std::string& path, std::vector<FileRecord>& listing);

    // Reading and writing.
    static Bytes read(const Bytes& from, std::int64_t offset, std::int64_t count);
    [[nodiscard]] Bytes read(std::int64_t offset, std::int64_t count) const;
    std::int64_t lengthAt(std::int64_t offset);
    [[nodiscard]] bool hasRoomFor(std::int64_t count) const;
    bool create(const std::string& path, const Bytes& contents);
    void write(const Output& output, const Bytes& bytes);
    bool writeTested(const Output& output, const Bytes& bytes);
    [[nodiscard]] std::int64_t emptyReads(std::int64_t offset, std::int64_t step,
                                          std::int64_t most) const;

    // The stages.
    void readSections();
    void thumbnailStage();
    [[nodiscard]] std::int64_t searchThumbnail(std::int64_t start, std::int64_t length) const;
    void copyThumbnail(std::int64_t offset, std::int64_t length);
    void layerStage();
    void mapFlatDocument(std::int64_t filterMask);
    void findChannelData(std::int64_t filterMask);
    void findComposite(std::int64_t filterMask);
    void compositeStage();
    void copyToEnd(std::int64_t start, const Output& output);

    // Searches.
    [[nodiscard]] std::int64_t scan(std::int64_t start, std::int64_t length, const Pattern& pattern,
                                    bool pollsStop) const;
    [[nodiscard]] std::int64_t searchFilterMask(std::int64_t start, std::int64_t length) const;
    [[nodiscard]] std::int64_t searchRecord(std::int64_t start, std::int64_t length) const;
    [[nodiscard]] std::int64_t searchBlock(std::int64_t start, std::int64_t length) const;
    void countRecords(std::int64_t start, std::int64_t length);
    void findLastBlock(std::int64_t start, std::int64_t length);
    bool blockEndsAtData(std::int64_t block, std::array<std::uint8_t, 4>& lengthField) const;

    // A layer.
    void extractLayer(std::int64_t signature);
    void walkChannelList(std::int64_t signature, Layer& layer);
    void readBounds(Layer& layer);
    void fillHeader(Layer& layer) const;
    Output startDocument(const std::string& path, const Layer& layer);
    void copyChannels(Layer& layer);
    void copyChannel(Layer& layer, const Channel& channel);
    void copyRange(const Output& output, std::int64_t offset, std::int64_t length);
    void decodeLayer(const Layer& layer);
    [[nodiscard]] std::string numbered(const char* kind, int number, const char* ending) const;

    // The decoder.
    void decode(const std::string& path, std::int64_t prefixLength);
    void decodeBlocks(Decoding& decoding, std::int64_t remaining);
    void decodeSingleBlock(Decoding& decoding);
    void decodeOne(Decoding& decoding);
    void finishDecoding(const std::string& path, const std::string& workPath);

    const Bytes& m_document;
    Settings m_settings;
    VirtualFiles m_files;
    std::vector<Event> m_events;
    bool m_stopFlag = false;
    std::int64_t m_written = 0;

    std::string m_folder; ///< empty once aborted
    std::string m_fileName;
    std::int64_t m_fileSize = 0;
    std::array<std::uint8_t, 4> m_temporary = {};
    std::array<std::uint8_t, 26> m_header = {};
    std::int64_t m_colourModeSize = 0;
    std::int64_t m_resourcesOffset = 0;
    std::int64_t m_resourcesSize = 0;
    std::int64_t m_layerAndMaskOffset = 0;
    std::int64_t m_layerAndMaskSize = 0;
    std::int64_t m_compositeOffset = 0;
    std::vector<std::int64_t> m_records;
    std::int64_t m_lastBlock = 0;
    std::int64_t m_layerStart = 0;
    int m_layerCounter = 0;
    bool m_decodesComposite = false;
    std::vector<std::string> m_secondaryFiles;
    std::vector<std::string> m_mainFiles;
    std::uint64_t m_totalBytes = 0;
};

} // namespace talvek::model
