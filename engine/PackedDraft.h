#pragma once

#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvek {

/// A packed document that is about to be decoded and deleted, and so is never written: it is read
/// from where its pieces stand.
///
/// A piece is either bytes of the draft's own or a range of the damaged document, which is borrowed
/// and cut at the document's end as one read would be. One thread at a time.
class PackedDraft final : public ByteSource
{
public:
    struct Piece
    {
        std::int64_t start = 0;  ///< in the draft
        std::int64_t length = 0; ///< in bytes
        std::int64_t offset = 0; ///< in the damaged document, or in the draft's own bytes
        bool isOwn = false;
    };

    explicit PackedDraft(ReadingFileHandle& document) : m_document(document) {}

    void appendOwn(std::span<const std::uint8_t> bytes);
    /// @param length  a negative one takes all to the document's end
    void appendRange(std::int64_t offset, std::int64_t length);

    [[nodiscard]] std::int64_t size() const override { return m_size; }
    std::size_t read(std::int64_t offset, std::span<std::uint8_t> into) override;
    std::span<const std::uint8_t> inPlace(std::int64_t offset, std::size_t count) override;

    /// A byte of the damaged document could not be read: what was read from the draft is not what
    /// the written document would have held.
    [[nodiscard]] bool hasFailed() const { return m_failed; }
    [[nodiscard]] const std::vector<Piece>& pieces() const { return m_pieces; }
    /// Requires: piece.isOwn.
    [[nodiscard]] std::span<const std::uint8_t> ownBytes(const Piece& piece) const;

private:
    [[nodiscard]] std::vector<Piece>::const_iterator pieceAt(std::int64_t offset) const;
    std::size_t readPiece(const Piece& piece, std::int64_t from, std::span<std::uint8_t> into);
    void append(Piece piece);

    ReadingFileHandle& m_document;
    std::vector<Piece> m_pieces;
    std::vector<std::uint8_t> m_own;
    std::int64_t m_size = 0;
    bool m_failed = false;
};

} // namespace talvek
