#include "cli/DocumentRecovery.h"

#include "cli/DeepRun.h"
#include "cli/DocumentCheck.h"
#include "cli/Interruption.h"
#include "cli/KeepFree.h"
#include "cli/ListingTable.h"
#include "cli/ProgressLine.h"
#include "cli/RecoveredFiles.h"
#include "cli/RoomCheck.h"
#include "cli/TerminalText.h"
#include "cli/WriteMeter.h"
#include "platform/PathString.h"
#include "platform/SystemLog.h"
#include "recovery/output/Verdict.h"

#include <cstdint>
#include <sys/stat.h>
#include <utility>

namespace talvek {

namespace {

namespace output = recovery::output;

constexpr Purpose kRecovery = {"recover", "recovered", "recovery"};
constexpr Purpose kReference = {"use", "used", "recovery"};

bool isSameFile(const std::string& one, const std::string& other)
{
    struct stat first = {};
    struct stat second = {};
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

ExitStatus statusOf(output::Outcome outcome)
{
    switch (outcome) {
    case output::Outcome::Complete:
        return ExitStatus::salvaged;
    case output::Outcome::Damaged:
        return ExitStatus::damaged;
    case output::Outcome::Nothing:
        break;
    }
    return ExitStatus::cannotRepair;
}

const char* wordFor(const recovery::Composite& composite)
{
    return composite.flattened ? "flattened" : output::wordFor(composite.state);
}

std::uint64_t unsignedOf(std::int64_t count)
{
    return static_cast<std::uint64_t>(count);
}

UserInfo completionOf(const recovery::RecoveredDocument& document, const RecoveredFiles& files)
{
    const output::LayerTally count = output::tally(document);
    return {{"complete", std::string("Recovery Completed")},
            {"Files", files.records},
            {"totalFilesSize", files.totalBytes},
            {"verdict", output::verdict(document)},
            {"layers", unsignedOf(count.layers)},
            {"whole", unsignedOf(count.whole)},
            {"unproved", unsignedOf(count.unproved)},
            {"partial", unsignedOf(count.partial)},
            {"lost", unsignedOf(count.lost)},
            {"gone", unsignedOf(count.gone)},
            {"composite", std::string(wordFor(document.composite))}};
}

/// Shows how a run gets on: on the terminal's line, as JSON lines, and each stage in the log.
class ProgressTeller
{
public:
    ProgressTeller(const DocumentRun::Surroundings& surroundings, const std::string& title,
                   const WriteMeter& meter)
        : m_json(surroundings.json),
          m_title(title),
          m_meter(meter),
          m_line(surroundings.console, title)
    {}

    void tell(const std::string& status, double share)
    {
        // What an interrupted run does on its way out comes to nothing.
        if (Interruption::isRequested()) {
            return;
        }
        if (status != m_status) {
            m_line.setTitle(m_title + ": " + status);
            SystemLog::write("deep recovery: " + status);
        }
        m_line.raiseTo(share);
        m_line.showSometimes(m_meter.writtenBytes());
        print(status, share);
        m_status = status;
    }

private:
    void print(const std::string& status, double share)
    {
        const int percent = static_cast<int>(100 * share);
        if (m_json != nullptr && (percent != m_percent || status != m_status)) {
            m_json->print({{"status", status}, {"progress", 100 * share}});
        }
        m_percent = percent;
    }

    JsonLines* m_json;
    std::string m_title;
    const WriteMeter& m_meter;
    ProgressLine m_line;
    std::string m_status;
    int m_percent = -1;
};

class DocumentRecovery : public DocumentRun
{
public:
    DocumentRecovery(const Surroundings& surroundings, const std::string& document,
                     std::string reference, const std::string& title,
                     const Destination& destination)
        : DocumentRun(surroundings, {"recover", "recovered"}, document, title, destination),
          m_reference(std::move(reference))
    {}

private:
    ExitStatus check(std::int64_t& sizeBytes) override;
    ExitStatus checkReference();
    ExitStatus runIn(WorkFolder& work, std::int64_t documentBytes) override;
    ExitStatus publishFound(WorkFolder& work, const DeepRun& run);
    void report(const RecoveredFiles& files, const DeepRun& run);
    void reportReference(const DeepRun& run);

    std::string m_reference; ///< empty: none
    std::int64_t m_referenceBytes = 0;
};

ExitStatus DocumentRecovery::check(std::int64_t& sizeBytes)
{
    const DocumentCheck check = checkFile(document(), kRecovery);
    sizeBytes = check.sizeBytes;
    if (!check.isAcceptable()) {
        return refuse(check.complaint);
    }
    return m_reference.empty() ? ExitStatus::salvaged : checkReference();
}

ExitStatus DocumentRecovery::checkReference()
{
    const std::string start = "Cannot use the reference " + quotedName(m_reference) + ": ";
    const DocumentCheck check = checkFile(m_reference, kReference);
    if (!check.isAcceptable()) {
        surroundings().console.error(start + check.complaint);
        return ExitStatus::cannotRepair;
    }
    if (isSameFile(document(), m_reference)) {
        surroundings().console.error(start + "it is the document itself. Name an older save or "
                                             "another copy of it.");
        return ExitStatus::wrongUsage;
    }
    m_referenceBytes = check.sizeBytes;
    return ExitStatus::salvaged;
}

ExitStatus DocumentRecovery::runIn(WorkFolder& work, std::int64_t documentBytes)
{
    KeepFreeCalls volume(surroundings().system, surroundings().keptBytes);
    RoomCheckCalls room(volume, destination().parent());
    WriteMeter meter(room);
    InterruptibleCalls calls(meter);
    FileManager files(calls);
    ProgressTeller teller(surroundings(), title(), meter);
    DeepRun run(files,
                [&teller](const std::string& status, double share) { teller.tell(status, share); });
    bool written = false;
    {
        const Interruption::Guard guard(run);
        written = run.run(document(), m_reference, work.filesPath());
    }
    surroundings().console.clearProgress();
    if (Interruption::isRequested()) {
        return interrupted();
    }
    warnIfSizeChanged(document(), documentBytes);
    if (!m_reference.empty()) {
        warnIfSizeChanged(m_reference, m_referenceBytes);
    }
    if (!written) {
        if (surroundings().json != nullptr) {
            surroundings().json->print({{"unrepair", std::string()}});
        }
        return cannotWriteAll(meter.error());
    }
    return publishFound(work, run);
}

ExitStatus DocumentRecovery::publishFound(WorkFolder& work, const DeepRun& run)
{
    const RecoveredFiles files = listRecoveredFiles(work.filesPath(), destination().path());
    const ExitStatus status = publish(work);
    if (status != ExitStatus::salvaged) {
        return status;
    }
    report(files, run);
    return statusOf(output::outcome(run.document()));
}

void DocumentRecovery::report(const RecoveredFiles& files, const DeepRun& run)
{
    if (surroundings().json != nullptr) {
        surroundings().json->print(completionOf(run.document(), files));
    } else if (surroundings().output != nullptr) {
        surroundings().output->print(listingTable(files.records) + "\n" +
                                     output::verdict(run.document()) + "\n");
    }
    const std::string page =
        quotedName(appendingPathComponent(destination().path(), "report.html"));
    if (output::outcome(run.document()) == output::Outcome::Nothing) {
        surroundings().console.error("Nothing of " + quotedName(document()) +
                                     " could be recovered; " + page +
                                     " says why. Try another copy of it.");
        return;
    }
    surroundings().console.note("Recovered " + std::to_string(files.records.size()) + " files (" +
                                readableSize(files.totalBytes) + ") from " +
                                quotedName(document()) + " into " +
                                quotedName(destination().path()) + ".");
    reportReference(run);
    surroundings().console.note("Open " + page +
                                " in a browser to see what is whole and what is not.");
}

void DocumentRecovery::reportReference(const DeepRun& run)
{
    if (m_reference.empty()) {
        return;
    }
    const std::size_t count = run.fromReference().size();
    surroundings().console.note(
        count == 0 ? "Nothing was taken from the reference " + quotedName(m_reference) +
                         ": it has nothing that the document lacks, or what it has does not match."
                   : std::to_string(count) + (count == 1 ? " piece was" : " pieces were") +
                         " taken from the reference " + quotedName(m_reference) +
                         "; the report names " + (count == 1 ? "it." : "each."));
}

} // namespace

bool hasDeepRecovery()
{
    return true;
}

std::unique_ptr<DocumentRun> documentRecovery(const DocumentRun::Surroundings& surroundings,
                                              const std::string& document,
                                              const std::string& reference,
                                              const std::string& title,
                                              const Destination& destination)
{
    return std::make_unique<DocumentRecovery>(surroundings, document, reference, title,
                                              destination);
}

} // namespace talvek
