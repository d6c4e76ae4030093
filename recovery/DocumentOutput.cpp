#include "recovery/DocumentOutput.h"

#include <algorithm>
#include <array>

namespace talvek::recovery {

void DocumentOutput::number(std::uint64_t value, int count)
{
    std::array<std::uint8_t, 8> digits = {};
    for (int i = 0; i < count; ++i) {
        digits[static_cast<std::size_t>(i)] =
            static_cast<std::uint8_t>(value >> static_cast<unsigned>(8 * (count - 1 - i)));
    }
    bytes(std::span(digits).first(static_cast<std::size_t>(count)));
}

void DocumentOutput::bytes(std::span<const std::uint8_t> bytes)
{
    m_handle.append(bytes);
    m_written += static_cast<std::int64_t>(bytes.size());
}

void DocumentOutput::text(const std::string& text)
{
    for (const char letter : text) {
        u8(static_cast<std::uint8_t>(letter));
    }
}

void DocumentOutput::fill(std::int64_t count, std::uint8_t value)
{
    std::array<std::uint8_t, 4096> block;
    block.fill(value);
    for (; count > 0; count -= static_cast<std::int64_t>(block.size())) {
        bytes(std::span(block).first(static_cast<std::size_t>(
            std::min<std::int64_t>(count, static_cast<std::int64_t>(block.size())))));
    }
}

void DocumentOutput::copy(const ByteRange& range)
{
    SourceBytes& source = m_sources.at(range.source);
    std::int64_t at = range.offset;
    while (at < range.end()) {
        const auto wanted =
            std::min<std::int64_t>(range.end() - at, std::int64_t{SourceBytes::kMostView});
        const auto view = source.at(at, static_cast<std::size_t>(wanted));
        if (view.empty()) {
            break;
        }
        bytes(view);
        at += static_cast<std::int64_t>(view.size());
    }
    fill(range.end() - at);
}

} // namespace talvek::recovery
