#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvek::recovery {

/// How well a thing is known, the best first; a layer's state is the worst of its channels'.
enum class State : std::uint8_t
{
    Whole,    ///< every byte is proved by the format's own redundancy
    Unproved, ///< the bytes are there, and nothing proves them
    Partial,  ///< some rows are there
    Lost,     ///< known of, but nothing of it is left
};

/// What proves a plane.
enum class Proof : std::uint8_t
{
    None,
    PackBitsRows, ///< the row table adds up, and every row takes its bytes and gives its width
    ZipStream,    ///< the stream ends where it should, with the right size and checksum
    Length,       ///< the length is rows x row bytes, which proves the place and not the content
    Empty,        ///< there is nothing to prove: the plane has no samples
};

/// The compression codes of the PSD format.
enum class Compression : std::uint16_t
{
    Raw = 0,
    PackBits = 1,
    Zip = 2,
    ZipPredicted = 3,
};

/// The colour modes of the PSD format.
enum class ColorMode : std::uint16_t
{
    Bitmap = 0,
    Grayscale = 1,
    Indexed = 2,
    Rgb = 3,
    Cmyk = 4,
    Multichannel = 7,
    Duotone = 8,
    Lab = 9,
};

/// Bytes of one of the files that the document was recovered from. All zero: no such bytes.
struct ByteRange
{
    std::int64_t offset = 0; ///< from the start of the file
    std::int64_t length = 0; ///< in bytes, never negative
    std::int32_t source = 0; ///< index into `RecoveredDocument::sources`

    [[nodiscard]] std::int64_t end() const { return offset + length; }
    bool operator==(const ByteRange&) const = default;
};

/// In pixels of the canvas; `bottom` and `right` lie outside. May reach beyond the canvas.
struct Rectangle
{
    std::int32_t top = 0;
    std::int32_t left = 0;
    std::int32_t bottom = 0;
    std::int32_t right = 0;

    [[nodiscard]] std::int64_t rows() const { return std::int64_t{bottom} - top; }
    [[nodiscard]] std::int64_t columns() const { return std::int64_t{right} - left; }
    [[nodiscard]] bool isEmpty() const { return rows() <= 0 || columns() <= 0; }
    bool operator==(const Rectangle&) const = default;
};

/// Rows that follow each other in the source without a gap. Rows in no run are lost.
struct RowRun
{
    std::int32_t firstRow = 0;
    std::int32_t rowCount = 0;
    std::int64_t offset = 0;       ///< of the first row's bytes
    std::int64_t tableOffset = -1; ///< PackBits: of the first row's byte count in the row table;
                                   ///< -1: the rows are told apart by their width alone
};

/// The samples of one channel, and where in a source they are. Read with `openPlane`.
struct Plane
{
    State state = State::Lost;
    Proof proof = Proof::None;
    Compression compression = Compression::Raw;
    std::uint8_t tableEntryBytes = 2; ///< PackBits: 2, or 4 in a large document
    std::uint16_t depth = 8;          ///< bits a sample: 1, 8, 16 or 32
    std::int32_t rows = 0;
    std::int32_t columns = 0;
    std::int32_t rowsRecovered = 0;
    std::int32_t rowsBefore = 0; ///< ZIP: rows of other planes that the same stream holds before
    ByteRange bytes;             ///< from the compression code on; where known
    std::vector<RowRun> runs;    ///< by `firstRow`, disjoint; ZIP: one, from row 0, `offset` that
                                 ///< of the stream. Empty when nothing is left

    [[nodiscard]] std::int64_t rowBytes() const { return (std::int64_t{columns} * depth + 7) / 8; }
    [[nodiscard]] bool isEmpty() const { return rows <= 0 || columns <= 0; }
};

/// One channel of a layer: -1 transparency, -2 mask, -3 the user's mask beside a vector mask, and
/// from 0 on the colours in the order of the mode.
struct Channel
{
    std::int16_t id = 0;
    Rectangle bounds; ///< the layer's, or those of the mask
    Plane plane;
};

/// A tagged block of a record or of the document. `key` has its first letter in the highest byte.
struct TaggedBlock
{
    std::uint32_t key = 0;
    ByteRange data;  ///< what the block holds
    ByteRange whole; ///< with signature, key, length and padding, as it can be carried over
};

/// What the section divider says that a layer is.
enum class Group : std::uint32_t
{
    None = 0,
    Open = 1,
    Closed = 2,
    End = 3, ///< the divider below a group's lowest member
};

/// A layer mask as the record describes it.
struct Mask
{
    Rectangle bounds;
    std::uint8_t defaultColor = 0;
    std::uint8_t flags = 0;
};

