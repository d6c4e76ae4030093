#include "recovery/EmbeddedCheck.h"

#include "recovery/Examination.h"
#include "recovery/TaggedBlocks.h"
#include "recovery/output/Verdict.h"

#include <zlib.h>

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::uint64_t kPngSignature = 0x89504E470D0A1A0A;
constexpr std::int64_t kPngSignatureBytes = 8;
/// Length, type and checksum of a chunk.
constexpr std::int64_t kChunkFrame = 12;

/// The checksum over `range`, as PNG has it; read in pieces.
std::uint32_t checksumOf(SourceBytes& source, const ByteRange& range, const RunControl& control)
{
    uLong sum = crc32(0, nullptr, 0);
    for (std::int64_t at = range.offset; at < range.end();) {
        const auto wanted = std::min<std::int64_t>(range.end() - at, SourceBytes::kMostView);
        const auto view = source.at(at, static_cast<std::size_t>(wanted));
        if (view.empty() || control.isStoppedAfterPause()) {
            break;
        }
        sum = crc32(sum, view.data(), static_cast<uInt>(view.size()));
        at += static_cast<std::int64_t>(view.size());
    }
    return static_cast<std::uint32_t>(sum);
}

/// Every chunk agrees with its checksum, up to the last one.
State checkPng(SourceBytes& source, const ByteRange& data, const RunControl& control)
{
    std::int64_t at = data.offset + kPngSignatureBytes;
    while (at + kChunkFrame <= data.end()) {
        const std::int64_t length = source.u32(at);
        const std::uint32_t type = source.u32(at + 4);
        const ByteRange summed{at + 4, 4 + length, 0};
        if (summed.end() + 4 > data.end() ||
            checksumOf(source, summed, control) != source.u32(summed.end())) {
            return State::Partial;
        }
        if (type == key("IEND")) {
            return State::Whole;
        }
        at = summed.end() + 4;
    }
    return State::Partial;
}

State checkDocument(SourceBytes& source, const ByteRange& data, const RunControl& control)
{
    SourceBytes inside(source, data.offset, data.length);
    Examination examination(inside, control, [](const std::string&, double) {});
    examination.setIsEmbedded();
    const RecoveredDocument document = examination.run({});
    const bool isSound = output::outcome(document) == output::Outcome::Complete &&
                         document.facts.origin == HeaderOrigin::Header && document.missing.empty();
    if (!isSound) {
        return State::Partial;
    }
    State worst = document.composite.state;
    for (const Layer& layer : document.layers) {
        worst = std::max(worst, layer.state);
    }
    return worst;
}

} // namespace

State checkEmbedded(SourceBytes& source, const EmbeddedFile& file, const RunControl& control)
{
    if (file.state >= State::Partial) {
        return file.state;
    }
    State state = State::Unproved;
    if (source.u64(file.data.offset) == kPngSignature) {
        state = checkPng(source, file.data, control);
    } else if (source.u32(file.data.offset) == key("8BPS")) {
        state = checkDocument(source, file.data, control);
    }
    return control.stop() ? file.state : state;
}

} // namespace talvek::recovery
