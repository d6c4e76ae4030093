#include "cli/DocumentRun.h"

#include "cli/TerminalText.h"
#include "platform/FileManager.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace talvek {

namespace {

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

DocumentRun::DocumentRun(const Surroundings& surroundings, const Words& words, std::string document,
                         std::string title, Destination destination)
    : m_surroundings(surroundings),
      m_words(words),
      m_document(std::move(document)),
      m_title(std::move(title)),
      m_destination(std::move(destination))
{}

ExitStatus DocumentRun::run(bool force, const std::vector<std::string>& precious)
{
    std::int64_t documentBytes = 0;
    const ExitStatus checked = check(documentBytes);
    if (checked != ExitStatus::salvaged) {
        return checked;
    }
    // Looked at once: what is replaced in the end is the very folder that was agreed to here.
    const Descriptor held = m_destination.hold();
    m_replaced = m_destination.folderThere();
    const std::string complaint = m_destination.complaint(force, precious);
    if (!complaint.empty()) {
        return cannotWrite(complaint);
    }
    WorkFolder::clearStale(m_destination);
    WorkFolder work(m_destination, m_surroundings.system);
    if (!work.isMade()) {
        return cannotWrite(m_destination.cannotCreate(reasonNotMade(m_destination, work.error())));
    }
    const ExitStatus status = runIn(work, documentBytes);
    const std::string place = work.path();
    if (!work.discard()) {
        m_surroundings.console.warning("Cannot delete all of " + quotedName(place) +
                                       ", which is needed no more. Delete it yourself.");
    }
    return status;
}

ExitStatus DocumentRun::publish(WorkFolder& work)
{
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
    return ExitStatus::salvaged;
}

void DocumentRun::warnIfSizeChanged(const std::string& path, std::int64_t before) const
{
    const std::int64_t now = FileManager::defaultManager().fileSizeAtPath(path);
    if (now != before) {
        m_surroundings.console.warning(quotedName(path) + (now > before ? " grew" : " shrank") +
                                       " from " + std::to_string(before) + " to " +
                                       std::to_string(now) + " bytes while it was read. What was " +
                                       m_words.result + " may mix both states; " + m_words.verb +
                                       " a copy that no program writes to.");
    }
}

ExitStatus DocumentRun::refuse(const std::string& complaint) const
{
    m_surroundings.console.error(std::string("Cannot ") + m_words.verb + " " +
                                 quotedName(m_document) + ": " + complaint);
    return ExitStatus::cannotRepair;
}

ExitStatus DocumentRun::cannotWrite(const std::string& message) const
{
    m_surroundings.console.error(message);
    return ExitStatus::cannotWrite;
}

ExitStatus DocumentRun::cannotWriteAll(int writeError) const
{
    return cannotWrite(std::string("Cannot write what is ") + m_words.result + " of " +
                       quotedName(m_document) + " into " + quotedName(m_destination.path()) + ": " +
                       adviceFor(writeError));
}

std::string DocumentRun::adviceFor(int writeError) const
{
    if (writeError == ENAMETOOLONG) {
        return "names made of the document's own are too long for the volume. Give the document a "
               "shorter one.";
    }
    if (writeError != 0 && writeError != ENOSPC) {
        return std::string(std::strerror(writeError)) + ". Choose another place with --output.";
    }
    const auto free = m_surroundings.system.freeBytes(m_destination.parent());
    return "there is not enough room on its volume (" + readableSize(free.value_or(0)) +
           " free, of which --keep-free leaves " + readableSize(m_surroundings.keptBytes) +
           " untouched). Free some room, choose another volume with --output, or keep less with "
           "--keep-free.";
}

ExitStatus DocumentRun::interrupted() const
{
    m_surroundings.console.error("Interrupted: nothing of " + quotedName(m_document) +
                                 " was kept.");
    return ExitStatus::interrupted;
}

} // namespace talvek
