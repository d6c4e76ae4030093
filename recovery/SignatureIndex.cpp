#include "recovery/SignatureIndex.h"

#include <algorithm>
#include <cstring>

namespace talvek::recovery {

namespace {

constexpr std::size_t kSignatureBytes = 4;

bool isBlock(const std::uint8_t* at)
{
    return std::memcmp(at, "8BIM", kSignatureBytes) == 0 ||
           std::memcmp(at, "8B64", kSignatureBytes) == 0;
}

void keep(std::vector<std::int64_t>& list, std::int64_t offset)
{
    if (list.size() < SignatureIndex::kMost) {
        list.push_back(offset);
    }
}

bool isFilledWith(std::span<const std::uint8_t> view, std::uint8_t value)
{
    return view.empty() ||
           (view[0] == value && std::memcmp(view.data(), view.data() + 1, view.size() - 1) == 0);
}

} // namespace

void SignatureIndex::build(SourceBytes& source, const RunControl& control, const Progress& progress)
{
    constexpr auto kStep = static_cast<std::int64_t>(SourceBytes::kMostView - kSignatureBytes + 1);
    for (std::int64_t offset = 0; offset < source.size();) {
        if (control.isStoppedAfterPause()) {
            return;
        }
        const auto view = source.at(offset, SourceBytes::kMostView);
        const bool isEmpty = isFilledWith(view, 0);
        if (!isEmpty) {
            scan(view, offset);
        }
        m_isOneValue = m_isOneValue && (!isEmpty || m_value <= 0);
        m_value = isEmpty && m_value < 0 ? 0 : m_value;
        offset += kStep;
        if (isEmpty) {
            // Holes of a sparse file are zeros: nothing begins in them.
            offset = std::max(offset,
                              source.nextData(offset) - static_cast<std::int64_t>(kSignatureBytes));
        }
        progress(std::min(offset, source.size()));
    }
}

std::int64_t SignatureIndex::firstAtOrBehind(std::int64_t offset) const
{
    const auto found = std::lower_bound(m_blocks.begin(), m_blocks.end(), offset);
    return found == m_blocks.end() ? -1 : *found;
}

void SignatureIndex::scan(std::span<const std::uint8_t> view, std::int64_t offset)
{
    if (m_value < 0 && !view.empty()) {
        m_value = view[0];
    }
    m_isOneValue =
        m_isOneValue && m_value >= 0 && isFilledWith(view, static_cast<std::uint8_t>(m_value));
    if (view.size() < kSignatureBytes) {
        return;
    }
    const std::uint8_t* const begin = view.data();
    const std::uint8_t* const end = begin + view.size() - kSignatureBytes + 1;
    const std::uint8_t* at = begin;
    // The second letter is the rarest to meet by chance in the text that documents carry.
    while (at < end) {
        const void* found = std::memchr(at + 1, 'B', static_cast<std::size_t>(end - at));
        if (found == nullptr) {
            return;
        }
        at = static_cast<const std::uint8_t*>(found);
        const std::uint8_t* const start = at - 1;
        if (isBlock(start)) {
            keep(m_blocks, offset + (start - begin));
        } else if (std::memcmp(start, "8BPS", kSignatureBytes) == 0) {
            keep(m_headers, offset + (start - begin));
        }
    }
}

} // namespace talvek::recovery
