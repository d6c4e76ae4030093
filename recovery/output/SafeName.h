#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace talvek::recovery::output {

/// A file name made of a name that stands in a damaged document, which may hold anything.
///
/// Separators, control and direction characters and what other systems forbid become "_"; a name
/// that would be hidden, taken for an option, or reserved somewhere, gets "_" in front; blanks at
/// both ends and points at the end go; UTF-8 stays. An extension of up to 15 bytes survives when
/// the rest is cut to size.
/// @param fallback   the name where nothing is left; taken as it is
/// @param mostBytes  length of the longest result; from 32 on
std::string safeFileName(std::string_view name, std::string_view fallback,
                         std::size_t mostBytes = 120);

/// The name with `addition` before its extension: "a.psd" and "_" give "a_.psd".
std::string withBeforeExtension(std::string_view name, std::string_view addition);

/// Names that were given out in one folder. Names that differ in the case of Latin letters alone
/// count as the same, as they do on some volumes.
class UniqueNames
{
public:
    /// The name, or the name with " (2)", " (3)" and so on before its extension.
    std::string take(const std::string& name);

private:
    std::set<std::string> m_taken;
};

} // namespace talvek::recovery::output
