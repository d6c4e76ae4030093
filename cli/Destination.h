#pragma once

#include "platform/FileHandle.h"

#include <optional>
#include <string>
#include <vector>

namespace talvek {

/// Identity of a file-system entry, whatever it is called.
struct EntryIdentity
{
    unsigned long long device = 0;
    unsigned long long number = 0;

    bool operator==(const EntryIdentity&) const = default;
};

/// The folder that a repair is to create, or to replace.
class Destination
{
public:
    /// @param path  as the user gave it; slashes at its end are dropped
    explicit Destination(std::string path);

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const std::string& name() const { return m_name; }
    /// The folder that holds it; "." for a name alone.
    [[nodiscard]] const std::string& parent() const { return m_parent; }
    /// The path of an entry beside the destination.
    [[nodiscard]] std::string sibling(const std::string& name) const;

    /// Something stands at the path, a link that leads nowhere included.
    [[nodiscard]] bool exists() const;
    /// The folder that stands at the path itself; nothing for a link or anything else.
    [[nodiscard]] std::optional<EntryIdentity> folderThere() const;

    /// Keeps the folder that stands at the path open. While it is, its identity stays the same,
    /// also on volumes that number their entries afresh when they have forgotten them.
    [[nodiscard]] Descriptor hold() const;

    /// Why nothing can be created at the path, with what to do, as a whole message; empty if it
    /// can be. Whether the place is writable shows only when something is written.
    /// @param force  a folder that exists may be replaced
    /// @param documents  what the user wants repaired: no folder that holds one is replaced
    [[nodiscard]] std::string complaint(bool force,
                                        const std::vector<std::string>& documents) const;

    /// A message that the destination cannot be created, for the reason given.
    [[nodiscard]] std::string cannotCreate(const std::string& reason) const;

private:
    [[nodiscard]] std::string complaintAboutParent() const;
    [[nodiscard]] std::string
    complaintAboutReplacing(const std::vector<std::string>& documents) const;
    [[nodiscard]] std::string
    complaintAboutWhatItHolds(const std::string& there,
                              const std::vector<std::string>& documents) const;

    std::string m_path;
    std::string m_name;
    std::string m_parent;
};

} // namespace talvek
