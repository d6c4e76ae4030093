#pragma once

#include "cli/ExitStatus.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvek {

/// What the command line asks for.
struct Options
{
    std::vector<std::string> documents;
    std::string output = "Repaired PSD Files"; ///< the folder to create
    bool force = false;
    bool json = false;
    bool check = false;
    bool deep = false;
    std::string reference; ///< another copy of the document; empty: none
    bool quiet = false;
    bool verbose = false;
    std::optional<std::uint64_t> keepFreeBytes; ///< absent: to be settled by what is free
};

/// Options to go on with, or what to print before ending.
struct ParsedOptions
{
    std::optional<Options> options;
    ExitStatus status = ExitStatus::salvaged;
    std::string standardOutput; ///< help or version
    std::string standardError;  ///< what is wrong with the command line
};

/// Takes the arguments apart, the program's name first.
ParsedOptions parseOptions(int argumentCount, const char* const* arguments);

/// A number of bytes, or of K, M or G of 1024, 1024^2, 1024^3 bytes. Nothing for any other text,
/// and for a size that 64 bits do not hold.
std::optional<std::uint64_t> sizeFromText(std::string_view text);

} // namespace talvek
