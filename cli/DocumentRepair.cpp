#include "cli/DocumentRepair.h"

#include "cli/DocumentCheck.h"
#include "cli/Interruption.h"
#include "cli/KeepFree.h"
#include "cli/ListingTable.h"
#include "cli/TerminalText.h"
#include "engine/Repair.h"
#include "platform/FileManager.h"
#include "platform/PathString.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace talvek {

namespace {

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

std::string reasonNotMade(const Destination& destination, int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return "you have no permission to write in " + quotedName(destination.parent()) +
               ". Choose another place with --output.";
    case EROFS:
        return quotedName(destination.parent()) +
               " is on a volume that cannot be written. Choose another place with --output.";
    case ENOSPC:
    case EDQUOT:
        return "there is no room on its volume. Free some, or choose another volume with "
               "--output.";
    default:
        return std::string(std::strerror(error)) + ". Choose another place with --output.";
    }
}

} // namespace

DocumentRepair::DocumentRepair(const Surroundings& surroundings, std::string document,
                               std::string title, Destination destination)
    : m_surroundings(surroundings),
      m_document(std::move(document)),
      m_title(std::move(title)),
      m_destination(std::move(destination))
{}

ExitStatus DocumentRepair::run(bool force, const std::vector<std::string>& documents)
{
    const DocumentCheck check = checkDocument(m_document);
    if (!check.isAcceptable()) {
        return refuse(check.complaint);
    }
    // Looked at once: what is replaced in the end is the very folder that was agreed to here.
    const Descriptor held = m_destination.hold();
    m_replaced = m_destination.folderThere();
    const std::string complaint = m_destination.complaint(force, documents);
    if (!complaint.empty()) {
        return cannotWrite(complaint);
    }
    WorkFolder::clearStale(m_destination);
    WorkFolder work(m_destination, m_surroundings.system);
    if (!work.isMade()) {
        return cannotWrite(m_destination.cannotCreate(reasonNotMade(m_destination, work.error())));
    }
    const ExitStatus status = runIn(work, check.sizeBytes);
    const std::string place = work.path();
    if (!work.discard()) {
        m_surroundings.console.warning("Cannot delete all of " + quotedName(place) +
                                       ", which is needed no more. Delete it yourself.");
    }
    return status;
}

ExitStatus DocumentRepair::runIn(WorkFolder& work, std::int64_t documentBytes)
{
    KeepFreeCalls volume(m_surroundings.system, m_surroundings.keptBytes);
    ProgressMeter meter(volume, m_surroundings.console, m_document, documentBytes, m_title);
    InterruptibleCalls calls(meter);
    FileManager files(calls);
    RunListener listener(meter, m_surroundings.json);
    {
        Repair repair(files);
        const Interruption::Guard guard(repair);
        repair.repairFileAtPath_andSaveAtPath(m_document, work.filesPath());
    }
    m_surroundings.console.clearProgress();
    if (!Interruption::isRequested()) {
        warnIfSizeChanged(documentBytes);
    }
    return conclude(work, meter, listener);
}

ExitStatus DocumentRepair::conclude(WorkFolder& work, const ProgressMeter& meter,
                                    const RunListener& listener)
{
    if (Interruption::isRequested()) {
        m_surroundings.console.error("Interrupted: nothing of " + quotedName(m_document) +
                                     " was kept.");
        return ExitStatus::interrupted;
    }
    if (listener.hasAborted()) {
        return cannotWrite(noRoomMessage(meter.writeError()));
    }
    if (!listener.completion()) {
        return refuse("it changed while it was read. Repair a copy that no program writes to.");
    }
    if (filesOf(*listener.completion()).empty()) {
        return refuse("nothing was found in it that can be salvaged. Try another copy of it.");
    }
    return publish(work, *listener.completion());
}

ExitStatus DocumentRepair::publish(WorkFolder& work, UserInfo completion)
{
    const std::size_t listed = filesOf(completion).size();
    const std::size_t made = listed - warnOfMissing(filesOf(completion));
    if (made == 0) {
        return cannotWrite("Cannot write what is salvaged of " + quotedName(m_document) +
                           ": none of its files could be made.");
    }
    switch (work.publish(m_replaced)) {
    case WorkFolder::Outcome::published:
        break;
    case WorkFolder::Outcome::nameTaken:
        return cannotWrite(m_destination.cannotCreate(
            "something of that name has appeared meanwhile, and is left as it is. Choose another "
            "name with --output."));
    case WorkFolder::Outcome::failed:
        return cannotWrite(m_destination.cannotCreate(reasonNotMade(m_destination, errno)));
    }
    completion["Files"] = movedTo(m_destination.path(), filesOf(completion));
    report(completion, made);
    return ExitStatus::salvaged;
}

std::size_t DocumentRepair::warnOfMissing(const std::vector<FileRecord>& files)
{
    std::size_t missing = 0;
    for (const FileRecord& file : files) {
        if (!FileManager::defaultManager().existsAtPath(file.filePath)) {
            ++missing;
            m_surroundings.console.warning(
                quotedName(lastPathComponent(file.filePath)) +
                " could not be made. If its name is too long for the volume, give the document a "
                "shorter one and repair it again.");
        }
    }
    return missing;
}

void DocumentRepair::report(const UserInfo& completion, std::size_t fileCount)
{
    if (m_surroundings.json != nullptr) {
        m_surroundings.json->print(completion);
    } else if (m_surroundings.output != nullptr) {
        m_surroundings.output->print(listingTable(filesOf(completion)));
    }
    m_surroundings.console.note(
        "Salvaged " + std::to_string(fileCount) + (fileCount == 1 ? " file (" : " files (") +
        readableSize(std::get<std::uint64_t>(completion.at("totalFilesSize"))) + ") from " +
        quotedName(m_document) + " into " + quotedName(m_destination.path()) + ".");
}

void DocumentRepair::warnIfSizeChanged(std::int64_t before)
{
    const std::int64_t now = FileManager::defaultManager().fileSizeAtPath(m_document);
    if (now != before) {
        m_surroundings.console.warning(quotedName(m_document) +
                                       (now > before ? " grew" : " shrank") + " from " +
                                       std::to_string(before) + " to " + std::to_string(now) +
                                       " bytes while it was read. What was salvaged may mix both "
                                       "states; repair a copy that no program writes to.");
    }
}

std::string DocumentRepair::noRoomMessage(int writeError) const
{
    const std::string what = "Cannot write what is salvaged of " + quotedName(m_document) +
                             " into " + quotedName(m_destination.path()) + ": ";
    if (writeError != 0 && writeError != ENOSPC) {
        return what + std::strerror(writeError) + ". Choose another place with --output.";
    }
    const auto free = m_surroundings.system.freeBytes(m_destination.parent());
    return what + "there is not enough room on its volume (" + readableSize(free.value_or(0)) +
           " free, of which --keep-free leaves " + readableSize(m_surroundings.keptBytes) +
           " untouched). Free some room, choose another volume with --output, or keep less with "
           "--keep-free.";
}

ExitStatus DocumentRepair::refuse(const std::string& complaint)
{
    m_surroundings.console.error("Cannot repair " + quotedName(m_document) + ": " + complaint);
    return ExitStatus::cannotRepair;
}

ExitStatus DocumentRepair::cannotWrite(const std::string& message)
{
    m_surroundings.console.error(message);
    return ExitStatus::cannotWrite;
}

} // namespace talvek
