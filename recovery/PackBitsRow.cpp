#include "recovery/PackBitsRow.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>

namespace talvek::recovery {

namespace {

constexpr std::uint8_t kNothing = 128;
constexpr std::int64_t kMostRun = 128;
constexpr std::uint8_t kLongestWasteful = 1; // a literal of two bytes

/// Follows control bytes from `offset` until `width` bytes are made or `limit` is met.
struct Walk
{
    std::int64_t at;
    std::int64_t made = 0;

    void go(SourceBytes& source, std::int64_t limit, std::int64_t width)
    {
        while (at < limit && made < width) {
            const auto view = source.at(at, viewLength(limit));
            if (view.empty()) {
                return;
            }
            within(view, width);
        }
    }

private:
    [[nodiscard]] std::size_t viewLength(std::int64_t limit) const
    {
        // Rows are short as a rule: a short view is cheaper only in that it rarely meets a border.
        return static_cast<std::size_t>(
            std::min<std::int64_t>(limit - at, std::int64_t{SourceBytes::kMostView}));
    }

    void within(std::span<const std::uint8_t> view, std::int64_t width)
    {
        const auto end = static_cast<std::int64_t>(view.size());
        std::int64_t i = 0;
        while (i < end && made < width) {
            const std::uint8_t control = view[static_cast<std::size_t>(i)];
            if (control < kNothing) {
                i += control + 2;
                made += control + 1;
            } else if (control > kNothing) {
                i += 2;
                made += 257 - control;
            } else {
                ++i;
            }
        }
        at += i;
    }
};

} // namespace

bool rowFits(SourceBytes& source, std::int64_t offset, std::int64_t packed, std::int64_t width)
{
    if (packed <= 0 || offset < 0 || offset > source.size() - packed) {
        return false;
    }
    Walk walk{offset};
    walk.go(source, offset + packed, width);
    // Bytes that do nothing may follow the last run.
    while (walk.made == width && walk.at < offset + packed && source.u8(walk.at) == kNothing) {
        ++walk.at;
    }
    return walk.made == width && walk.at == offset + packed;
}

std::int64_t widthOfRow(SourceBytes& source, std::int64_t offset, std::int64_t packed)
{
    if (packed <= 0 || offset < 0 || offset > source.size() - packed) {
        return -1;
    }
    Walk walk{offset};
    walk.go(source, offset + packed, std::numeric_limits<std::int64_t>::max());
    return walk.at == offset + packed && walk.made > 0 ? walk.made : -1;
}

std::int64_t rowLengthByWidth(SourceBytes& source, std::int64_t offset, std::int64_t limit,
                              std::int64_t width, std::int64_t* looked)
{
    Walk walk{offset};
    walk.go(source, std::min({limit, offset + mostPacked(width), source.size()}), width);
    if (looked != nullptr) {
        *looked = walk.at - offset;
    }
    return walk.made == width && walk.at <= limit ? walk.at - offset : -1;
}

bool isWastefulRow(SourceBytes& source, std::int64_t offset, std::int64_t packed)
{
    const auto row = source.at(offset, static_cast<std::size_t>(std::min<std::int64_t>(
                                           packed, std::int64_t{SourceBytes::kMostView})));
    if (row.empty() || row[0] + 2U >= row.size()) {
        return false;
    }
    for (std::size_t at = 0; at < row.size(); at += row[at] + 2U) {
        if (row[at] > kLongestWasteful) {
            return false;
        }
    }
    return true;
}

bool unpackRow(std::span<const std::uint8_t> packed, std::span<std::uint8_t> row)
{
    std::size_t from = 0;
    std::size_t to = 0;
    while (from < packed.size()) {
        const std::uint8_t control = packed[from++];
        if (control == kNothing) {
            continue;
        }
        const bool literal = control < kNothing;
        const std::size_t made = literal ? control + 1U : 257U - control;
        const std::size_t taken = literal ? made : 1U;
        if (packed.size() - from < taken || row.size() - to < made) {
            return false;
        }
        if (literal) {
            std::memcpy(row.data() + to, packed.data() + from, made);
        } else {
            std::memset(row.data() + to, packed[from], made);
        }
        from += taken;
        to += made;
    }
    return to == row.size();
}

std::int64_t leastPacked(std::int64_t width)
{
    return 2 * ((width + kMostRun - 1) / kMostRun);
}

std::int64_t mostPacked(std::int64_t width)
{
    return 2 * width + 16;
}

std::int64_t packedFillLength(std::int64_t width)
{
    return 2 * ((width + kMostRun - 1) / kMostRun);
}

void packFill(std::int64_t width, std::uint8_t value, std::span<std::uint8_t> into)
{
    assert(static_cast<std::int64_t>(into.size()) >= packedFillLength(width));
    std::size_t to = 0;
    while (width > 0) {
        const std::int64_t run = std::min(width, kMostRun);
        // A run of one has no control byte of its own: it is a literal of one.
        into[to++] = run == 1 ? std::uint8_t{0} : static_cast<std::uint8_t>(257 - run);
        into[to++] = value;
        width -= run;
    }
}

} // namespace talvek::recovery
