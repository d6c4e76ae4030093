#pragma once

#include "tests/model/PlainRepair.h"

#include <string>

namespace talvek::test {

/// Runs the engine on the document at `path` into `folder`, and returns what it left and posted.
///
/// Fails the test that calls it if a notification has any other shape than the three that there
/// are, or if anything but the document and the output folder's files is opened, made or renamed.
model::Outcome runEngine(const std::string& path, const std::string& folder,
                         const model::Settings& settings = {});

/// What differs first, in words; empty if nothing does.
std::string difference(const model::Outcome& engine, const model::Outcome& plain);

} // namespace talvek::test
