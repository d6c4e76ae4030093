#include "engine/Repair.h"
#include "engine/SignatureSearch.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace talvek {

namespace {

// Where the fields of the 26-byte header stand, in bytes from its start.
constexpr std::size_t kVersionAt = 4;
constexpr std::size_t kReservedAt = 6;
constexpr std::size_t kChannelsAt = 12;
constexpr std::size_t kDepthAt = 22;
constexpr std::size_t kModeAt = 24;

template <std::size_t N>
bool isOneOf(std::uint8_t value, const std::array<std::uint8_t, N>& accepted)
{
    return std::find(accepted.begin(), accepted.end(), value) != accepted.end();
}

bool isAcceptedHeader(std::span<const std::uint8_t, 26> header)
{
    constexpr std::array<std::uint8_t, 4> kDepths = {16, 32, 1, 8};
    constexpr std::array<std::uint8_t, 8> kModes = {0, 1, 2, 3, 4, 7, 8, 9};
    const auto reserved = header.subspan(kReservedAt, kChannelsAt - kReservedAt);
    return holdsAt(header, 0, "8BPS") && header[kVersionAt] == 0 && header[kVersionAt + 1] == 1 &&
           std::all_of(reserved.begin(), reserved.end(), [](auto byte) { return byte == 0; }) &&
           header[kDepthAt] == 0 && isOneOf(header[kDepthAt + 1], kDepths) &&
           header[kModeAt] == 0 && isOneOf(header[kModeAt + 1], kModes);
}

} // namespace

bool Repair::isFileValidAtPath(const std::string& path) const
{
    Header header = {};
    return filemgr.openForReading(path).read(0, header) == header.size() &&
           isAcceptedHeader(header);
}

std::int64_t Repair::sizeOfLength(std::span<const std::uint8_t> bytes, std::int32_t count)
{
    constexpr std::int32_t kBitsOfSum = 32;
    assert(count >= 0 && static_cast<std::size_t>(count) <= bytes.size());
    std::int64_t sum = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto shift = static_cast<std::uint32_t>((count - 1 - i) * 8 % kBitsOfSum);
        const auto byte = static_cast<std::uint32_t>(bytes[static_cast<std::size_t>(i)]);
        // Signed on purpose: a damaged length of 2 GiB and more turns negative, and the stages
        // know what to make of that.
        sum += static_cast<std::int32_t>(byte << shift);
    }
    return sum;
}

std::int16_t Repair::channelNumber(std::span<const std::uint8_t> bytes, std::int32_t count)
{
    constexpr std::int32_t kBitsOfShift = 32;
    assert(count >= 0 && static_cast<std::size_t>(count) <= bytes.size());
    std::uint32_t sum = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto shift = static_cast<std::uint32_t>(8 * (count - 1 - i) % kBitsOfShift);
        sum += static_cast<std::uint32_t>(bytes[static_cast<std::size_t>(i)]) << shift;
    }
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(sum));
}

void Repair::mapSections()
{
    constexpr std::int64_t kHeaderBytes = 26;
    headerOffset = 0;
    ColorModeOffset = kHeaderBytes;
    imageResourceOffset = 0;
    layerAndMaskOffset = 0;
    mainImageOffset = 0;
    fileHeaderInformation = readHeader();
    // The colour-mode size counts its own length field, the resources' size below does not: the
    // stages rely on both.
    colorModeSize = readLength(ColorModeOffset) + 4;
    imageResourceOffset = colorModeSize + kHeaderBytes;
    sizeOfImageResource = readLength(imageResourceOffset);
}

bool Repair::hasSignature() const
{
    return holdsAt(fileHeaderInformation, 0, "8BPS");
}

/// The document's header; what the document lacks of it is zero.
Repair::Header Repair::readHeader()
{
    Header header = {};
    fileHandle.read(headerOffset, header);
    return header;
}

std::int64_t Repair::readLength(std::int64_t offset)
{
    // A short read leaves the rest of the field before: the stages search rather than trust.
    fileHandle.read(offset, temporary);
    return sizeOfLength(temporary, 4);
}

} // namespace talvek
