#pragma once

#include "cli/Console.h"
#include "cli/Destination.h"
#include "cli/DocumentCheck.h"
#include "cli/ExitStatus.h"
#include "cli/JsonLines.h"
#include "cli/OutputStream.h"
#include "cli/WorkFolder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvek {

/// The way of one document into one folder, whatever is done with it on the way: the look at both,
/// the work in a folder beside the destination, and the last step, which makes it the destination.
class DocumentRun
{
public:
    struct Surroundings
    {
        SystemCalls& system; ///< what the run's files go through
        Console& console;
        OutputStream* output; ///< for the listing; null for none
        JsonLines* json;      ///< instead of the listing, if there is one
        std::uint64_t keptBytes;
    };

    virtual ~DocumentRun() = default;
    DocumentRun(const DocumentRun&) = delete;
    DocumentRun& operator=(const DocumentRun&) = delete;

    /// Does it all, and says on the console why where it cannot.
    /// @param force  replace the destination if it is a folder that may be replaced
    /// @param precious  files of the user's: no folder that holds one of them is replaced
    ExitStatus run(bool force, const std::vector<std::string>& precious);

protected:
    /// How messages call what the run does.
    struct Words
    {
        const char* verb;   ///< "repair"
        const char* result; ///< "salvaged"
    };

    /// @param title  how the document is called on the progress line
    DocumentRun(const Surroundings& surroundings, const Words& words, std::string document,
                std::string title, Destination destination);

    /// Looks at the document, and at whatever else is needed, before anything is written.
    /// @param sizeBytes  receives the document's size
    /// @return `salvaged` to go on; anything else ends the run, and why has been said
    virtual ExitStatus check(std::int64_t& sizeBytes) = 0;
    /// Fills the work folder's files, and publishes them if they are worth it.
    virtual ExitStatus runIn(WorkFolder& work, std::int64_t documentBytes) = 0;

    /// Makes the work folder's files the destination. What keeps it from that has been said.
    ExitStatus publish(WorkFolder& work);
    /// Warns if the file is not of the size any more that it had before.
    void warnIfSizeChanged(const std::string& path, std::int64_t before) const;

    [[nodiscard]] ExitStatus refuse(const std::string& complaint) const;
    [[nodiscard]] ExitStatus cannotWrite(const std::string& message) const;
    /// @param writeError  `errno` of the first write that failed; 0 counts as no room
    [[nodiscard]] ExitStatus cannotWriteAll(int writeError) const;
    [[nodiscard]] ExitStatus interrupted() const;

    [[nodiscard]] const Surroundings& surroundings() const { return m_surroundings; }
    [[nodiscard]] const std::string& document() const { return m_document; }
    [[nodiscard]] const std::string& title() const { return m_title; }
    [[nodiscard]] const Destination& destination() const { return m_destination; }

private:
    [[nodiscard]] std::string adviceFor(int writeError) const;

    Surroundings m_surroundings;
    Words m_words;
    std::string m_document;
    std::string m_title;
    Destination m_destination;
    std::optional<EntryIdentity> m_replaced;
};

} // namespace talvek
