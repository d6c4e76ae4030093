#pragma once

#include "cli/Destination.h"
#include "platform/FileHandle.h"
#include "platform/FileManager.h"
#include "platform/SystemCalls.h"

#include <optional>
#include <string>

namespace talvek {

/// The folder beside the destination in which a repair does its work, so that the destination
/// itself is whole from the moment it exists, and a killed run leaves nothing half filled.
///
/// For the destination NAME it is called ".NAME.talvek-XXXXXX", is the user's alone, and holds
/// - "lock", locked with flock for as long as the run lives;
/// - "files", which the engine fills and which becomes the destination;
/// - "replaced", for a moment, where a volume cannot exchange two names: the folder that stood at
///   the destination.
/// It goes with the object.
class WorkFolder
{
public:
    enum class Outcome
    {
        published,
        nameTaken, ///< something stands at the destination that did not when the run began
        failed     ///< `errno` says why
    };

    /// Makes the folder and takes its lock.
    /// @param system  renames by it; like the destination, outlives the object
    explicit WorkFolder(const Destination& destination, SystemCalls& system = SystemCalls::real());
    ~WorkFolder() { discard(); }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    [[nodiscard]] bool isMade() const { return !m_path.empty(); }
    /// `errno` of what kept the folder from being made.
    [[nodiscard]] int error() const { return m_error; }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string filesPath() const;

    /// Makes the destination of "files". Nothing is ever overwritten.
    /// @param replaced  the folder that stands at the destination and is to make way; it ends up in
    ///                  the work folder
    Outcome publish(const std::optional<EntryIdentity>& replaced);

    /// Deletes the folder with all that is left in it. @return false if something stays behind
    bool discard();

    /// Deletes what killed runs have left beside the destination: folders of the work folder's name
    /// whose lock nobody holds. A folder that such a run had moved aside, and for which there is no
    /// other yet, is put back first.
    static void clearStale(const Destination& destination);

private:
    Outcome publishAsNew();
    Outcome exchangeWith(const EntryIdentity& replaced);
    Outcome moveAsideAndPublish(const EntryIdentity& replaced);

    const Destination& m_destination;
    FileManager m_files;
    std::string m_path;
    int m_error = 0;
    Descriptor m_lock;
};

} // namespace talvek
