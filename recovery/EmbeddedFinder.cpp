#include "recovery/EmbeddedFinder.h"

#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"

#include <algorithm>
#include <array>

namespace talvek::recovery {

namespace {

constexpr std::size_t kMostRanges = 4096;
constexpr std::int64_t kMostNameLetters = 1024;
constexpr std::int64_t kMostDescription = 1 << 20;

bool isLinkKey(std::uint32_t blockKey)
{
    return blockKey == key("lnk2") || blockKey == key("lnk3") || blockKey == key("lnkD");
}

bool isEntry(SourceBytes& source, std::int64_t offset)
{
    return source.u32(offset + 8) == key("liFD");
}

/// The file's stated length can be a lie; the next entry shows where it ends at the latest.
void endBefore(EmbeddedFile& file, std::int64_t next)
{
    if (file.data.end() > next) {
        file.data.length = std::max<std::int64_t>(0, next - file.data.offset);
        file.state = file.data.length > 0 ? State::Partial : State::Lost;
    }
}

/// The block at `offset` holds entries. Its length takes four bytes, or eight in a large document.
std::optional<ByteRange> rangeAt(SourceBytes& source, std::int64_t offset)
{
    for (const bool wide : {false, true}) {
        const std::int64_t start = offset + (wide ? 16 : 12);
        const std::uint64_t length = wide ? source.u64(offset + 8) : source.u32(offset + 8);
        if (isEntry(source, start)) {
            const auto left = static_cast<std::uint64_t>(source.size() - start);
            return ByteRange{start, static_cast<std::int64_t>(std::min(length, left)), 0};
        }
    }
    return std::nullopt;
}

/// How files begin that designers place as smart objects.
bool isFileStart(SourceBytes& source, std::int64_t offset)
{
    constexpr std::array kStarts = {key("8BPS"),
                                    std::uint32_t{0x89504E47},
                                    key("%PDF"),
                                    key("%!PS"),
                                    key("GIF8"),
                                    std::uint32_t{0x49492A00},
                                    std::uint32_t{0x4D4D002A}};
    const std::uint32_t start = source.u32(offset);
    return start >> 8U == 0xFFD8FFU ||
           std::find(kStarts.begin(), kStarts.end(), start) != kStarts.end();
}

class Entry
{
public:
    Entry(SourceBytes& source, std::int64_t offset, std::int64_t limit)
        : m_source(source), m_start(offset), m_limit(limit)
    {}

    std::optional<EmbeddedFile> read()
    {
        std::int64_t at = m_start + 16;
        EmbeddedFile file;
        file.uniqueId = pascalText(at);
        const std::int64_t letters = m_source.u32(at);
        if (letters > kMostNameLetters) {
            return std::nullopt;
        }
        file.name = utf8OfUtf16(m_source.at(at + 4, static_cast<std::size_t>(2 * letters)));
        at += 4 + 2 * letters;
        file.type = letters4(at);
        const std::uint64_t length = m_source.u64(at + 8);
        const bool described = m_source.u8(at + 16) != 0;
        if (length > static_cast<std::uint64_t>(m_limit)) {
            return std::nullopt;
        }
        const auto bytes = static_cast<std::int64_t>(length);
        const std::int64_t start = described ? behindDescription(at + 17, bytes) : at + 17;
        file.data = {start, std::clamp<std::int64_t>(m_limit - start, 0, bytes), 0};
        file.state = file.data.length == bytes ? State::Unproved
                     : file.data.length > 0    ? State::Partial
                                               : State::Lost;
        return file;
    }

    /// Behind the entry, by its own length.
    [[nodiscard]] std::int64_t end()
    {
        const std::uint64_t length = m_source.u64(m_start);
        const auto left = static_cast<std::uint64_t>(std::max<std::int64_t>(0, m_limit - m_start));
        return m_start + 8 + static_cast<std::int64_t>(std::min(length, left));
    }

private:
    std::string pascalText(std::int64_t& at)
    {
        const std::int64_t length = m_source.u8(at);
        const auto view = m_source.at(at + 1, static_cast<std::size_t>(length));
        std::string text(view.begin(), view.end());
        at += 1 + length;
        return text;
    }

    std::string letters4(std::int64_t at)
    {
        const auto view = m_source.at(at, 4);
        return {view.begin(), view.end()};
    }

    /// The description has no length of its own. The data ends with the entry, but for a few
    /// fields of later versions, and begins as files do.
    std::int64_t behindDescription(std::int64_t from, std::int64_t bytes)
    {
        const std::int64_t last = std::max(from, end() - bytes);
        const std::int64_t first = std::max(from, last - kMostDescription);
        std::int64_t found = last;
        for (std::int64_t at = last; at >= first && at > last - 256; --at) {
            if (isFileStart(m_source, at)) {
                found = at;
                break;
            }
        }
        return found;
    }

    SourceBytes& m_source;
    std::int64_t m_start;
    std::int64_t m_limit;
};

} // namespace

std::vector<ByteRange> embeddedRanges(SourceBytes& source, const SignatureIndex& index)
{
    std::vector<ByteRange> ranges;
    for (const std::int64_t offset : index.blocks()) {
        const bool inside = !ranges.empty() && offset < ranges.back().end();
        if (!isLinkKey(source.u32(offset + 4)) || inside || ranges.size() >= kMostRanges) {
            continue;
        }
        if (const auto range = rangeAt(source, offset)) {
            ranges.push_back(*range);
        }
    }
    return ranges;
}

std::vector<EmbeddedFile> findEmbedded(SourceBytes& source, const std::vector<ByteRange>& ranges)
{
    std::vector<EmbeddedFile> files;
    for (const ByteRange& range : ranges) {
        std::int64_t at = range.offset;
        while (at < range.end() && isEntry(source, at) && files.size() < kMostEmbeddedFiles) {
            Entry entry(source, at, range.end());
            // Entries are padded to four bytes.
            std::int64_t next = entry.end();
            while (next < range.end() && next < entry.end() + 4 && !isEntry(source, next)) {
                ++next;
            }
            if (auto file = entry.read()) {
                if (next < range.end() && isEntry(source, next)) {
                    endBefore(*file, next);
                }
                files.push_back(std::move(*file));
            }
            at = std::max(next, at + 16);
        }
    }
    return files;
}

} // namespace talvek::recovery