/// One layer, group divider or adjustment layer.
struct Layer
{
    std::string name; ///< UTF-8
    Rectangle bounds;
    std::string blend = "norm"; ///< four bytes, as stored
    std::uint8_t opacity = 255;
    std::uint8_t clipping = 0; ///< 1: clipped to the layer below
    std::uint8_t flags = 0;    ///< bit 1: hidden
    Group group = Group::None;
    std::int32_t parent = -1; ///< index in `layers` of the group's own record; -1: none
    std::optional<std::uint32_t> id;
    State state = State::Lost;
    bool hasRecord = true;        ///< false: made up around planes that no record claims
    bool inferred = false;        ///< a group bracket that was missing and has been added
    std::string note;             ///< what was found missing, in words; empty if nothing
    std::optional<Mask> mask;     ///< of channel -2
    std::optional<Mask> realMask; ///< of channel -3
    ByteRange record;             ///< from the rectangle to the end of the last tagged block
    ByteRange maskData;           ///< the record's mask block, its length field not included
    ByteRange blendingRanges;     ///< likewise
    ByteRange extra; ///< all extra data, its length field not included, when it is sound
                     ///< from end to end and can be carried over as it is
    std::vector<TaggedBlock> blocks;
    std::vector<Channel> channels; ///< in the order of the record

    [[nodiscard]] bool isDivider() const { return group != Group::None; }
    /// Holds pixels by its rectangle, whether or not they were found.
    [[nodiscard]] bool hasPixels() const { return !bounds.isEmpty(); }
};

/// Where a header field comes from.
enum class HeaderOrigin : std::uint8_t
{
    Header,    ///< the document's own
    Rebuilt,   ///< worked out from the rest of the document
    Unknown,   ///< lost, and nothing in the document tells its size
    Reference, ///< another copy's
};

struct DocumentFacts
{
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t channels = 0;
    std::int32_t depth = 8;
    ColorMode mode = ColorMode::Rgb;
    std::int32_t version = 1; ///< 1: PSD, 2: PSB
    HeaderOrigin origin = HeaderOrigin::Header;
    bool sizeIsGuess = false; ///< the picture's rows alone tell it, and other sizes would fit them
    ByteRange header;         ///< 26 bytes, where found
    ByteRange colorData;      ///< colour table or duotone data, its length field not included
};

/// The merged picture.
struct Composite
{
    State state = State::Lost;
    bool flattened = false; ///< made anew from the layers, because the stored one is lost
    ByteRange bytes;        ///< from the compression code on
    std::int64_t rows = 0;  ///< of all channels together
    std::int64_t rowsRecovered = 0;
    std::vector<Channel> channels; ///< numbered from 0; empty if nothing was found
};

/// An image resource block that is sound.
struct Resource
{
    std::uint16_t id = 0;
    ByteRange data;  ///< what the block holds
    ByteRange whole; ///< from the signature to the padding
};

struct Thumbnail
{
    std::int32_t width = 0;
    std::int32_t height = 0;
    ByteRange jpeg;
};

/// A source file that a smart object carries inside the document.
struct EmbeddedFile
{
    std::string name; ///< UTF-8, as stored: not safe as a path
    std::string type; ///< four letters, as stored
    std::string uniqueId;
    ByteRange data;
    State state =
        State::Whole; ///< Whole: what the file says of itself agrees; Unproved: it is of a
                      ///< kind that proves nothing; Partial: it is damaged, or cut short
};

/// Bytes by what they mean, for the map of the document.
enum class Meaning : std::uint8_t
{
    Header,
    Resource,
    LayerRecord,
    Plane,
    TaggedBlock,
    Composite,
    Zeros,   ///< nothing but zeros where there should be something
    Unknown, ///< claimed by nothing that was found
};

struct Region
{
    ByteRange bytes;
    Meaning meaning = Meaning::Unknown;
    State state = State::Whole;
};

/// Everything that was found of one document, by place and not by content: it holds no pixels and
/// stays small whatever the document's size. Offsets are good for the files as they were read.
struct RecoveredDocument
{
    std::vector<std::string> sources; ///< paths; 0 is the document itself, then the references
    std::int64_t size = 0;            ///< of source 0, in bytes
    bool nothingLeft = false;         ///< empty, or one value all over

    DocumentFacts facts;
    std::vector<Layer> layers; ///< in the order of the records: the lowest first
    Composite composite;
    std::vector<Resource> resources;
    bool resourcesAreWhole = false;  ///< one after the other without a gap, from the first one on
    std::vector<TaggedBlock> blocks; ///< of the document, behind the layers
    ByteRange globalMask;            ///< without its length field
    bool mergedAlpha = false;        ///< the composite's first extra channel is its transparency

    std::optional<Thumbnail> thumbnail;
    ByteRange profile; ///< ICC
    ByteRange xmp;
    ByteRange resolution; ///< the resource's 16 bytes
    std::vector<EmbeddedFile> embedded;

    /// How many layers the document says that it had, from resources far away from the layers.
    std::optional<std::int32_t> statedLayers;
    /// No layers were found, and nothing shows that there were none.
    bool layersMayBeLost = false;
    std::int32_t planesWithoutRecord = 0;
    std::int32_t recordsWithoutPlanes = 0;
    std::vector<std::string> missing; ///< what was found missing, a sentence each
    std::vector<Region> regions;      ///< by offset, disjoint

    /// The resource with this id, or null.
    [[nodiscard]] const Resource* resource(std::uint16_t id) const
    {
        for (const Resource& one : resources) {
            if (one.id == id) {
                return &one;
            }
        }
        return nullptr;
    }
};

} // namespace talvek::recovery
