#pragma once

#include "engine/FreeSpaceLedger.h"
#include "engine/PackedDraft.h"
#include "engine/SignatureMemo.h"
#include "platform/FileHandle.h"
#include "platform/FileManager.h"
#include "platform/NotificationCenter.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace talvek {

/// The repair engine: salvages what survives of one damaged PSD document.
///
/// One object serves one run at a time. A run works wholly on the caller's thread and reports
/// through the notification "notif" on the default notification centre alone, in three shapes:
///
/// - progress: "status" and "progress", a percentage as a double; not clamped, may go back;
/// - abort: "unrepair", an empty string; once for every write that the volume has no room for;
/// - completion: "complete", "Files" (the listing) and "totalFilesSize" (bytes); last, and only
///   if the stop flag is not set.
///
/// The document is opened read-only. No length in it is believed beyond what the stages say; any
/// bytes whatever lead to a defined end, in memory that does not grow with the document. Nothing
/// throws, nothing is printed.
///
/// `setPauseRepair` and `setStopflag` may be called from any thread during a run; everything else
/// belongs to the run's thread. Offsets count bytes from the start of the document; as the result
/// of a search, 0 means that nothing was found.
class Repair
{
public:
    /// The most layer records, or reference-point blocks, that a run takes note of.
    static constexpr std::size_t kMostOffsets = 500;

    /// @param files  the file system to work on; outlives the object
    explicit Repair(FileManager& files = FileManager::defaultManager());
    virtual ~Repair();
    Repair(const Repair&) = delete;
    Repair& operator=(const Repair&) = delete;

    // The two flags. Relaxed: a change that is seen late delays the effect by a step of a scan.

    [[nodiscard]] bool pauseRepair() const { return m_pauseRepair.load(std::memory_order_relaxed); }
    /// While set, the run holds still at the next place that polls it, and looks again each second.
    void setPauseRepair(bool pause) { m_pauseRepair.store(pause, std::memory_order_relaxed); }
    [[nodiscard]] bool stopflag() const { return m_stopflag.load(std::memory_order_relaxed); }
    /// Once set, scans end as if nothing more were found, and no completion is posted.
    void setStopflag(bool stop) { m_stopflag.store(stop, std::memory_order_relaxed); }

    // The run, and what a front end asks before it.

    /// True if the 26-byte header at `path` is one that the engine accepts: "8BPS", version 1,
    /// reserved bytes zero, depth 1, 8, 16 or 32, and a colour mode that the format defines.
    /// Channel count and size are not looked at. False for a file that cannot be read.
    [[nodiscard]] bool isFileValidAtPath(const std::string& path) const;

    /// Repairs the document at `path` into `folder`, and returns when the run is over.
    ///
    /// Whatever stands at `folder` is deleted first and the folder is made anew; its parent must
    /// exist. A folder whose deletion would take the document, the home folder or the root folder
    /// with it ends the run before anything is written, with nothing posted; so does, after the
    /// folder is made, a document that does not begin with "8BPS".
    void repairFileAtPath_andSaveAtPath(const std::string& path, const std::string& folder);

    // The stages, in the order in which a run calls them.

    void reapairImagesAtPath_andSaveAtPath(const std::string& path, const std::string& folder);
    void thumbnail_Image();
    void layerAndMaskImage();
    void mainImage();
    /// The files written, the rebuilt document first, no path twice; sets `totalFilesSize`.
    std::vector<FileRecord> listImages();

    // Reporting.

    void postNotification(double percentage);
    /// Posts the abort and empties the output folder's path, which every stage takes as its end.
    void abortProgram();

    // Reading numbers.

    /// The big-endian number in the first `count` bytes, read as signed from 4 bytes on: FF FF FF
    /// FF is -1. Requires: count <= bytes.size().
    static std::int64_t sizeOfLength(std::span<const std::uint8_t> bytes, std::int32_t count);
    /// The big-endian signed 16-bit number in the last two of the first `count` bytes.
    /// Requires: count <= bytes.size().
    static std::int16_t channelNumber(std::span<const std::uint8_t> bytes, std::int32_t count);

    // Searches: the first match at or behind `start`, or 0. See ChunkedScan.h for what a length
    // of any sign comes to.

