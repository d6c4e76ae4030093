#include "recovery/SourceBytes.h"

#include <algorithm>
#include <cassert>

namespace talvek::recovery {

std::uint64_t bigEndian(std::span<const std::uint8_t> bytes, std::size_t count)
{
    assert(count <= bytes.size() && count <= 8);
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8U | bytes[i];
    }
    return value;
}

SourceBytes::SourceBytes(ReadingFileHandle& handle)
    : m_handle(handle), m_size(handle.size()), m_blocks(kBlocks)
{}

SourceBytes::SourceBytes(const SourceBytes& whole, std::int64_t start, std::int64_t length)
    : m_handle(whole.m_handle),
      m_start(whole.m_start + std::clamp<std::int64_t>(start, 0, whole.m_size)),
      m_size(std::clamp<std::int64_t>(length, 0, whole.m_start + whole.m_size - m_start)),
      m_blocks(kBlocks)
{}

std::span<const std::uint8_t> SourceBytes::at(std::int64_t offset, std::size_t count)
{
    assert(count <= kMostView);
    if (offset < 0 || offset >= m_size) {
        return {};
    }
    const Block& block = blockOf(offset / kStep);
    const auto inside = static_cast<std::size_t>(offset % kStep);
    if (inside >= block.held) {
        return {};
    }
    return std::span(block.bytes).subspan(inside, std::min(count, block.held - inside));
}

std::uint64_t SourceBytes::number(std::int64_t offset, std::size_t count)
{
    const auto bytes = at(offset, count);
    return bytes.size() < count ? 0 : bigEndian(bytes, count);
}

SourceBytes::Block& SourceBytes::blockOf(std::int64_t index)
{
    if (m_blocks[m_last].index == index) {
        return m_blocks[m_last];
    }
    std::size_t chosen = 0;
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        if (m_blocks[i].index == index) {
            chosen = i;
            break;
        }
        if (m_blocks[i].used < m_blocks[chosen].used) {
            chosen = i;
        }
    }
    Block& block = m_blocks[chosen];
    if (block.index != index) {
        const std::int64_t start = index * kStep;
        const auto wanted = static_cast<std::size_t>(
            std::min<std::int64_t>(m_size - start, static_cast<std::int64_t>(kBlockBytes)));
        if (block.bytes.size() < wanted) {
            block.bytes.resize(wanted);
        }
        block.held = m_handle.read(m_start + start, std::span(block.bytes).first(wanted));
        block.index = index;
    }
    block.used = ++m_clock;
    m_last = chosen;
    return block;
}

} // namespace talvek::recovery
