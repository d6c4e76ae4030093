#include "engine/Repair.h"
#include "engine/Repair_outputs.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

namespace talvek {

namespace {

/// What the names of a layer's two documents begin with.
constexpr const char* kLayerKind = "layer";
constexpr const char* kMaskKind = "mask";

/// The path of a document, less its extension.
std::string documentStem(const std::string& folder, const char* kind, std::int32_t number)
{
    return folder + "/" + kind + std::to_string(number) + "_image";
}

/// One entry of a record's channel list.
struct Channel
{
    std::int16_t identifier = 0; ///< below zero: transparency or a mask
    std::int64_t length = 0;     ///< of its data, compression code included

    [[nodiscard]] bool isMask() const { return identifier < 0; }
    /// A packed mask is written three times, for the colour planes of a picture of it.
    [[nodiscard]] int packedCopies() const { return isMask() ? 3 : 1; }
};

constexpr std::size_t kMostChannels = 20;
constexpr std::int64_t kEntryBytes = 6;
constexpr std::int64_t kCodeBytes = 2;

/// The size field of a salvaged document. Its second byte repeats bits 48 to 55, so sizes up to
/// 65535 come out as they are and negative ones begin FF FF.
std::array<std::uint8_t, 4> sizeField(std::int64_t difference)
{
    return {static_cast<std::uint8_t>(difference >> 56),
            static_cast<std::uint8_t>(difference >> 48), static_cast<std::uint8_t>(difference >> 8),
            static_cast<std::uint8_t>(difference)};
}

} // namespace

/// The extraction of one layer, from its record to its documents.
class Repair::LayerExtraction
{
public:
    LayerExtraction(Repair& repair, std::int64_t recordOffset);

    /// Walks the channel list; false if it does not agree with the record's channel count.
    bool readChannels();
    void readHead();
    void writeDocuments();
    /// Decodes what is left under the names that `writeDocuments` began with.
    void decodeDocuments();

private:
    /// Bytes of the damaged document; a negative length takes all to its end.
    struct Range
    {
        std::int64_t offset = 0;
        std::int64_t length = 0;
    };

    /// One of the two documents: where it is, where it goes undecoded, and either its open end or
    /// the pieces that it is decoded from.
    struct Document
    {
        std::string path;
        std::string undecodedPath;
        std::optional<OpenOutput> output;
        std::optional<PackedDraft> draft;
        std::int64_t draftHead = 0; ///< bytes of the draft before its channels
    };

    [[nodiscard]] Document documentNamed(const char* kind) const;
    std::int16_t readIdentifier(std::int64_t offset);
    std::int64_t readBound(std::int64_t distance);
    [[nodiscard]] std::int64_t headBytes() const { return m_colorModeLength + kSalvagedHeadBytes; }
    [[nodiscard]] Range packedRange(const Channel& channel, std::int64_t start) const;
    [[nodiscard]] bool isPackedAt(std::int64_t start);
    [[nodiscard]] bool canBeDrafted();
    void create(Document& document);
    void writeChannel(const Channel& channel);
    void writePacked(const Range& packed, Document& document);
    void writeUndecoded(const Channel& channel, Document& document);
    void writeOut(Document& document);
    void decode(Document& document, const char* kind);
    void decodeWritten(const char* kind);

