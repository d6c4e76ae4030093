#include "recovery/output/HuffmanCode.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace talvek::recovery::output {

namespace {

constexpr std::size_t kMostSymbols = 288;
constexpr int kMostTreeDepth = 64;

struct Symbol
{
    std::uint64_t count;
    std::uint16_t index;
};

using Symbols = std::array<Symbol, kMostSymbols>;

/// The symbols that occur, the rarest first; two at least.
std::size_t gather(std::span<const std::uint32_t> counts, Symbols& symbols)
{
    std::size_t used = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            symbols[used++] = {counts[i], static_cast<std::uint16_t>(i)};
        }
    }
    for (std::size_t i = 0; used < 2; ++i) {
        if (counts[i] == 0) {
            symbols[used++] = {1, static_cast<std::uint16_t>(i)};
        }
    }
    std::sort(symbols.begin(), symbols.begin() + static_cast<std::ptrdiff_t>(used),
              [](const Symbol& a, const Symbol& b) {
                  return a.count != b.count ? a.count < b.count : a.index < b.index;
              });
    return used;
}

/// How many symbols have each depth in the tree of least cost. Two queues, both sorted: leaves,
/// and inner nodes in the order in which they are made.
void countDepths(const Symbols& symbols, std::size_t used,
                 std::array<std::uint32_t, kMostTreeDepth>& depths)
{
    std::array<std::uint64_t, kMostSymbols> weight{};
    std::array<std::uint16_t, 2 * kMostSymbols> parent{};
    std::size_t leaf = 0;
    std::size_t inner = 0;
    for (std::size_t made = 0; made + 1 < used; ++made) {
        for (int child = 0; child < 2; ++child) {
            const bool takeLeaf =
                leaf < used && (inner >= made || symbols[leaf].count <= weight[inner]);
            weight[made] += takeLeaf ? symbols[leaf].count : weight[inner];
            parent[takeLeaf ? leaf++ : used + inner++] = static_cast<std::uint16_t>(used + made);
        }
    }
    std::array<std::uint8_t, 2 * kMostSymbols> depth{};
    for (std::size_t node = 2 * used - 2; node-- > 0;) {
        depth[node] = static_cast<std::uint8_t>(depth[parent[node]] + 1);
        if (node < used) {
            ++depths[std::min<std::size_t>(depth[node], kMostTreeDepth - 1)];
        }
    }
}

/// Brings codes that are too long to the limit, and pays for it with the cheapest shorter ones.
void limitDepths(std::array<std::uint32_t, kMostTreeDepth>& depths, int mostBits)
{
    const auto most = static_cast<std::size_t>(mostBits);
    for (std::size_t i = most + 1; i < depths.size(); ++i) {
        depths[most] += depths[i];
        depths[i] = 0;
    }
    std::uint64_t total = 0;
    for (std::size_t i = 1; i <= most; ++i) {
        total += std::uint64_t{depths[i]} << (most - i);
    }
    for (; total > std::uint64_t{1} << most; --total) {
        --depths[most];
        for (std::size_t i = most; i-- > 1;) {
            if (depths[i] > 0) {
                --depths[i];
                depths[i + 1] += 2;
                break;
            }
        }
    }
}

} // namespace

void codeLengths(std::span<const std::uint32_t> counts, int mostBits,
                 std::span<std::uint8_t> lengths)
{
    Symbols symbols{};
    std::array<std::uint32_t, kMostTreeDepth> depths{};
    const std::size_t used = gather(counts, symbols);
    countDepths(symbols, used, depths);
    limitDepths(depths, mostBits);
    std::fill(lengths.begin(), lengths.end(), std::uint8_t{0});
    std::size_t next = 0;
    for (auto bits = static_cast<std::size_t>(mostBits); bits > 0; --bits) {
        for (std::uint32_t i = 0; i < depths[bits] && next < used; ++i) {
            lengths[symbols[next++].index] = static_cast<std::uint8_t>(bits);
        }
    }
}

void canonicalCodes(std::span<const std::uint8_t> lengths, std::span<std::uint16_t> codes)
{
    constexpr std::size_t kMostBits = 15;
    std::array<std::uint32_t, kMostBits + 1> counts{};
    for (const std::uint8_t length : lengths) {
        ++counts[length];
    }
    counts[0] = 0;
    std::array<std::uint32_t, kMostBits + 1> next{};
    for (std::size_t bits = 1; bits <= kMostBits; ++bits) {
        next[bits] = (next[bits - 1] + counts[bits - 1]) << 1U;
    }
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        std::uint32_t code = lengths[i] > 0 ? next[lengths[i]]++ : 0;
        std::uint32_t turned = 0;
        for (std::uint8_t bit = 0; bit < lengths[i]; ++bit, code >>= 1U) {
            turned = turned << 1U | (code & 1U);
        }
        codes[i] = static_cast<std::uint16_t>(turned);
    }
}

} // namespace talvek::recovery::output
