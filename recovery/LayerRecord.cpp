#include "recovery/LayerRecord.h"

#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"

#include <algorithm>
#include <array>
#include <bitset>

namespace talvek::recovery {

namespace {

constexpr int kMostChannels = 60;
constexpr std::int16_t kLeastId = -3;
constexpr std::int16_t kGreatestId = 55;
constexpr std::int32_t kFarthest = 1 << 24;
constexpr std::int64_t kMostExtent = 300000;
constexpr std::int64_t kMostLength = std::int64_t{1} << 31;
constexpr std::int64_t kMostLengthLarge = std::int64_t{1} << 40;
constexpr std::int64_t kMostMaskBytes = 4096;
constexpr std::int64_t kMostRangesBytes = 1 << 20;
constexpr std::int64_t kMostNameLetters = 4096;
constexpr std::int64_t kMostPadding = 3;
constexpr std::size_t kMostBlocks = 1U << 14U;
/// Behind the signature: key, opacity, clipping, flags, filler, length of the extra data.
constexpr std::int64_t kExtraOffset = 16;

constexpr std::array kBlendKeys = {
    key("pass"), key("norm"), key("diss"), key("dark"), key("mul "), key("idiv"), key("lbrn"),
    key("dkCl"), key("lite"), key("scrn"), key("div "), key("lddg"), key("lgCl"), key("over"),
    key("sLit"), key("hLit"), key("vLit"), key("lLit"), key("pLit"), key("hMix"), key("diff"),
    key("smud"), key("fsub"), key("fdiv"), key("hue "), key("sat "), key("colr"), key("lum ")};

bool isBlendKey(std::uint32_t value)
{
    return std::find(kBlendKeys.begin(), kBlendKeys.end(), value) != kBlendKeys.end();
}

Rectangle rectangleAt(SourceBytes& source, std::int64_t offset)
{
    return {source.i32(offset), source.i32(offset + 4), source.i32(offset + 8),
            source.i32(offset + 12)};
}

bool isPlausible(const Rectangle& bounds)
{
    const auto isNear = [](std::int32_t side) { return side >= -kFarthest && side <= kFarthest; };
    return isNear(bounds.top) && isNear(bounds.left) && isNear(bounds.bottom) &&
           isNear(bounds.right) && bounds.rows() >= 0 && bounds.rows() <= kMostExtent &&
           bounds.columns() >= 0 && bounds.columns() <= kMostExtent;
}

/// The list's entries if each is one that a channel can have.
bool readEntries(std::span<const std::uint8_t> list, std::size_t entryBytes,
                 std::vector<ChannelEntry>& entries)
{
    std::bitset<kGreatestId - kLeastId + 1> seen;
    const std::int64_t most = entryBytes == 6 ? kMostLength : kMostLengthLarge;
    for (std::size_t at = 0; at < list.size(); at += entryBytes) {
        ChannelEntry entry;
        entry.id = static_cast<std::int16_t>(bigEndian(list.subspan(at), 2));
        const std::uint64_t length = bigEndian(list.subspan(at + 2), entryBytes - 2);
        if (entry.id < kLeastId || entry.id > kGreatestId ||
            length > static_cast<std::uint64_t>(most)) {
            return false;
        }
        const auto bit = static_cast<std::size_t>(entry.id - kLeastId);
        if (seen.test(bit)) {
            return false;
        }
        seen.set(bit);
        entry.length = static_cast<std::int64_t>(length);
        entries.push_back(entry);
    }
    return true;
}

/// Few channels prove little, so a record that has none or one must show more than its list.
bool isConvincing(SourceBytes& source, const LayerRecord& record)
{
    const std::int64_t at = record.signature;
    const bool bytesFit = source.u8(at + 9) <= 1 && source.u8(at + 11) == 0;
    const bool blends = isBlendKey(source.u32(at + 4));
    return record.entries.size() < 2 ? blends && bytesFit : blends || bytesFit;
}

void readFixedFields(SourceBytes& source, LayerRecord& record)
{
    const std::int64_t at = record.signature;
    Layer& layer = record.layer;
    const auto letters = source.at(at + 4, 4);
    if (letters.size() == 4) {
        layer.blend.assign(letters.begin(), letters.end());
    }
    layer.opacity = source.u8(at + 8);
    layer.clipping = source.u8(at + 9);
    layer.flags = source.u8(at + 10);
    for (const ChannelEntry& entry : record.entries) {
        Channel channel;
        channel.id = entry.id;
        channel.bounds = layer.bounds;
        layer.channels.push_back(channel);
    }
}

Mask maskAt(SourceBytes& source, std::int64_t boundsOffset)
{
    return {rectangleAt(source, boundsOffset), 0, 0};
}

void readMasks(SourceBytes& source, LayerRecord& record)
{
    Layer& layer = record.layer;
    const std::int64_t at = layer.maskData.offset;
    if (layer.maskData.length >= 18) {
        layer.mask = maskAt(source, at);
        layer.mask->defaultColor = source.u8(at + 16);
        layer.mask->flags = source.u8(at + 17);
        layer.realMask = layer.mask;
    }
    if (layer.maskData.length >= 36) {
        layer.realMask = maskAt(source, at + 20);
        layer.realMask->flags = source.u8(at + 18);
        layer.realMask->defaultColor = source.u8(at + 19);
    }
    for (Channel& channel : layer.channels) {
        if (channel.id < -1) {
            const auto& mask = channel.id == -2 ? layer.mask : layer.realMask;
            channel.bounds = mask && isPlausible(mask->bounds) ? mask->bounds : Rectangle{};
        }
    }
}

void readBlockMeaning(SourceBytes& source, Layer& layer, const TaggedBlock& block)
{
    const std::int64_t at = block.data.offset;
    if (block.key == key("luni") && block.data.length >= 4) {
        const std::int64_t letters = source.u32(at);
        if (letters <= kMostNameLetters && 2 * letters + 4 <= block.data.length) {
            layer.name = utf8OfUtf16(source.at(at + 4, static_cast<std::size_t>(2 * letters)));
        }
    } else if (block.key == key("lyid") && block.data.length >= 4) {
        layer.id = source.u32(at);
    } else if ((block.key == key("lsct") || block.key == key("lsdk")) && block.data.length >= 4 &&
               source.u32(at) <= static_cast<std::uint32_t>(Group::End)) {
        layer.group = static_cast<Group>(source.u32(at));
    }
}

/// Walks the extra data between its fixed part and `limit`.
class ExtraWalk
{
public:
    ExtraWalk(SourceBytes& source, LayerRecord& record) : m_source(source), m_record(record) {}

