#pragma once

#include "recovery/PlaneReader.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"
#include "tests/support/Document.h"
#include "tests/support/PsdBuilder.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::test {

/// Bytes as a file, and as the recovery sees them.
class Source
{
public:
    explicit Source(const Bytes& bytes);

    [[nodiscard]] recovery::SourceBytes& bytes() { return m_source; }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const TemporaryFolder& folder() const { return m_folder; }

private:
    TemporaryFolder m_folder;
    std::string m_path;
    ReadingFileHandle m_handle;
    recovery::SourceBytes m_source;
};

/// What the recovery finds of a document.
class Found
{
public:
    explicit Found(const Document& document) : Found(document.bytes) {}
    explicit Found(const Bytes& bytes);

    [[nodiscard]] const recovery::RecoveredDocument& document() const { return m_document; }
    [[nodiscard]] const recovery::Layer& layer(std::size_t index) const;
    [[nodiscard]] const recovery::Plane& plane(std::size_t layer, std::size_t channel) const;
    /// All rows of a plane, one after the other; lost ones as zeros.
    [[nodiscard]] Bytes pixels(const recovery::Plane& plane) const;
    [[nodiscard]] Bytes pixels(std::size_t layer, std::size_t channel) const
    {
        return pixels(plane(layer, channel));
    }
    [[nodiscard]] std::string names() const;

private:
    Source m_source;
    recovery::RecoveredDocument m_document;
};

/// A document of three layers, each with pixels of its own, large enough to prove themselves.
PsdBuilder threeLayers();

/// The pixels of every plane of every layer are those of the undamaged document.
void expectSamePixels(const Found& damaged, const Found& undamaged);

} // namespace talvek::test
