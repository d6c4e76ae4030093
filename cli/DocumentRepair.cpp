#include "cli/DocumentRepair.h"

#include "cli/DocumentCheck.h"
#include "cli/Interruption.h"
#include "cli/KeepFree.h"
#include "cli/ListingTable.h"
#include "cli/TerminalText.h"
#include "engine/Repair.h"
#include "platform/FileManager.h"
#include "platform/PathString.h"

#include <utility>

namespace talvek {

namespace {

class StoppableRepair : public Stoppable
{
public:
    explicit StoppableRepair(Repair& repair) : m_repair(repair) {}

    void stopRun() override
    {
        m_repair.setStopflag(true);
        m_repair.setPauseRepair(false);
    }

private:
    Repair& m_repair;
};

/// The listing as it reads once "files" has become the destination.
std::vector<FileRecord> movedTo(const std::string& folder, std::vector<FileRecord> files)
{
    for (FileRecord& file : files) {
        file.filePath = appendingPathComponent(folder, lastPathComponent(file.filePath));
    }
    return files;
}

const std::vector<FileRecord>& filesOf(const UserInfo& completion)
{
    return std::get<std::vector<FileRecord>>(completion.at("Files"));
}

} // namespace

DocumentRepair::DocumentRepair(const Surroundings& surroundings, std::string document,
                               std::string title, Destination destination)
    : DocumentRun(surroundings, {"repair", "salvaged"}, std::move(document), std::move(title),
                  std::move(destination))
{}

ExitStatus DocumentRepair::check(std::int64_t& sizeBytes)
{
    const DocumentCheck check = checkDocument(document());
    sizeBytes = check.sizeBytes;
    return check.isAcceptable() ? ExitStatus::salvaged : refuse(check.complaint);
}

ExitStatus DocumentRepair::runIn(WorkFolder& work, std::int64_t documentBytes)
{
    KeepFreeCalls volume(surroundings().system, surroundings().keptBytes);
    ProgressMeter meter(volume, surroundings().console, document(), documentBytes, title());
    InterruptibleCalls calls(meter);
    FileManager files(calls);
    RunListener listener(meter, surroundings().json);
    {
        Repair repair(files);
        StoppableRepair stoppable(repair);
        const Interruption::Guard guard(stoppable);
        repair.repairFileAtPath_andSaveAtPath(document(), work.filesPath());
    }
    surroundings().console.clearProgress();
    if (!Interruption::isRequested()) {
        warnIfSizeChanged(document(), documentBytes);
    }
    return conclude(work, meter, listener);
}

ExitStatus DocumentRepair::conclude(WorkFolder& work, const ProgressMeter& meter,
                                    const RunListener& listener)
{
    if (Interruption::isRequested()) {
        return interrupted();
    }
    if (listener.hasAborted()) {
        return cannotWriteAll(meter.writeError());
    }
    if (!listener.completion()) {
        return refuse("it changed while it was read. Repair a copy that no program writes to.");
    }
    if (filesOf(*listener.completion()).empty()) {
        return refuse("nothing was found in it that can be salvaged. Try another copy of it.");
    }
    return publishListed(work, *listener.completion());
}

ExitStatus DocumentRepair::publishListed(WorkFolder& work, UserInfo completion)
{
    const std::size_t listed = filesOf(completion).size();
    const std::size_t made = listed - warnOfMissing(filesOf(completion));
    if (made == 0) {
        return cannotWrite("Cannot write what is salvaged of " + quotedName(document()) +
                           ": none of its files could be made.");
    }
    const ExitStatus status = publish(work);
    if (status == ExitStatus::salvaged) {
        completion["Files"] = movedTo(destination().path(), filesOf(completion));
        report(completion, made);
    }
    return status;
}

std::size_t DocumentRepair::warnOfMissing(const std::vector<FileRecord>& files)
{
    std::size_t missing = 0;
    for (const FileRecord& file : files) {
        if (!FileManager::defaultManager().existsAtPath(file.filePath)) {
            ++missing;
            surroundings().console.warning(
                quotedName(lastPathComponent(file.filePath)) +
                " could not be made. If its name is too long for the volume, give the document a "
                "shorter one and repair it again.");
        }
    }
    return missing;
}

void DocumentRepair::report(const UserInfo& completion, std::size_t fileCount)
{
    if (surroundings().json != nullptr) {
        surroundings().json->print(completion);
    } else if (surroundings().output != nullptr) {
        surroundings().output->print(listingTable(filesOf(completion)));
    }
    surroundings().console.note(
        "Salvaged " + std::to_string(fileCount) + (fileCount == 1 ? " file (" : " files (") +
        readableSize(std::get<std::uint64_t>(completion.at("totalFilesSize"))) + ") from " +
        quotedName(document()) + " into " + quotedName(destination().path()) + ".");
}

} // namespace talvek