    /// @return the end of the last thing that was read; -1 if not even the fixed part is sound
    std::int64_t go(std::int64_t limit, bool skipGaps)
    {
        m_limit = std::min(limit, m_source.size());
        m_at = m_record.signature + kExtraOffset;
        m_record.layer.blocks.clear();
        if (!part(m_record.layer.maskData, kMostMaskBytes) ||
            !part(m_record.layer.blendingRanges, kMostRangesBytes) || !name()) {
            return -1;
        }
        readMasks(m_source, m_record);
        blocks(skipGaps);
        return m_at;
    }
    [[nodiscard]] bool hadGaps() const { return m_hadGaps; }

private:
    bool part(ByteRange& range, std::int64_t most)
    {
        range = {m_at + 4, std::int64_t{m_source.u32(m_at)}, 0};
        if (range.length > most || range.end() > m_limit) {
            range = {};
            return false;
        }
        m_at = range.end();
        return true;
    }

    bool name()
    {
        const std::int64_t length = m_source.u8(m_at);
        const std::int64_t padded = (length + 1 + 3) / 4 * 4;
        if (m_at + length + 1 > m_limit) {
            return false;
        }
        m_record.layer.name =
            utf8OfMacRoman(m_source.at(m_at + 1, static_cast<std::size_t>(length)));
        m_at = std::min(m_at + padded, m_limit);
        return true;
    }

