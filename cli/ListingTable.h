#pragma once

#include "platform/NotificationCenter.h"

#include <string>
#include <vector>

namespace talvek {

/// The salvaged files as a table with the columns number, name, size and path, a line each, made
/// safe for a terminal. Empty for an empty listing.
std::string listingTable(const std::vector<FileRecord>& files);

} // namespace talvek
