#include "recovery/BlockCheck.h"

#include "recovery/EngineText.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/output/Descriptor.h"

#include <algorithm>
#include <array>
#include <vector>

namespace talvek::recovery {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::int64_t kLongest = 1 << 20;
/// Behind a block's contents, some writers count padding as part of them.
constexpr std::size_t kMostPadding = 3;

constexpr std::array kKnownKeys = {
    key("luni"), key("lyid"), key("lsct"), key("lsdk"), key("lnsr"), key("clbl"), key("infx"),
    key("knko"), key("lspf"), key("lclr"), key("shmd"), key("fxrp"), key("lfx2"), key("lrFX"),
    key("lmfx"), key("TySh"), key("tySh"), key("SoLd"), key("SoLE"), key("PlLd"), key("plLd"),
    key("SoCo"), key("GdFl"), key("PtFl"), key("vmsk"), key("vsms"), key("vstk"), key("vscg"),
    key("vogk"), key("vowv"), key("iOpa"), key("brst"), key("lyvr"), key("artb"), key("artd"),
    key("abdd"), key("anFX"), key("CgEd"), key("brit"), key("levl"), key("curv"), key("expA"),
    key("vibA"), key("hue "), key("hue2"), key("blnc"), key("blwh"), key("phfl"), key("mixr"),
    key("clrL"), key("nvrt"), key("post"), key("thrs"), key("grdm"), key("selc"), key("tsly"),
    key("lmgm"), key("vmgm"), key("ffxi"), key("shpa"), key("FEid"), key("FXid"), key("PxSD"),
    key("cinf"), key("sn2P"), key("pths"), key("extn"), key("extd"), key("LMsk"), key("Patt"),
    key("Pat2"), key("Pat3"), key("Anno"), key("Txt2"), key("lnkD"), key("lnk2"), key("lnk3"),
    key("lnkE"), key("Lr16"), key("Lr32"), key("Layr"), key("Mtrn"), key("Mt16"), key("Mt32"),
    key("Alph"), key("FMsk")};

bool isKnownKey(std::uint32_t blockKey)
{
    return std::find(kKnownKeys.begin(), kKnownKeys.end(), blockKey) != kKnownKeys.end();
}

bool areZeros(Bytes bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

/// Format: a count of UTF-16 units and these; some writers add zeros.
bool isName(Bytes bytes)
{
    if (bytes.size() < 4) {
        return false;
    }
    const std::uint64_t end = 4 + 2 * bigEndian(bytes, 4);
    return end <= bytes.size() && bytes.size() - end <= kMostPadding &&
           areZeros(bytes.subspan(static_cast<std::size_t>(end)));
}

/// Format: a kind; then often a signature and a blend mode; then a kind of group.
bool isDivider(Bytes bytes)
{
    return bytes.size() >= 4 && bigEndian(bytes, 4) <= 3 &&
           (bytes.size() < 12 || bigEndian(bytes.subspan(4), 4) == kBlockSignature) &&
           (bytes.size() != 16 || bigEndian(bytes.subspan(12), 4) <= 1);
}

/// Format: one byte that is 0 or 1, and three of padding.
bool isSwitch(Bytes bytes)
{
    return bytes.size() != 4 || (bytes[0] <= 1 && areZeros(bytes.subspan(1)));
}

/// Format: a colour's number in two bytes, and six of padding.
bool isColorTag(Bytes bytes)
{
    constexpr std::uint64_t kMostColors = 16;
    return bytes.size() != 8 || (bigEndian(bytes, 2) < kMostColors && areZeros(bytes.subspan(2)));
}

/// Numbers of a knot: three points, in shares of the canvas with 24 bits behind the point. None is
/// many canvases away.
bool areKnots(Bytes record)
{
    constexpr std::int32_t kFarthest = 16 << 24;
    for (std::size_t at = 2; at + 4 <= record.size(); at += 4) {
        const auto share = static_cast<std::int32_t>(bigEndian(record.subspan(at), 4));
        if (share < -kFarthest || share > kFarthest) {
            return false;
        }
    }
    return true;
}

/// Format: a kind, and 24 bytes: knots of paths; the rule by which paths are filled, empty; what is
/// filled at first, a switch.
bool isPathRecord(Bytes record)
{
    constexpr std::uint64_t kFillRule = 6;
    constexpr std::uint64_t kFirstFill = 8;
    switch (bigEndian(record, 2)) {
    case 1:
    case 2:
    case 4:
    case 5:
        return areKnots(record);
    case 0:
    case 3:
    case 7:
        return true;
    case kFillRule:
        return areZeros(record.subspan(2));
    case kFirstFill:
        return bigEndian(record.subspan(2), 2) <= 1 && areZeros(record.subspan(4));
    default:
        return false;
    }
}

/// Format: version 3, flags, and records of 26 bytes.
bool isVectorMask(Bytes bytes)
{
    constexpr std::size_t kRecord = 26;
    if (bytes.size() < 8 || bigEndian(bytes, 4) != 3 || bigEndian(bytes.subspan(4), 4) > 15) {
        return false;
    }
    for (std::size_t at = 8; at + kRecord <= bytes.size(); at += kRecord) {
        if (!isPathRecord(bytes.subspan(at, kRecord))) {
            return false;
        }
    }
    return (bytes.size() - 8) % kRecord <= kMostPadding;
}

/// A descriptor from `start` on, behind its version. What may follow it is not looked at.
bool isDescriptor(Bytes bytes, std::size_t start)
{
    constexpr std::uint64_t kVersion = 16;
    if (bytes.size() < start + 4 || bigEndian(bytes.subspan(start), 4) != kVersion) {
        return false;
    }
    const auto items = output::readDescriptor(bytes.subspan(start + 4));
    return items.isWhole && !items.isOdd;
}

/// Format: version, six numbers, version of the text, a descriptor with the text engine's data,
/// version of the warp, another descriptor, four numbers.
bool isText(Bytes bytes)
{
    constexpr std::size_t kBeforeDescriptor = 52;
    if (!isDescriptor(bytes, kBeforeDescriptor)) {
        return false;
    }
    const auto items = output::readDescriptor(bytes.subspan(kBeforeDescriptor + 4));
    const auto engine = items.rawData.find("EngineData");
    const std::size_t warp = kBeforeDescriptor + 4 + items.length + 2;
    return isDescriptor(bytes, warp) &&
           (engine == items.rawData.end() || isEngineText(engine->second));
}

/// Format: a signature, a version and a descriptor, in which ids are plain letters.
bool isSmartObject(Bytes bytes)
{
    constexpr std::size_t kBeforeDescriptor = 8;
    if (!isDescriptor(bytes, kBeforeDescriptor)) {
        return false;
    }
    const auto items = output::readDescriptor(bytes.subspan(kBeforeDescriptor + 4));
    return std::all_of(items.texts.begin(), items.texts.end(), [](const auto& item) {
        const bool isId = item.first == "Idnt" || item.first == "placed";
        return !isId || std::all_of(item.second.begin(), item.second.end(),
                                    [](char letter) { return letter > ' ' && letter < 0x7F; });
    });
}

/// Format: so many entries of a signature, a key, a switch, a length and as many bytes, most often
/// a descriptor.
bool isSheetData(Bytes bytes)
{
    if (bytes.size() < 4) {
        return false;
    }
    const std::uint64_t count = bigEndian(bytes, 4);
    std::size_t at = 4;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (bytes.size() - at < 16 || bigEndian(bytes.subspan(at), 4) != kBlockSignature ||
            bytes[at + 8] > 1) {
            return false;
        }
        const std::uint64_t length = bigEndian(bytes.subspan(at + 12), 4);
        if (length > bytes.size() - at - 16) {
            return false;
        }
        const Bytes data = bytes.subspan(at + 16, static_cast<std::size_t>(length));
        const std::uint64_t entry = bigEndian(bytes.subspan(at + 4), 4);
        if ((entry == key("cust") || entry == key("cmls")) && !isDescriptor(data, 0)) {
            return false;
        }
        at += 16 + static_cast<std::size_t>(length);
    }
    return true;
}

bool agrees(std::uint32_t blockKey, Bytes bytes)
{
    switch (blockKey) {
    case key("luni"):
        return isName(bytes);
    case key("lyid"):
        return bytes.size() == 4;
    case key("lsct"):
    case key("lsdk"):
        return isDivider(bytes);
    case key("clbl"):
    case key("infx"):
    case key("knko"):
    case key("lmgm"):
    case key("vmgm"):
    case key("tsly"):
        return isSwitch(bytes);
    case key("lspf"):
        return bytes.size() != 4 || (bytes[1] == 0 && bytes[2] == 0);
    case key("lclr"):
        return isColorTag(bytes);
    case key("vmsk"):
    case key("vsms"):
        return isVectorMask(bytes);
    case key("shmd"):
        return isSheetData(bytes);
    case key("TySh"):
        return isText(bytes);
    case key("SoCo"):
    case key("GdFl"):
    case key("PtFl"):
    case key("CgEd"):
    case key("blwh"):
    case key("vibA"):
    case key("vstk"):
    case key("artb"):
        return isDescriptor(bytes, 0);
    case key("vscg"):
    case key("vogk"):
    case key("lfx2"):
        return isDescriptor(bytes, 4);
    case key("SoLd"):
        return isSmartObject(bytes);
    default:
        return true;
    }
}

} // namespace

bool contradictsFormat(SourceBytes& source, const TaggedBlock& block)
{
    if (isMisspeltKey(block.key)) {
        return true;
    }
    if (block.data.length > kLongest || !isKnownKey(block.key)) {
        return false;
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(block.data.length));
    while (static_cast<std::int64_t>(bytes.size()) < block.data.length) {
        const auto at = static_cast<std::int64_t>(bytes.size());
        const auto view =
            source.at(block.data.offset + at, static_cast<std::size_t>(std::min<std::int64_t>(
                                                  block.data.length - at, SourceBytes::kMostView)));
        if (view.empty()) {
            return true;
        }
        bytes.insert(bytes.end(), view.begin(), view.end());
    }
    return !agrees(block.key, bytes);
}

bool isMisspeltKey(std::uint32_t blockKey)
{
    if (isKnownKey(blockKey)) {
        return false;
    }
    return std::any_of(kKnownKeys.begin(), kKnownKeys.end(), [blockKey](std::uint32_t known) {
        int differing = 0;
        for (unsigned shift = 0; shift < 32; shift += 8) {
            differing += ((known ^ blockKey) >> shift & 0xFFU) != 0 ? 1 : 0;
        }
        return differing == 1;
    });
}

} // namespace talvek::recovery