    std::int64_t search_8BIM040C(std::int64_t start, std::int64_t length);
    std::int64_t search_8BIMnorm(std::int64_t start, std::int64_t length);
    std::int64_t search_8BIMOffset(std::int64_t start, std::int64_t length);
    std::int64_t search_8BIMFMsk(std::int64_t start, std::int64_t length);
    std::int64_t search_8BIMfxrp(std::int64_t start, std::int64_t length);
    /// Collects the layer records into `offset8BIMnorm`. @return how many, at most 500
    std::int16_t countAndFindOffsetOf8BIMnorm(std::int64_t start, std::int64_t length);
    /// Collects the reference-point blocks into `offset8BIMfxrp`. @return how many, at most 500
    std::int16_t countAndFindOffsetOf8BIMfxrp(std::int64_t start, std::int64_t length);
    /// Sets `last8BIMOffset` to the first tagged block whose end looks like channel data, or to 0.
    void findLast8BIM(std::int64_t start, std::int64_t length);

    // Copying and decoding.

    /// Copies the thumbnail's JPEG bytes into its file.
    void thumbnailImage(std::int64_t dataOffset, std::int64_t dataLength);
    /// Writes the documents of the layer whose blend-mode signature stands at `recordOffset`.
    void imageOfLayer(std::int64_t recordOffset);
    /// Appends `length` bytes of the document from `offset` on; a negative length, all to its end.
    void layerImages(WritingFileHandle& output, std::int64_t offset, std::int64_t length);
    /// Appends everything from `start` to the end of `input`.
    void readDAtaUptoEndFileAndStoreForMainImage(ReadingFileHandle& input, std::int64_t start,
                                                 WritingFileHandle& output);
    /// Replaces the file at `path`, which is a prefix and then one PackBits stream, by the same
    /// prefix and the stream's plain bytes, and lists it.
    void decodeImage(const std::string& path, std::int64_t prefixLength);

protected:
    using LengthField = std::array<std::uint8_t, 4>;
    using Header = std::array<std::uint8_t, 26>;

    /// What the last look at a volume gave.
    struct FileSystemAttributes
    {
        std::uint64_t systemFreeSize = 0;
    };

    // The state of a run, under the names that the whole engine uses.

    std::string recoverFileLocationField; ///< the output folder; empty once the run has aborted
    FileSystemAttributes fileAttributes;  ///< of the volume last asked for room
    std::uint64_t freeSpace = 0;          ///< bytes free there, as last asked
    std::int64_t last8BIMOffset = 0;
    ReadingFileHandle fileHandle; ///< the damaged document
    std::string filePath;
    std::int64_t headerOffset = 0;
    std::int64_t ColorModeOffset = 0;
    std::int64_t imageResourceOffset = 0; ///< of the section's length field, like the next one
    std::int64_t layerAndMaskOffset = 0;
    std::int64_t mainImageOffset = 0;     ///< of the composite's compression code
    std::int64_t colorModeSize = 0;       ///< its length field included
    std::int64_t sizeOfImageResource = 0; ///< its length field not included
    std::int64_t sizeOFLayerAndMask = 0;  ///< its length field not included
    Header fileHeaderInformation = {};
    LengthField temporary = {}; ///< every length field passes through here; a short read leaves
                                ///< the bytes of the one before
    std::array<std::int64_t, kMostOffsets> offset8BIMnorm = {};
    std::array<std::int64_t, kMostOffsets> offset8BIMfxrp = {};
    std::int32_t layer_counter = 0;
    std::int64_t noOfLayer = 0;
    std::int64_t layerStart = 0; ///< of the next channel's compression code
    std::int64_t last8BIMnormOffset = 0;
    std::int64_t last8BIMfxrpOffset = 0;
    std::int64_t fileSize = 0;
    FileManager& filemgr;
    std::vector<std::string> mutableStringArray; ///< files written, in the order written
    std::vector<std::string> nonRepeatArray;     ///< kept empty; the listing sorts out repeats
    std::vector<std::string> mainFileArray;      ///< the rebuilt document
    double offsetForProgressBar = 0;
    bool boolValue = false; ///< decoded files are the rebuilt document from now on
    std::string tempLocation;
    std::string fileName;
    std::uint64_t totalFilesSize = 0; ///< bytes

