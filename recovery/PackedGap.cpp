#include "recovery/PackedGap.h"

#include "recovery/PackBitsRow.h"

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::int64_t kResyncCost = 16;
constexpr std::int64_t kLeastBudget = 64 << 10;

/// What erased storage holds; other bytes may stand side by side in rows of one colour.
bool isOfHole(std::uint8_t byte)
{
    return byte == 0x00 || byte == 0xff;
}

} // namespace

bool looksLikeHole(SourceBytes& source, std::int64_t offset, std::int64_t count)
{
    const std::int64_t from = std::max<std::int64_t>(0, offset - kHoleBytes);
    const std::int64_t to = offset + count + kHoleBytes;
    const auto view = source.at(from, static_cast<std::size_t>(std::min<std::int64_t>(
                                          to - from, std::int64_t{SourceBytes::kMostView})));
    std::int64_t equal = 0;
    std::int64_t at = from;
    std::uint8_t last = 0;
    for (const std::uint8_t byte : view) {
        ++at;
        equal = byte == last ? equal + 1 : 1;
        last = byte;
        if (equal >= kHoleBytes && isOfHole(byte) && at > offset && at - equal < offset + count) {
            return true;
        }
    }
    return false;
}

std::int64_t endOfEqualBytes(SourceBytes& source, std::int64_t offset, std::int64_t limit)
{
    const std::uint8_t byte = source.u8(offset);
    std::int64_t at = offset;
    while (at < limit && source.u8(at) == byte) {
        ++at;
    }
    return at;
}

SplitRows splitForward(SourceBytes& source, std::int64_t from, std::int64_t limit,
                       std::int64_t rows, std::int64_t width)
{
    SplitRows split{0, from, from};
    while (split.rows < rows) {
        const std::int64_t count = rowLengthByWidth(source, split.end, limit, width);
        if (count <= 0 || looksLikeHole(source, split.end, count)) {
            break;
        }
        split.end += count;
        ++split.rows;
    }
    return split;
}

SplitRows splitBackward(SourceBytes& source, std::int64_t from, std::int64_t to, std::int64_t rows,
                        std::int64_t width)
{
    // A length that is a lie can put the end anywhere; no row leads to where no bytes are.
    if (to > source.size()) {
        return {0, to, to};
    }
    std::int64_t budget = kResyncCost * (to - from) + kLeastBudget;
    for (std::int64_t start = std::max<std::int64_t>(from, 0); start < to && budget > 0; ++start) {
        std::int64_t at = start;
        std::int64_t found = 0;
        std::int64_t second = to;
        while (at < to && found < rows) {
            std::int64_t looked = 0;
            const std::int64_t count = rowLengthByWidth(source, at, to, width, &looked);
            budget -= 16 + looked / 8;
            if (count <= 0) {
                break;
            }
            if (looksLikeHole(source, at, count)) {
                // The next place that can lead anywhere is at the hole's end.
                const std::int64_t end = endOfEqualBytes(source, start, to);
                start = std::max(start, end - kHoleBytes);
                break;
            }
            at += count;
            second = ++found == 1 ? at : second;
        }
        if (at == to && found > 1) {
            return {found - 1, second, to};
        }
    }
    return {0, to, to};
}

} // namespace talvek::recovery
