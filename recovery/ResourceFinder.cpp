#include "recovery/ResourceFinder.h"

#include "recovery/TaggedBlocks.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace talvek::recovery {

namespace {

constexpr std::uint16_t kGroupIds = 0x0402;
constexpr std::uint16_t kGroupsEnabled = 0x0430;
constexpr std::uint16_t kAlphaIds = 0x041D;
constexpr std::uint16_t kAlphaNames = 0x03EE;
constexpr std::int64_t kThumbnailHead = 28;
/// Of the section behind the resources: its length, and those of an empty layer info and mask.
constexpr std::int64_t kLeastToBlock = 12;

/// Signatures that blocks in this section carry beside the usual one.
bool isResourceSignature(std::uint32_t signature)
{
    constexpr std::array kSignatures = {kBlockSignature, key("MeSa"), key("AgHg"), key("PHUT"),
                                        key("DCSR")};
    return std::find(kSignatures.begin(), kSignatures.end(), signature) != kSignatures.end();
}

bool isResourceId(std::uint16_t id)
{
    return id >= 1000 && id <= 12000;
}

} // namespace

void ResourceFinder::run(std::int64_t from, std::int64_t to)
{
    std::int64_t behind = from;
    for (std::int64_t at = m_index.firstAtOrBehind(from); at >= 0 && at < to;
         at = m_index.firstAtOrBehind(at + 1)) {
        if (at < behind) {
            continue;
        }
        // Blocks of other signatures are reached from the one before them.
        auto resource = resourceAt(at, to);
        while (resource) {
            if (m_resources.size() >= kMost) {
                m_isLimited = true;
                return;
            }
            behind = resource->whole.end();
            m_resources.push_back(*resource);
            resource = resourceAt(behind, to);
        }
    }
}

const Resource* ResourceFinder::find(std::uint16_t id) const
{
    const auto found = std::find_if(m_resources.begin(), m_resources.end(),
                                    [id](const Resource& one) { return one.id == id; });
    return found == m_resources.end() ? nullptr : &*found;
}

bool ResourceFinder::areWhole(std::int64_t start, std::int64_t end) const
{
    std::int64_t at = start;
    for (const Resource& resource : m_resources) {
        if (resource.whole.offset != at) {
            return false;
        }
        at = resource.whole.end();
    }
    return at >= 0 && (end < 0 ? !m_resources.empty() : at == end);
}

std::int64_t ResourceFinder::end() const
{
    return m_resources.empty() ? -1 : m_resources.back().whole.end();
}

std::optional<Resource> ResourceFinder::resourceAt(std::int64_t offset, std::int64_t limit)
{
    if (!isResourceSignature(m_source.u32(offset)) || !isResourceId(m_source.u16(offset + 4))) {
        return std::nullopt;
    }
    const std::int64_t name = m_source.u8(offset + 6);
    const std::int64_t sizeAt = offset + 6 + (name + 2) / 2 * 2;
    Resource resource;
    resource.id = m_source.u16(offset + 4);
    resource.data = {sizeAt + 4, m_source.u32(sizeAt), 0};
    if (resource.data.end() > limit) {
        return std::nullopt;
    }
    for (const std::int64_t pad : {resource.data.length % 2, std::int64_t{0}}) {
        const std::int64_t end = resource.data.end() + pad;
        // A section follows: the length of the layers' section, or that of the whole.
        const std::int64_t next = m_index.firstAtOrBehind(end);
        const bool isLast = end == limit || (end <= limit && m_source.u8(end) <= 0x3F &&
                                             (next < 0 || next >= end + kLeastToBlock));
        if (isResourceSignature(m_source.u32(end)) || isLast) {
            resource.whole = {offset, end - offset, 0};
            return resource;
        }
    }
    return std::nullopt;
}

std::optional<Thumbnail> thumbnailIn(SourceBytes& source, const Resource& resource)
{
    const std::int64_t at = resource.data.offset;
    Thumbnail thumbnail{source.i32(at + 4), source.i32(at + 8), {}};
    const std::int64_t stated = source.u32(at + 20);
    thumbnail.jpeg = {at + kThumbnailHead, stated, 0};
    const bool sound = resource.data.length > kThumbnailHead && source.u32(at) == 1 &&
                       thumbnail.width > 0 && thumbnail.height > 0 &&
                       thumbnail.jpeg.end() <= resource.data.end() &&
                       source.u16(thumbnail.jpeg.offset) == 0xFFD8;
    return sound ? std::optional(thumbnail) : std::nullopt;
}

bool firstAlphaIsTransparency(SourceBytes& source, const ResourceFinder& resources)
{
    constexpr std::string_view kName = "\x0CTransparency";
    if (const Resource* ids = resources.find(kAlphaIds)) {
        return ids->data.length >= 4 && source.u32(ids->data.offset) == 0;
    }
    const Resource* names = resources.find(kAlphaNames);
    if (names == nullptr || names->data.length < static_cast<std::int64_t>(kName.size())) {
        return false;
    }
    const auto first = source.at(names->data.offset, kName.size());
    return std::equal(first.begin(), first.end(), kName.begin(), kName.end());
}

std::optional<std::int32_t> statedLayerCount(const ResourceFinder& resources)
{
    if (const Resource* groups = resources.find(kGroupIds)) {
        return static_cast<std::int32_t>(groups->data.length / 2);
    }
    if (const Resource* enabled = resources.find(kGroupsEnabled)) {
        return static_cast<std::int32_t>(enabled->data.length);
    }
    return std::nullopt;
}

} // namespace talvek::recovery
