#pragma once

#include "cli/DocumentRun.h"

#include <memory>
#include <string>

namespace talvek {

/// False in a program that was built where the recovery's libraries were missing.
bool hasDeepRecovery();

/// The deep recovery of one document into one folder, from the look at the file to the verdict.
/// @param reference  path of another copy of the document; empty for none
/// @param title  how the document is called on the progress line
/// Requires: hasDeepRecovery().
std::unique_ptr<DocumentRun> documentRecovery(const DocumentRun::Surroundings& surroundings,
                                              const std::string& document,
                                              const std::string& reference,
                                              const std::string& title,
                                              const Destination& destination);

} // namespace talvek
