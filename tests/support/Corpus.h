#pragma once

#include <string>
#include <vector>

namespace talvek::test {

/// The folder of real documents: TALVEK_CORPUS in the environment or, failing that, `fallback`.
/// Real documents are read where they are and never become part of the project.
std::string corpusFolder(const std::string& fallback);

/// Paths of the documents in it, sorted by name; none if there is no such folder.
std::vector<std::string> corpusDocuments(const std::string& fallback);

} // namespace talvek::test

/// Skips the test that it stands in, and says so, if there are no real documents.
#define TALVEK_SKIP_WITHOUT(documents)                                                             \
    if ((documents).empty()) {                                                                     \
        GTEST_SKIP() << "no real documents in "                                                    \
                     << ::talvek::test::corpusFolder(TALVEK_CORPUS_DEFAULT)                        \
                     << "; name their folder in TALVEK_CORPUS";                                    \
    }
