#pragma once

#include "tests/engine/EngineRun.h"
#include "tests/support/TemporaryFolder.h"

#include <string>
#include <utility>

namespace talvek::test {

/// A document on disk, and both engines at it.
class Bench
{
public:
    explicit Bench(Bytes document = {}) { replaceDocument(std::move(document)); }

    void replaceDocument(Bytes document)
    {
        m_document = std::move(document);
        m_path = m_temporary.write("a.psd", m_document);
    }

    /// What the plain engine makes of it.
    [[nodiscard]] model::Outcome plain(const model::Settings& settings = {}) const
    {
        return model::repair(m_document, m_path, m_folder, settings);
    }

    /// In what the two engines differ, in words; empty if in nothing.
    [[nodiscard]] std::string difference(const model::Settings& settings = {}) const
    {
        const model::Outcome engine = runEngine(m_path, m_folder, settings);
        return test::difference(engine, plain(settings));
    }

private:
    TemporaryFolder m_temporary;
    std::string m_folder = m_temporary.pathOf("out");
    Bytes m_document;
    std::string m_path;
};

} // namespace talvek::test
