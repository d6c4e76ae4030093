#include "recovery/DocumentBlocks.h"

#include "recovery/TaggedBlocks.h"

namespace talvek::recovery {

namespace {

constexpr std::int64_t kMostGlobalMask = 1 << 16;
constexpr std::size_t kMostBlocks = 1U << 16U;
constexpr std::int64_t kMostPadding = 3;

/// The length that the block at `offset` states leads out of the file.
bool isCutAt(SourceBytes& source, std::int64_t offset, bool largeDocument)
{
    if (!isBlockSignature(source, offset)) {
        return false;
    }
    const bool wide = source.u32(offset) == kWideSignature ||
                      (largeDocument && isWideKey(source.u32(offset + 4)));
    const std::int64_t data = offset + (wide ? 16 : 12);
    const std::uint64_t length = wide ? source.u64(offset + 8) : source.u32(offset + 8);
    return data > source.size() || length > static_cast<std::uint64_t>(source.size() - data);
}

void walk(SourceBytes& source, std::int64_t at, std::int64_t limit, bool largeDocument,
          DocumentBlocks& result)
{
    while (result.blocks.size() < kMostBlocks) {
        std::int64_t next = at;
        while (next <= at + kMostPadding && !isBlockSignature(source, next)) {
            ++next;
        }
        const auto block = next <= at + kMostPadding
                               ? readTaggedBlock(source, next, limit, largeDocument, 4)
                               : std::nullopt;
        if (!block) {
            result.isCut = isCutAt(source, next, largeDocument);
            break;
        }
        result.blocks.push_back(*block);
        at = block->whole.end();
    }
    result.end = at;
}

} // namespace

DocumentBlocks readBlocksBehind(SourceBytes& source, std::int64_t behindPlanes, bool largeDocument)
{
    DocumentBlocks result;
    for (std::int64_t pad = 0; pad <= kMostPadding; ++pad) {
        const std::int64_t at = behindPlanes + pad;
        const std::int64_t mask = source.u32(at);
        const std::int64_t behind = at + 4 + mask;
        if (isBlockSignature(source, at)) {
            walk(source, at, source.size(), largeDocument, result);
            return result;
        }
        if (mask <= kMostGlobalMask && isBlockSignature(source, behind)) {
            result.globalMask = {at + 4, mask, 0};
            walk(source, behind, source.size(), largeDocument, result);
            return result;
        }
    }
    return result;
}

DocumentBlocks readBlocksOfSection(SourceBytes& source, std::int64_t start, std::int64_t limit,
                                   bool largeDocument)
{
    DocumentBlocks result;
    const std::int64_t lengthBytes = largeDocument ? 8 : 4;
    const std::uint64_t info = source.number(start, static_cast<std::size_t>(lengthBytes));
    const std::int64_t infoStart = start + lengthBytes;
    if (infoStart > limit - 4 || info > static_cast<std::uint64_t>(limit - 4 - infoStart)) {
        return result;
    }
    const std::int64_t at = infoStart + static_cast<std::int64_t>(info);
    const std::int64_t mask = source.u32(at);
    if (mask <= limit - at - 4) {
        result.globalMask = {at + 4, mask, 0};
        walk(source, at + 4 + mask, limit, largeDocument, result);
    }
    return result;
}

bool holdsLayers(std::uint32_t blockKey)
{
    return blockKey == key("Lr16") || blockKey == key("Lr32") || blockKey == key("Layr");
}

} // namespace talvek::recovery