    Repair& m_repair;
    std::array<Channel, kMostChannels> m_channels = {}; ///< the record's last channel first
    std::size_t m_channelCount = 0;
    std::int64_t m_position; ///< of the channel list's first entry, once it is walked
    std::array<std::uint8_t, 2> m_identifier = {};
    Header m_header = {};
    std::int64_t m_colorModeLength = 0;
    std::int64_t m_rows = 0;
    bool m_isDrafted = false;
    Document m_layer;
    Document m_mask;
};

void Repair::imageOfLayer(std::int64_t recordOffset)
{
    LayerExtraction extraction(*this, recordOffset);
    if (!extraction.readChannels()) {
        return;
    }
    ++layer_counter;
    extraction.readHead();
    extraction.writeDocuments();
    extraction.decodeDocuments();
}

Repair::LayerExtraction::LayerExtraction(Repair& repair, std::int64_t recordOffset)
    : m_repair(repair),
      m_position(recordOffset),
      m_layer(documentNamed(kLayerKind)),
      m_mask(documentNamed(kMaskKind))
{
    m_header = m_repair.readHeader();
    m_colorModeLength = m_repair.readLength(m_repair.ColorModeOffset);
}

Repair::LayerExtraction::Document Repair::LayerExtraction::documentNamed(const char* kind) const
{
    const std::string stem =
        documentStem(m_repair.recoverFileLocationField, kind, m_repair.layer_counter);
    return {.path = stem + ".psd",
            .undecodedPath = stem + " .psd",
            .output = std::nullopt,
            .draft = std::nullopt};
}

/// The list has no end mark towards its start, so it is walked backwards from the signature, as
/// long as the identifiers fall by one from entry to entry.
bool Repair::LayerExtraction::readChannels()
{
    m_position -= kEntryBytes;
    std::int32_t identifier = readIdentifier(m_position);
    const auto take = [this, &identifier] {
        m_channels[m_channelCount++] = {.identifier = static_cast<std::int16_t>(identifier),
                                        .length = m_repair.readLength(m_position + 2)};
    };
    take();
    while (m_channelCount < kMostChannels && !m_repair.isAborted() &&
           !m_repair.isStoppedOrWaits()) {
        if (readIdentifier(m_position - kEntryBytes) != identifier - 1) {
            break;
        }
        m_position -= kEntryBytes;
        --identifier;
        take();
    }
    const std::int16_t stated = readIdentifier(m_position - 2);
    return stated >= 0 && static_cast<std::size_t>(stated) == m_channelCount;
}

/// A short read keeps the bytes of the identifier before.
std::int16_t Repair::LayerExtraction::readIdentifier(std::int64_t offset)
{
    m_repair.fileHandle.read(offset, m_identifier);
    return channelNumber(m_identifier, 2);
}

/// One side of the layer's rectangle, so many bytes before the channel list.
std::int64_t Repair::LayerExtraction::readBound(std::int64_t distance)
{
    return m_repair.readLength(m_position - distance);
}

/// Completes the documents' header: the source's own, with the layer's channels and size.
void Repair::LayerExtraction::readHead()
{
    constexpr std::ptrdiff_t kChannelsAt = 12;
    constexpr std::ptrdiff_t kHeightAt = 14;
    constexpr std::ptrdiff_t kWidthAt = 18;
    const std::int64_t top = readBound(18);
    const std::int64_t left = readBound(14);
    const std::int64_t bottom = readBound(10);
    const std::int64_t right = readBound(6);
    m_rows = bottom - top;
    const auto colors = static_cast<std::uint8_t>(std::count_if(
        m_channels.begin(), m_channels.begin() + static_cast<std::ptrdiff_t>(m_channelCount),
        [](const Channel& channel) { return !channel.isMask(); }));
    m_header[kChannelsAt] = 0;
    m_header[kChannelsAt + 1] = colors;
    std::ranges::copy(sizeField(m_rows), m_header.begin() + kHeightAt);
    std::ranges::copy(sizeField(right - left), m_header.begin() + kWidthAt);
}

void Repair::LayerExtraction::writeDocuments()
{
    m_isDrafted = canBeDrafted();
    create(m_layer);
    const auto channels = std::span(m_channels).first(m_channelCount);
    if (!m_repair.isAborted() && std::ranges::any_of(channels, &Channel::isMask)) {
        create(m_mask);
    }
    for (std::size_t left = m_channelCount; left > 0 && !m_repair.isAborted(); --left) {
        const Channel& channel = channels[left - 1];
        writeChannel(channel);
        m_repair.layerStart += channel.length;
        m_repair.postProgressAt(m_repair.layerStart);
    }
    m_layer.output.reset();
    m_mask.output.reset();
}

/// True if the two documents may stay unwritten until they are decoded: every channel is packed,
/// and the volume would have had room for them, so no write of them would have been refused.
bool Repair::LayerExtraction::canBeDrafted()
{
    const std::int64_t head = readableBytes(m_repair.fileHandle, 0, headBytes());
    std::int64_t bytes = 2 * (head + kSalvagedHeadBytes);
    std::int64_t start = m_repair.layerStart;
    for (std::size_t left = m_channelCount; left > 0; --left) {
        const Channel& channel = m_channels[left - 1];
        const Range packed = packedRange(channel, start);
        if (packed.offset < 0 || !isPackedAt(start)) {
            return false;
        }
        bytes += channel.packedCopies() *
                 readableBytes(m_repair.fileHandle, packed.offset, packed.length);
        start += channel.length;
    }
    return m_repair.m_ledger->hasRoomToSpare(m_repair.outputVolume(),
                                             static_cast<std::uint64_t>(bytes));
}

bool Repair::LayerExtraction::isPackedAt(std::int64_t start)
{
    std::array<std::uint8_t, kCodeBytes> code = {};
    return m_repair.fileHandle.read(start, code) == code.size() && code[0] == 0 && code[1] == 1;
}

/// The packed rows of a channel whose data start at `start`: what follows the code and the row
/// table, which is skipped because the salvaged document declares raw data.
Repair::LayerExtraction::Range Repair::LayerExtraction::packedRange(const Channel& channel,
                                                                    std::int64_t start) const
{
    constexpr std::int64_t kRowCountBytes = 2;
    const std::int64_t skipped = kCodeBytes + m_rows * kRowCountBytes;
    return {.offset = start + skipped, .length = channel.length - skipped};
}

void Repair::LayerExtraction::create(Document& document)
{
    if (!m_repair.hasRoomForStated(m_repair.outputVolume(), headBytes())) {
        m_repair.abortProgram();
        return;
    }
    if (m_isDrafted) {
        PackedDraft& draft = document.draft.emplace(m_repair.fileHandle);
        draft.appendOwn(m_header);
        draft.appendRange(m_repair.ColorModeOffset, m_colorModeLength + 4);
        draft.appendOwn(kEmptySections);
        document.draftHead = draft.size();
        m_repair.countUnwritten(draft.size());
        return;
    }
    m_repair.createOutput(document.path, {});
    WritingFileHandle& output = document.output.emplace(m_repair, document.path).handle();
    m_repair.append(output, m_header);
    m_repair.copyOneRead(m_repair.fileHandle, m_repair.ColorModeOffset, m_colorModeLength + 4,
                         output);
    m_repair.append(output, kEmptySections);
}

void Repair::LayerExtraction::writeChannel(const Channel& channel)
{
    Document& document = channel.isMask() ? m_mask : m_layer;
    if (!isPackedAt(m_repair.layerStart)) {
        writeUndecoded(channel, document);
        return;
    }
    const Range packed = packedRange(channel, m_repair.layerStart);
    for (int copy = 0; copy < channel.packedCopies(); ++copy) {
        writePacked(packed, document);
    }
}

void Repair::LayerExtraction::writePacked(const Range& packed, Document& document)
{
    if (document.draft) {
        const std::int64_t before = document.draft->size();
        document.draft->appendRange(packed.offset, packed.length);
        m_repair.countUnwritten(document.draft->size() - before);
        return;
    }
    m_repair.layerImages(document.output->handle(), packed.offset, packed.length);
}

/// Keeps the channel as it stands, under the name that is not decoded. The stated length is taken
/// from behind the code, so two bytes of what follows come along.
void Repair::LayerExtraction::writeUndecoded(const Channel& channel, Document& document)
{
    WritingFileHandle& output = document.output->handle();
    output.flush();
    m_repair.filemgr.moveItem(document.path, document.undecodedPath);
    m_repair.layerImages(output, m_repair.layerStart + kCodeBytes, channel.length);
    m_repair.mutableStringArray.push_back(document.undecodedPath);
}

void Repair::LayerExtraction::decodeDocuments()
{
    decode(m_mask, kMaskKind);
    decode(m_layer, kLayerKind);
}

void Repair::LayerExtraction::decode(Document& document, const char* kind)
{
    if (document.draft) {
        if (!m_repair.isAborted() &&
            m_repair.decodeDraft(*document.draft, document.path, headBytes())) {
            return;
        }
        writeOut(document);
    }
    decodeWritten(kind);
}

/// Writes a draft after all: an abort leaves the packed document to the user, and channels with
/// bytes that cannot be read are copied block by block, so that only those are missing. The head
/// goes in one read, as it always does.
void Repair::LayerExtraction::writeOut(Document& document)
{
    m_repair.createOutput(document.path, {});
    OpenOutput output(m_repair, document.path);
    output.handle().leaveUncounted();
    const bool wasAborted = m_repair.isAborted();
    for (const PackedDraft::Piece& piece : document.draft->pieces()) {
        if (piece.isOwn) {
            m_repair.append(output.handle(), document.draft->ownBytes(piece));
        } else if (wasAborted || piece.start < document.draftHead) {
            m_repair.copyOneRead(m_repair.fileHandle, piece.offset, piece.length, output.handle());
        } else {
            m_repair.layerImages(output.handle(), piece.offset, piece.length);
        }
    }
}

/// A document that was moved no longer stands under its first name, so only PackBits is decoded.
void Repair::LayerExtraction::decodeWritten(const char* kind)
{
    const std::string path =
        documentStem(m_repair.recoverFileLocationField, kind, m_repair.layer_counter - 1) + ".psd";
    if (!isInRootFolder(path) && m_repair.filemgr.existsAtPath(path)) {
        m_repair.decodeImage(path, headBytes());
    }
}

} // namespace talvek
