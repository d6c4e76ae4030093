#include "cli/RepairCommand.h"

#include "cli/DocumentCheck.h"
#include "cli/DocumentRecovery.h"
#include "cli/DocumentRepair.h"
#include "cli/FolderNames.h"
#include "cli/Interruption.h"
#include "cli/KeepFree.h"
#include "cli/TerminalText.h"
#include "platform/FileManager.h"
#include "platform/PathString.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace talvek {

RepairCommand::RepairCommand(Options options, Console& console, OutputStream& output,
                             SystemCalls& system)
    : m_options(std::move(options)),
      m_console(console),
      m_output(output),
      m_system(system),
      m_json(output)
{}

ExitStatus RepairCommand::run()
{
    if (m_options.check) {
        return checkAll();
    }
    const Destination destination(m_options.output);
    if (!m_options.keepFreeBytes) {
        m_options.keepFreeBytes = usualKeptBytes(m_system, destination.parent());
    }
    return m_options.documents.size() == 1 ? repairAlone() : repairSeveral();
}

ExitStatus RepairCommand::checkAll()
{
    ExitStatus worst = ExitStatus::salvaged;
    for (const std::string& document : m_options.documents) {
        if (Interruption::isRequested()) {
            return ExitStatus::interrupted;
        }
        const DocumentCheck check = checkDocument(document);
        if (check.isAcceptable()) {
            m_console.note(quotedName(document) + ": the header is acceptable.");
        } else {
            m_console.error("Cannot repair " + quotedName(document) + ": " + check.complaint);
            worst = ExitStatus::cannotRepair;
        }
    }
    return worst;
}

ExitStatus RepairCommand::repairAlone()
{
    const std::string& document = m_options.documents.front();
    return repairInto(Destination(m_options.output), document,
                      safeForTerminal(lastPathComponent(document)));
}

ExitStatus RepairCommand::repairSeveral()
{
    const Destination folder(m_options.output);
    const bool isThere = FileManager::defaultManager().isFolder(folder.path());
    if (!(isThere && m_options.force)) {
        const std::string complaint = folder.complaint(false, m_options.documents);
        if (!complaint.empty()) {
            m_console.error(complaint);
            return ExitStatus::cannotWrite;
        }
        if (!FileManager::defaultManager().createFolder(folder.path(),
                                                        FileManager::kSharedFolder)) {
            m_console.error(folder.cannotCreate(std::string(std::strerror(errno)) +
                                                ". Choose another place with --output."));
            return ExitStatus::cannotWrite;
        }
    }
    const ExitStatus status = repairEachInto(folder);
    if (!isThere) {
        // Goes only if it stayed empty.
        ::rmdir(folder.path().c_str());
    }
    return status;
}

ExitStatus RepairCommand::repairEachInto(const Destination& folder)
{
    FolderNames names;
    ExitStatus worst = ExitStatus::salvaged;
    const std::size_t count = m_options.documents.size();
    for (std::size_t index = 0; index < count; ++index) {
        if (Interruption::isRequested()) {
            return ExitStatus::interrupted;
        }
        const std::string& document = m_options.documents[index];
        const std::string name = lastPathComponent(document);
        m_json.setDocument(document);
        if (m_options.deep && index > 0 && !m_options.json && !m_options.quiet) {
            m_output.print("\n"); // a verdict ends what is said of a document
        }
        const Destination inner(appendingPathComponent(folder.path(), names.unusedFor(name)));
        const std::string title = "(" + std::to_string(index + 1) + " of " + std::to_string(count) +
                                  ") " + safeForTerminal(name);
        worst = worseOf(worst, repairInto(inner, document, title));
    }
    return worst;
}

ExitStatus RepairCommand::repairInto(const Destination& destination, const std::string& document,
                                     const std::string& title)
{
    const DocumentRun::Surroundings surroundings{
        m_system, m_console, m_options.quiet ? nullptr : &m_output,
        m_options.json ? &m_json : nullptr, m_options.keepFreeBytes.value_or(0)};
    std::vector<std::string> precious = m_options.documents;
    if (!m_options.deep) {
        return DocumentRepair(surroundings, document, title, destination)
            .run(m_options.force, precious);
    }
    if (!m_options.reference.empty()) {
        precious.push_back(m_options.reference);
    }
    return documentRecovery(surroundings, document, m_options.reference, title, destination)
        ->run(m_options.force, precious);
}

} // namespace talvek
