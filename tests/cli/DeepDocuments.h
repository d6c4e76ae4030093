#pragma once

#include "tests/cli/Scratch.h"
#include "tests/support/Document.h"
#include "tests/support/PsdBuilder.h"

#include <string>
#include <vector>

/// Layered documents for the deep recovery, and what it says of them.
namespace talvek::test {

/// Three layers, "sky", "sea" and "sand", each with pixels of its own, 120 columns by 90 rows.
PsdBuilder layeredBuilder();
Document layeredDocument();
/// A document of version 2 with one layer, "sky".
Bytes largeDocument();

/// Writes the document into the folder. @return its path
std::string write(const Scratch& scratch, const std::string& name, const Document& document);

/// The states of the layers in a report.json, by name: "sky:whole sea:lost ".
std::string statesIn(const std::string& reportPath);

/// The last of the JSON lines; empty if it is no completion.
std::string completionIn(const std::string& output);

} // namespace talvek::test
