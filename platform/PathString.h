#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Paths as strings of bytes, taken apart the way the system's file names are formed.
namespace talvek {

/// The part behind the last slash, trailing slashes ignored; "/" for the root folder.
std::string lastPathComponent(std::string_view path);

/// The path less its last component and the slash before it: "/" for a path in the root folder,
/// empty for a name alone.
std::string deletingLastPathComponent(std::string_view path);

/// The path less the last point and what follows it, if the last component has one behind its
/// first character: "a.psd_repaired.psd" gives "a.psd_repaired", ".hidden" stays.
std::string deletingPathExtension(std::string_view path);

/// `folder` and `name` with exactly one slash between them.
std::string appendingPathComponent(std::string_view folder, std::string_view name);

/// At most so many bytes from the beginning of a name. It is not cut within a character of UTF-8;
/// bytes that are none are cut wherever it has to be.
std::string cutToBytes(std::string_view name, std::size_t mostBytes);

} // namespace talvek
