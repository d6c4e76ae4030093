// A run, from the damaged document to the listing of what was salvaged:
//
//   1. The output folder is deleted and made anew.
//   2. The header and the section lengths are read              Repair_sectionMap.cpp
//   3. The thumbnail is copied out                              Repair_thumbnail.cpp
//   4. The layer-and-mask section is walked                     Repair_layerAndMask.cpp
//      a. the filter-mask block is searched                     Repair_filterMaskScan.cpp
//      b. every layer record is searched                        Repair_layerRecordScan.cpp
//      c. the end of the last record is searched                Repair_resourceScan.cpp
//      d. each layer's channels become documents                Repair_imageOfLayer.cpp
//      e. each document is decoded in place                     Repair_decodeImage.cpp
//   5. The whole document is rebuilt, and decoded               Repair_mainImage.cpp
//   6. What was written is listed and announced.
//
// A write for which the volume has no room aborts the run: the output folder's path is emptied, and
// every stage takes that as its end. Steps 5 and 6 still post what they owe.

#include "engine/Repair.h"

#include "engine/FreeSpaceLedger.h"
#include "engine/Repair_outputs.h"
#include "platform/PathString.h"
#include "platform/SystemLog.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace talvek {

Repair::Repair(FileManager& files)
    : filemgr(files), m_ledger(std::make_unique<FreeSpaceLedger>(files))
{}

Repair::~Repair() = default;

void Repair::repairFileAtPath_andSaveAtPath(const std::string& path, const std::string& folder)
{
    filePath = path;
    mutableStringArray.clear();
    mainFileArray.clear();
    reapairImagesAtPath_andSaveAtPath(path, folder);
}

void Repair::reapairImagesAtPath_andSaveAtPath(const std::string& path, const std::string& folder)
{
    recoverFileLocationField = folder;
    tempLocation = folder;
    fileName = lastPathComponent(path);
    fileSize = filemgr.fileSizeAtPath(path);
    m_writeFailureReported = false;
    m_ledger = std::make_unique<FreeSpaceLedger>(filemgr);
    if (deletionIsRefused(folder, path)) {
        return;
    }
    filemgr.removeItem(folder);
    filemgr.createFolder(folder, FileManager::kPrivateFolder);
    nonRepeatArray.clear();

    fileHandle = filemgr.openForReading(path);
    m_signatures.clear();
    mapSections();
    if (hasSignature()) {
        runStages();
    }
    fileHandle = {};
}

void Repair::runStages()
{
    if (!isAborted()) {
        thumbnail_Image();
    }
    if (!isAborted()) {
        layerAndMaskImage();
    }
    if (!isAborted()) {
        wholeDocumentStage();
    }
    postProgressAt(fileSize);
    const std::vector<FileRecord> listing = listImages();
    if (!stopflag()) {
        postCompletion(listing);
    }
}

void Repair::wholeDocumentStage()
{
    SystemLog::write("fileSize=" + std::to_string(static_cast<std::uint64_t>(fileSize)));
    SystemLog::write("mainimageoffset=" +
                     std::to_string(static_cast<std::uint64_t>(mainImageOffset)));
    if (mainImageOffset < fileSize) {
        mainImage();
    }
}

std::vector<FileRecord> Repair::listImages()
{
    totalFilesSize = 0;
    std::vector<FileRecord> listing;
    if (!mainFileArray.empty()) {
        appendToListing(mainFileArray.front(), listing);
    }
    for (const std::string& path : mutableStringArray) {
        const bool isListed =
            std::any_of(listing.begin(), listing.end(),
                        [&path](const FileRecord& record) { return record.filePath == path; });
        if (!isListed) {
            appendToListing(path, listing);
        }
    }
    return listing;
}

void Repair::appendToListing(const std::string& path, std::vector<FileRecord>& listing)
{
    constexpr unsigned kBytesToKiB = 10;
    const std::uint64_t bytes =
        isInRootFolder(path) ? 0 : static_cast<std::uint64_t>(filemgr.fileSizeAtPath(path));
    listing.push_back({.fileNumber = std::to_string(listing.size() + 1),
                       .fileName = deletingPathExtension(lastPathComponent(path)),
                       .fileSize = std::to_string(bytes >> kBytesToKiB),
                       .filePath = path});
    totalFilesSize += bytes;
}

void Repair::postCompletion(const std::vector<FileRecord>& listing)
{
    NotificationCenter::defaultCenter().post("notif",
                                             {{"complete", std::string("Repair Completed")},
                                              {"Files", listing},
                                              {"totalFilesSize", totalFilesSize}});
}

void Repair::postNotification(double percentage)
{
    NotificationCenter::defaultCenter().post(
        "notif", {{"status", std::string("Repair is in progress...")}, {"progress", percentage}});
}

void Repair::postProgress()
{
    // Not clamped: an offset behind the end shows as more than 100, nothing found as 0.
    postNotification(offsetForProgressBar / static_cast<double>(fileSize) * 100.0);
}

void Repair::postProgressAt(std::int64_t offset)
{
    offsetForProgressBar = static_cast<double>(offset);
    postProgress();
}

void Repair::abortProgram()
{
    NotificationCenter::defaultCenter().post("notif", {{"unrepair", std::string()}});
    recoverFileLocationField.clear();
}

bool Repair::isStoppedOrWaits() const
{
    constexpr std::chrono::seconds kPauseStep{1};
    if (stopflag()) {
        return true;
    }
    while (pauseRepair()) {
        std::this_thread::sleep_for(kPauseStep);
    }
    // A stop that was asked for meanwhile takes effect at the next poll.
    return false;
}

} // namespace talvek