    [[nodiscard]] bool isAborted() const { return recoverFileLocationField.empty(); }

private:
    class LayerExtraction;
    class OpenOutput;

    // The section map and the run.
    void mapSections();
    [[nodiscard]] bool hasSignature() const;
    void runStages();
    void wholeDocumentStage();
    void appendToListing(const std::string& path, std::vector<FileRecord>& listing);
    void postCompletion(const std::vector<FileRecord>& listing);
    /// Posts `offsetForProgressBar` as a percentage of the document.
    void postProgress();
    void postProgressAt(std::int64_t offset);

    // The walk over the layer-and-mask section.
    void findLayerStart(std::int64_t filterMask);
    void extractLayers();
    [[nodiscard]] std::int64_t endOfFilterMask(std::int64_t filterMask);
    [[nodiscard]] std::int64_t endOfLayerAndMask() const;
    [[nodiscard]] std::int64_t compositeOffset(std::int64_t filterMask);
    void mapCompositeWithoutLayers(std::int64_t filterMask);
    bool endsBeforeImageData(std::int64_t block, LengthField& length);

    // Reading.
    std::int64_t readLength(std::int64_t offset);
    [[nodiscard]] Header readHeader();

    /// Polls the two flags. @return true if the stop flag ends the loop that asks
    [[nodiscard]] bool isStoppedOrWaits() const;

    // Writing. Every write has its test for room before it: more than its size must be free.
    using Volume = FreeSpaceLedger::Volume;
    [[nodiscard]] Volume& outputVolume();
    [[nodiscard]] Volume& applicationsVolume();
    bool hasRoomFor(Volume& volume, std::uint64_t count);
    bool hasRoomForStated(Volume& volume, std::int64_t length);
    bool createOutput(const std::string& path, std::span<const std::uint8_t> contents);
    void append(WritingFileHandle& output, std::span<const std::uint8_t> bytes);
    void noteWritten(const WritingFileHandle& output, std::size_t count);
    void reportFailure(bool failed);
    void countUnwritten(std::int64_t count);
    void copyOneRead(ByteSource& input, std::int64_t offset, std::int64_t count,
                     WritingFileHandle& output);
    std::int64_t copyBlocks(ReadingFileHandle& input, std::int64_t offset, std::int64_t blocks,
                            std::size_t blockBytes, WritingFileHandle& output);

    // The rebuilt document.
    void startRebuiltDocument(const std::string& path, std::int64_t headBytes);
    [[nodiscard]] std::int64_t packedCompositeOffset() const;
    void decodePackedComposite(const std::string& path, std::int64_t colorModeLength);
    bool decodeDraftOfComposite(const std::string& path, std::int64_t colorModeLength,
                                std::int64_t start);
    void copyComposite(const std::string& path, std::int64_t start);

    // The decoder.
    [[nodiscard]] std::string workPathFor(const std::string& path) const;
    void decodeToWorkFile(ByteSource& input, std::int64_t prefixLength,
                          const std::string& workPath);
    bool decodeDraft(PackedDraft& draft, const std::string& path, std::int64_t prefixLength);
    void decodeManyBlocks(ByteSource& input, std::int64_t position, std::int64_t remaining,
                          WritingFileHandle& output);
    void decodeSingleBlock(ByteSource& input, std::int64_t position, WritingFileHandle& output);
    std::size_t decodeBlock(std::span<const std::uint8_t> packed, Volume& volume,
                            WritingFileHandle& output);
    std::size_t decodeRuns(std::span<const std::uint8_t> packed, std::size_t opensBefore,
                           Volume& volume, WritingFileHandle& output);
    std::size_t decodeRun(std::span<const std::uint8_t> packed, Volume& volume,
                          WritingFileHandle& output);
    void replaceByDecoded(const std::string& path, const std::string& workPath);

    std::atomic<bool> m_pauseRepair{false};
    std::atomic<bool> m_stopflag{false};
    bool m_writeFailureReported = false;
    SignatureMemo m_signatures; ///< of the document of the run
    std::unique_ptr<FreeSpaceLedger> m_ledger;
};

} // namespace talvek
