#pragma once

#include "platform/FileHandle.h"
#include "platform/FileManager.h"
#include "recovery/RecoveredDocument.h"
#include "recovery/SourceBytes.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace talvek::recovery {

/// The files that a document is recovered from, opened for reading. One thread at a time: each
/// thread that reads planes makes its own from `RecoveredDocument::sources`. A file that cannot be
/// opened reads as empty.
class SourceFiles
{
public:
    SourceFiles(const FileManager& files, const std::vector<std::string>& paths);
    ~SourceFiles();
    SourceFiles(const SourceFiles&) = delete;
    SourceFiles& operator=(const SourceFiles&) = delete;

    /// Views of the file; good until the next call on the same source.
    /// Requires: 0 <= source < the number of paths.
    [[nodiscard]] SourceBytes& at(std::int32_t source);
    /// Reads into `into`, short at the end of the file. @return bytes read
    std::size_t read(std::int32_t source, std::int64_t offset, std::span<std::uint8_t> into);
    /// The whole range, or nothing if it is longer than `atMost` or cannot be read whole.
    std::vector<std::uint8_t> bytes(const ByteRange& range, std::int64_t atMost);

private:
    struct File;
    std::vector<std::unique_ptr<File>> m_files;
};

/// Gives the decoded rows of a plane, top to bottom.
///
/// A row is `rowBytes` bytes as the format stores plain samples: 1 bit packed, the leftmost pixel
/// in the highest bit (1 is black); 8 bits; 16 bits and 32-bit floats the highest byte first.
/// Prediction is undone. Memory: two rows and 100 KiB, whatever the plane's size.
class PlaneReader
{
public:
    virtual ~PlaneReader() = default;

    [[nodiscard]] virtual std::int32_t rows() const = 0;
    [[nodiscard]] virtual std::int64_t rowBytes() const = 0;
    /// Fills `row` with the next row, or with zeros if that row is lost (or past the last).
    /// @return true if the row was recovered
    /// Requires: row.size() == rowBytes().
    virtual bool readRow(std::span<std::uint8_t> row) = 0;
    /// Passes over `count` rows. PackBits rows of a table and raw rows are not decoded for it.
    virtual void skipRows(std::int32_t count) = 0;
};

/// A reader for `plane`, from its first row on. `files` and `plane` outlive the reader.
/// Any number of readers may share `files` on one thread.
std::unique_ptr<PlaneReader> openPlane(SourceFiles& files, const Plane& plane);

} // namespace talvek::recovery