    void blocks(bool skipGaps)
    {
        while (m_limit - m_at >= 12) {
            const auto block = readTaggedBlock(m_source, m_at, m_limit, m_record.isLarge, 2);
            const bool leads = block && (m_limit - block->whole.end() < 12 ||
                                         nextWithin(block->whole.end(), kMostPadding) >= 0);
            if (block && (leads || !skipGaps)) {
                if (m_record.layer.blocks.size() < kMostBlocks) {
                    m_record.layer.blocks.push_back(*block);
                }
                readBlockMeaning(m_source, m_record.layer, *block);
                m_at = block->whole.end();
                continue;
            }
            // A block here that cannot be read is passed over, or ends the walk.
            const bool broken = isBlockSignature(m_source, m_at);
            if (broken && !skipGaps) {
                return;
            }
            const std::int64_t next =
                nextWithin(broken ? m_at + 4 : m_at, skipGaps ? m_limit - m_at : kMostPadding);
            if (next < 0) {
                return;
            }
            m_hadGaps = m_hadGaps || next - m_at > kMostPadding;
            m_at = next;
        }
    }

    /// The next block signature, at most `most` bytes behind `offset`.
    std::int64_t nextWithin(std::int64_t offset, std::int64_t most)
    {
        const std::int64_t last = std::min(offset + most, m_limit - 12);
        for (std::int64_t at = offset; at <= last; ++at) {
            if (isBlockSignature(m_source, at)) {
                return at;
            }
        }
        return -1;
    }

