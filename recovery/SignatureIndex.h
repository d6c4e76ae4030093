#pragma once

#include "recovery/RunControl.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace talvek::recovery {

/// Where "8BIM", "8B64" and "8BPS" stand in a file: found in one pass, whatever the bytes between.
///
/// Every structure of the PSD format but the planes begins with, or leads to, one of these.
class SignatureIndex
{
public:
    /// More than this many of one kind are not kept: no document comes near, and memory is bounded.
    static constexpr std::size_t kMost = 1U << 20U;

    /// Called with the number of bytes looked at so far.
    using Progress = std::function<void(std::int64_t)>;

    void build(SourceBytes& source, const RunControl& control, const Progress& progress);

    /// Offsets of "8BIM" and "8B64", ascending.
    [[nodiscard]] const std::vector<std::int64_t>& blocks() const { return m_blocks; }
    /// Offsets of "8BPS", ascending.
    [[nodiscard]] const std::vector<std::int64_t>& headers() const { return m_headers; }
    /// The first block signature at or behind `offset`; -1 if there is none.
    [[nodiscard]] std::int64_t firstAtOrBehind(std::int64_t offset) const;
    /// The file holds nothing but one value (or nothing at all).
    [[nodiscard]] bool isOneValue() const { return m_isOneValue; }

private:
    void scan(std::span<const std::uint8_t> view, std::int64_t offset);

    std::vector<std::int64_t> m_blocks;
    std::vector<std::int64_t> m_headers;
    bool m_isOneValue = true;
    int m_value = -1;
};

} // namespace talvek::recovery
