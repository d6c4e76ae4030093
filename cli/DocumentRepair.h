#pragma once

#include "cli/Console.h"
#include "cli/Destination.h"
#include "cli/ExitStatus.h"
#include "cli/JsonLines.h"
#include "cli/OutputStream.h"
#include "cli/ProgressMeter.h"
#include "cli/RunListener.h"
#include "cli/WorkFolder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvek {

/// The repair of one document into one folder, from the look at its header to the listing.
class DocumentRepair
{
public:
    struct Surroundings
    {
        SystemCalls& system; ///< what the engine's files go through
        Console& console;
        OutputStream* output; ///< for the listing; null for none
        JsonLines* json;      ///< instead of the listing, if there is one
        std::uint64_t keptBytes;
    };

    /// @param title  how the document is called on the progress line
    DocumentRepair(const Surroundings& surroundings, std::string document, std::string title,
                   Destination destination);

    /// Repairs, and says on the console why where it cannot.
    /// @param force  replace the destination if it is a folder that may be replaced
    /// @param documents  all that the user named: no folder that holds one of them is replaced
    ExitStatus run(bool force, const std::vector<std::string>& documents);

private:
    ExitStatus runIn(WorkFolder& work, std::int64_t documentBytes);
    ExitStatus conclude(WorkFolder& work, const ProgressMeter& meter, const RunListener& listener);
    ExitStatus publish(WorkFolder& work, UserInfo completion);
    /// Warns of each listed file that could not be made. @return how many there are
    std::size_t warnOfMissing(const std::vector<FileRecord>& files);
    void report(const UserInfo& completion, std::size_t fileCount);
    void warnIfSizeChanged(std::int64_t before);
    [[nodiscard]] std::string noRoomMessage(int writeError) const;
    ExitStatus refuse(const std::string& complaint);
    ExitStatus cannotWrite(const std::string& message);

    Surroundings m_surroundings;
    std::string m_document;
    std::string m_title;
    Destination m_destination;
    std::optional<EntryIdentity> m_replaced;
};

} // namespace talvek
