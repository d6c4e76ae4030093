#include "engine/SignatureMemo.h"

#include <algorithm>

namespace talvek {

std::int64_t SignatureMemo::firstFrom(std::int64_t offset) const
{
    const auto found = std::lower_bound(m_offsets.begin(), m_offsets.end(), offset);
    return found == m_offsets.end() ? 0 : *found;
}

bool SignatureMemo::beginsOrContinuesAt(std::int64_t offset)
{
    if (m_end == m_start) {
        m_start = offset;
        m_end = offset;
    }
    return !m_full && offset >= m_start && offset <= m_end;
}

void SignatureMemo::add(std::int64_t offset)
{
    if (offset < m_end || m_full) {
        return;
    }
    if (m_offsets.size() == kMostOffsets) {
        m_full = true;
        return;
    }
    m_offsets.push_back(offset);
    m_end = offset + 1;
}

void SignatureMemo::extendTo(std::int64_t end)
{
    if (!m_full) {
        m_end = std::max(m_end, end);
    }
}

} // namespace talvek