    SourceBytes& m_source;
    LayerRecord& m_record;
    std::int64_t m_limit = 0;
    std::int64_t m_at = 0;
    bool m_hadGaps = false;
};

bool isWithin(std::int64_t value, std::int64_t least, std::int64_t most)
{
    return value >= least && value <= most;
}

void setEnd(LayerRecord& record, std::int64_t end, bool proved)
{
    const std::int64_t extra = record.signature + kExtraOffset;
    record.end = end;
    record.endIsProved = proved;
    record.layer.record = {record.start, end - record.start, 0};
    record.layer.extra = proved ? ByteRange{extra, end - extra, 0} : ByteRange{};
}

/// The stated end holds: the blocks lead there. @return false if they do not
bool endsAsStated(SourceBytes& source, LayerRecord& record, std::int64_t stated)
{
    ExtraWalk walk(source, record);
    const std::int64_t end = walk.go(stated, false);
    if (end < 0 || !isWithin(stated - end, 0, kMostPadding)) {
        return false;
    }
    setEnd(record, stated, true);
    return true;
}

void findRecordEnd(SourceBytes& source, LayerRecord& record, std::int64_t next)
{
    const std::int64_t extra = record.signature + kExtraOffset;
    const std::int64_t stated = extra + source.u32(extra - 4);
    const std::int64_t border = next > extra ? next : source.size();
    if (stated <= border && endsAsStated(source, record, stated)) {
        return;
    }
    ExtraWalk walk(source, record);
    if (stated == next) {
        walk.go(stated, true);
        setEnd(record, stated, false);
        return;
    }
    const std::int64_t end = walk.go(border, false);
    if (next > 0 && isWithin(next - end, 0, kMostPadding)) {
        setEnd(record, next, true);
        return;
    }
    // A block inside is broken: where the stated end can hold, what follows it is found again.
    ExtraWalk leaping(source, record);
    const bool statedCanHold = isWithin(stated, extra, border) && source.u16(stated) <= 3;
    const std::int64_t leapt = leaping.go(
        statedCanHold || next > 0 ? std::min(stated, border) : std::max(end, extra), true);
    if (statedCanHold) {
        setEnd(record, stated, false);
    } else if (next > 0 && isWithin(next - leapt, 0, kMostPadding)) {
        setEnd(record, next, false);
    } else {
        setEnd(record, std::max({end, leapt, extra}),
               end > 0 && end == leapt && !leaping.hadGaps());
    }
}

/// A name that is longer than its block makes readers refuse the whole document.
void dropUnsoundNames(SourceBytes& source, Layer& layer)
{
    const auto isUnsound = [&source](const TaggedBlock& block) {
        return block.key == key("luni") &&
               (block.data.length < 4 ||
                4 + 2 * std::int64_t{source.u32(block.data.offset)} > block.data.length);
    };
    if (std::erase_if(layer.blocks, isUnsound) > 0) {
        layer.extra = {};
    }
}

/// Larger than any canvas, far away from all, or none where the channel holds bytes. Some programs
/// write -1 for a side of an empty one: that is sound.
bool isUnsound(const LayerRecord& record, std::int16_t id, const std::optional<Mask>& mask)
{
    constexpr std::int64_t kMostOfEmpty = 2 + kMostPadding;
    if (!mask || isPlausible(mask->bounds)) {
        return false;
    }
    const bool hasBytes =
        std::any_of(record.entries.begin(), record.entries.end(), [id](const ChannelEntry& entry) {
            return entry.id == id && entry.length > kMostOfEmpty;
        });
    return hasBytes || (mask->bounds.rows() > 0 && mask->bounds.columns() > 0);
}

/// A mask whose rectangle no mask has is kept without one: written as it is, it would make readers
/// refuse the whole document, or ask for all the memory there is.
void dropUnsoundMasks(LayerRecord& record)
{
    Layer& layer = record.layer;
    const bool isMaskSound = !isUnsound(record, -2, layer.mask);
    const bool isRealMaskSound = !isUnsound(record, -3, layer.realMask);
    if (isMaskSound && isRealMaskSound) {
        return;
    }
    if (!isMaskSound) {
        layer.mask->bounds = {};
    }
    const bool hasRealMask = std::any_of(layer.channels.begin(), layer.channels.end(),
                                         [](const Channel& channel) { return channel.id == -3; });
    if (!hasRealMask) {
        layer.realMask.reset();
    } else if (!isRealMaskSound) {
        layer.realMask->bounds = {};
    }
    layer.maskData = {};
    layer.extra = {};
}

} // namespace

std::optional<LayerRecord> readRecordHead(SourceBytes& source, std::int64_t signature, bool isLarge)
{
    const std::int64_t entryBytes = isLarge ? 10 : 6;
    // The longest list that can be proves most. The end of one can be taken for a shorter list: the
    // lengths of channels without bytes are as small as counts, and zeros for no channels at all.
    for (std::int64_t count = kMostChannels; count >= 0; --count) {
        const std::int64_t list = signature - count * entryBytes;
        if (list < 18) {
            continue;
        }
        if (source.u16(list - 2) != count) {
            continue;
        }
        LayerRecord record;
        record.start = list - 18;
        record.signature = signature;
        record.isLarge = isLarge;
        record.layer.bounds = rectangleAt(source, record.start);
        const auto bytes = source.at(list, static_cast<std::size_t>(count * entryBytes));
        if (isPlausible(record.layer.bounds) &&
            readEntries(bytes, static_cast<std::size_t>(entryBytes), record.entries) &&
            isConvincing(source, record)) {
            readFixedFields(source, record);
            return record;
        }
    }
    return std::nullopt;
}

void readRecordExtra(SourceBytes& source, LayerRecord& record, std::int64_t next)
{
    findRecordEnd(source, record, next);
    dropUnsoundNames(source, record.layer);
    dropUnsoundMasks(record);
}

bool isBlendMode(std::string_view letters)
{
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(letters.data()), letters.size());
    return bytes.size() == 4 && isBlendKey(static_cast<std::uint32_t>(bigEndian(bytes, 4)));
}

bool hasUsualChannels(const LayerRecord& record, int colors)
{
    int expected = 0;
    for (const ChannelEntry& entry : record.entries) {
        expected += entry.id >= 0 ? 1 : 0;
        if (entry.id >= colors) {
            return false;
        }
    }
    return expected == colors || expected == 0 || record.entries.empty();
}

} // namespace talvek::recovery
