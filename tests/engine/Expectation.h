#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/Document.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace talvek::test {

/// What a run over an undamaged document must leave and post, worked out from the places that the
/// document's builder tells, by the rules, step by step.
///
/// Holds for documents whose scans find the records that were built and nothing else, and whose
/// channel data follow the last record; `GoldenTest` says where that is otherwise.
class Expectation
{
public:
    /// @param layerStart  where the run takes the layers' channel data to begin
    Expectation(const Document& document, std::int64_t layerStart);

    std::map<std::string, Bytes> files;
    std::vector<std::string> listed; ///< names, in the order of the listing
    std::vector<double> progress;

    [[nodiscard]] std::uint64_t listedBytes() const;

private:
    void post(std::int64_t offset);
    void list(const std::string& name);
    [[nodiscard]] Bytes at(std::int64_t from, std::int64_t to) const;
    [[nodiscard]] std::int64_t number(std::int64_t offset, int bytes) const;
    [[nodiscard]] Bytes head(const Bytes& header) const;

    [[nodiscard]] const Document::Block* thumbnail() const;
    void expectThumbnail();
    void expectLayers();
    void expectLayer(const Document::Record& record);
    [[nodiscard]] bool isTaken(const Document::Record& record) const;
    void expectDocument(const std::string& name, const Bytes& head, const Bytes& channels,
                        bool isMoved);
    bool expectChannel(const Document::Record& record, const Document::Channel& channel,
                       Bytes& target);
    void expectComposite();
    [[nodiscard]] std::int64_t compositeOffset() const;

    const Document& m_document;
    std::int64_t m_layerStart;
    int m_layers = 0;
    std::vector<std::string> m_others; ///< listed behind the rebuilt document
    std::vector<std::string> m_main;
};

} // namespace talvek::test
