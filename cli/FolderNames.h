#pragma once

#include <set>
#include <string>

namespace talvek {

/// Names for the folders of several documents: each differs from all before it, case ignored, since
/// not every volume tells "a" from "A".
class FolderNames
{
public:
    /// `name` itself, or `name` with " (2)", " (3)" and so on behind it.
    std::string unusedFor(const std::string& name);

private:
    std::set<std::string> m_used;
};

} // namespace talvek
