#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvek::test {

/// How a channel, or the composite, is stored; the values are those of the compression code.
enum class Packing : std::uint16_t
{
    raw = 0,
    packBits = 1,
    zip = 2,
    zipPrediction = 3,
};

/// A document in memory, with the places that a test wants to speak of, and the verbs that damage
/// it. Places are offsets from the start of the file; they are those of the document as built and
/// do not follow deletions and insertions.
class Document
{
public:
    struct Channel
    {
        std::int16_t id = 0;
        Packing packing = Packing::raw;
        std::int64_t entry = 0;  ///< of its identifier and length in the layer record
        std::int64_t data = 0;   ///< of its compression code
        std::int64_t length = 0; ///< bytes from the compression code on, as the record says
    };

    struct Record
    {
        std::string name;
        std::int64_t start = 0;       ///< of its bounds, that is, of the record
        std::int64_t signature = 0;   ///< of the blend mode's "8BIM"
        std::int64_t extraLength = 0; ///< of the length field of its extra data
        std::int64_t end = 0;
        std::vector<Channel> channels;
    };

    /// A section, a resource block or a tagged block: where it starts and the length it states.
    struct Block
    {
        std::int64_t start = 0;       ///< of the section, or of the block's "8BIM"
        std::int64_t lengthField = 0; ///< the same as `start` for a section
        std::int64_t data = 0;
        std::int64_t length = 0;
        std::string key; ///< of a tagged block
    };

    Bytes bytes;

    Block colourModeData;
    Block imageResources;
    Block layerAndMask;
    std::int64_t layerCount = 0;       ///< of the 2-byte layer count; 0 without one
    std::int64_t channelImageData = 0; ///< of the first layer's first channel; 0 without layers
    std::int64_t composite = 0;        ///< of the composite's compression code
    std::vector<Block> thumbnails;     ///< resource blocks, of either kind
    std::vector<Block> globalBlocks;   ///< tagged blocks behind the layers, "FMsk" among them
    std::vector<Record> records;

    [[nodiscard]] std::int64_t size() const { return static_cast<std::int64_t>(bytes.size()); }

    // Damage. Offsets outside the document are left alone, so that any damage may follow any other.

    /// Loses everything from `offset` on.
    Document& cutAt(std::int64_t offset);
    /// Inverts all bits of one byte.
    Document& flipByte(std::int64_t offset);
    /// Makes the 4-byte length at `offset` state `length`.
    Document& lieLength(std::int64_t offset, std::int64_t length);
    /// A lost sector.
    Document& zeroFill(std::int64_t offset, std::int64_t count);
    Document& deleteBytes(std::int64_t offset, std::int64_t count);
    Document& insertBytes(std::int64_t offset, const Bytes& inserted);
    Document& overwrite(std::int64_t offset, const Bytes& written);
};

} // namespace talvek::test
