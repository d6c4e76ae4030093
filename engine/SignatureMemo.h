#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talvek {

/// Where a document has signatures, as far as it has been read from end to end.
///
/// The first scan over a document finds all of its signatures on the way to the ones it looks for;
/// the next scan asks here instead of reading those bytes again. Memory is bounded: behind the
/// last signature that there is room for, the memo ends.
class SignatureMemo
{
public:
    static constexpr std::size_t kMostOffsets = 1U << 16U;

    void clear() { *this = {}; }

    /// Every signature that starts from `start` to before `end` is known.
    [[nodiscard]] std::int64_t start() const { return m_start; }
    [[nodiscard]] std::int64_t end() const { return m_end; }
    [[nodiscard]] bool covers(std::int64_t offset) const
    {
        return offset >= m_start && offset < m_end;
    }

    /// The first signature known at or behind `offset`, or 0. Requires: covers(offset).
    [[nodiscard]] std::int64_t firstFrom(std::int64_t offset) const;

    /// Begins at `offset`, if the memo is empty. @return true if a reading that starts at `offset`
    /// continues it
    bool beginsOrContinuesAt(std::int64_t offset);
    /// Takes note of a signature; one that is known already is passed over.
    void add(std::int64_t offset);
    /// All up to `end` has been looked at, unless the memo is full.
    void extendTo(std::int64_t end);

private:
    std::vector<std::int64_t> m_offsets;
    std::int64_t m_start = 0;
    std::int64_t m_end = 0;
    bool m_full = false;
};

} // namespace talvek
