#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <array>

namespace talvek::recovery {

namespace {

constexpr std::array kWideKeys = {key("LMsk"), key("Lr16"), key("Lr32"), key("Layr"), key("Mt16"),
                                  key("Mt32"), key("Mtrn"), key("Alph"), key("FMsk"), key("lnk2"),
                                  key("lnk3"), key("lnkD"), key("lnkE"), key("FEid"), key("FXid"),
                                  key("PxSD"), key("cinf"), key("extn")};

/// Zero bytes at `offset`, at most up to a multiple of `unit` counted from `start`.
std::int64_t paddingAt(SourceBytes& source, std::int64_t start, std::int64_t length,
                       std::int64_t limit, int unit)
{
    const std::int64_t pad = (unit - length % unit) % unit;
    const std::int64_t offset = start + length;
    if (pad == 0 || limit - offset < pad) {
        return 0;
    }
    for (std::int64_t i = 0; i < pad; ++i) {
        if (source.u8(offset + i) != 0) {
            return 0;
        }
    }
    return pad;
}

std::optional<TaggedBlock> blockOfWidth(SourceBytes& source, std::int64_t offset,
                                        std::int64_t limit, bool wide, int unit)
{
    const std::int64_t start = offset + (wide ? 16 : 12);
    const std::uint64_t length = wide ? source.u64(offset + 8) : source.u32(offset + 8);
    if (start > limit || length > static_cast<std::uint64_t>(limit - start)) {
        return std::nullopt;
    }
    TaggedBlock block;
    block.key = source.u32(offset + 4);
    block.data = {start, static_cast<std::int64_t>(length), 0};
    block.whole = {offset,
                   start - offset + block.data.length +
                       paddingAt(source, start, block.data.length, limit, unit),
                   0};
    return block;
}

bool leadsOn(SourceBytes& source, const std::optional<TaggedBlock>& block, std::int64_t limit)
{
    return block &&
           (limit - block->whole.end() < 4 || isBlockSignature(source, block->whole.end()));
}

} // namespace

bool isWideKey(std::uint32_t blockKey)
{
    return std::find(kWideKeys.begin(), kWideKeys.end(), blockKey) != kWideKeys.end();
}

bool isBlockSignature(SourceBytes& source, std::int64_t offset)
{
    const std::uint32_t signature = source.u32(offset);
    return signature == kBlockSignature || signature == kWideSignature;
}

std::optional<TaggedBlock> readTaggedBlock(SourceBytes& source, std::int64_t offset,
                                           std::int64_t limit, bool largeDocument, int unit)
{
    limit = std::min(limit, source.size());
    const std::uint32_t signature = source.u32(offset);
    if ((signature != kBlockSignature && signature != kWideSignature) || limit - offset < 12) {
        return std::nullopt;
    }
    const bool wide =
        largeDocument && (signature == kWideSignature || isWideKey(source.u32(offset + 4)));
    const auto expected = blockOfWidth(source, offset, limit, wide, unit);
    if (!largeDocument || leadsOn(source, expected, limit)) {
        return expected;
    }
    // Writers differ in which keys they take for wide ones.
    const auto other = blockOfWidth(source, offset, limit, !wide, unit);
    return leadsOn(source, other, limit) ? other : expected;
}

} // namespace talvek::recovery
