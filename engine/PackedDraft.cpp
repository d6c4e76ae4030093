#include "engine/PackedDraft.h"

#include <algorithm>
#include <iterator>

namespace talvek {

void PackedDraft::appendOwn(std::span<const std::uint8_t> bytes)
{
    append({.length = static_cast<std::int64_t>(bytes.size()),
            .offset = static_cast<std::int64_t>(m_own.size()),
            .isOwn = true});
    m_own.insert(m_own.end(), bytes.begin(), bytes.end());
}

void PackedDraft::appendRange(std::int64_t offset, std::int64_t length)
{
    append({.length = readableBytes(m_document, offset, length), .offset = offset});
}

void PackedDraft::append(Piece piece)
{
    if (piece.length > 0) {
        piece.start = m_size;
        m_size += piece.length;
        m_pieces.push_back(piece);
    }
}

std::span<const std::uint8_t> PackedDraft::ownBytes(const Piece& piece) const
{
    return std::span(m_own).subspan(static_cast<std::size_t>(piece.offset),
                                    static_cast<std::size_t>(piece.length));
}

std::size_t PackedDraft::read(std::int64_t offset, std::span<std::uint8_t> into)
{
    if (offset < 0) {
        return 0;
    }
    std::size_t done = 0;
    for (auto piece = pieceAt(offset); piece != m_pieces.end() && done < into.size(); ++piece) {
        const std::int64_t from = offset + static_cast<std::int64_t>(done) - piece->start;
        if (from < 0) {
            // The piece before was read short, and there the whole read ends.
            break;
        }
        done += readPiece(*piece, from, into.subspan(done));
    }
    return done;
}

std::span<const std::uint8_t> PackedDraft::inPlace(std::int64_t offset, std::size_t count)
{
    const auto piece = pieceAt(offset);
    if (piece == m_pieces.end() || piece->isOwn || offset < piece->start ||
        piece->length - (offset - piece->start) < static_cast<std::int64_t>(count)) {
        return {};
    }
    return m_document.inPlace(piece->offset + (offset - piece->start), count);
}

/// The piece that holds `offset`, or the last one before it, or the first of all.
std::vector<PackedDraft::Piece>::const_iterator PackedDraft::pieceAt(std::int64_t offset) const
{
    const auto startsBehind = [](std::int64_t place, const Piece& piece) {
        return place < piece.start;
    };
    const auto next = std::upper_bound(m_pieces.begin(), m_pieces.end(), offset, startsBehind);
    return next == m_pieces.begin() ? next : std::prev(next);
}

/// Reads from the byte `from` of a piece to the piece's end, as far as there is room.
std::size_t PackedDraft::readPiece(const Piece& piece, std::int64_t from,
                                   std::span<std::uint8_t> into)
{
    if (from >= piece.length) {
        return 0;
    }
    const auto count = static_cast<std::size_t>(
        std::min<std::int64_t>(piece.length - from, static_cast<std::int64_t>(into.size())));
    if (piece.isOwn) {
        const auto bytes = ownBytes(piece).subspan(static_cast<std::size_t>(from), count);
        std::copy(bytes.begin(), bytes.end(), into.begin());
        return count;
    }
    const std::size_t read = m_document.read(piece.offset + from, into.first(count));
    m_failed = m_failed || read < count;
    return read;
}

} // namespace talvek
