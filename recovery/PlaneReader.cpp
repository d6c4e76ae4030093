#include "recovery/PlaneReader.h"

#include "recovery/PackBitsRow.h"
#include "recovery/PackedRows.h"
#include "recovery/ZipStream.h"

#include <algorithm>
#include <cstring>

namespace talvek::recovery {

namespace {

/// Copies as much of the range as the file holds.
std::size_t copyFrom(SourceBytes& source, std::int64_t offset, std::span<std::uint8_t> into)
{
    std::size_t done = 0;
    while (done < into.size()) {
        const auto view = source.at(offset + static_cast<std::int64_t>(done),
                                    std::min(into.size() - done, SourceBytes::kMostView));
        if (view.empty()) {
            break;
        }
        std::memcpy(into.data() + done, view.data(), view.size());
        done += view.size();
    }
    return done;
}

bool lose(std::span<std::uint8_t> row)
{
    std::fill(row.begin(), row.end(), std::uint8_t{0});
    return false;
}

class RowsOfPlane : public PlaneReader
{
public:
    explicit RowsOfPlane(const Plane& plane) : m_plane(plane) {}
    [[nodiscard]] std::int32_t rows() const override { return m_plane.rows; }
    [[nodiscard]] std::int64_t rowBytes() const override { return m_plane.rowBytes(); }

protected:
    const Plane& m_plane; // NOLINT: readers share it
};

class RawReader : public RowsOfPlane
{
public:
    RawReader(SourceBytes& source, const Plane& plane) : RowsOfPlane(plane), m_source(source) {}

    bool readRow(std::span<std::uint8_t> row) override
    {
        const std::int32_t number = m_row++;
        for (const RowRun& run : m_plane.runs) {
            if (number >= run.firstRow && number < run.firstRow + run.rowCount) {
                const std::int64_t offset =
                    run.offset + (number - run.firstRow) * m_plane.rowBytes();
                return copyFrom(m_source, offset, row) == row.size() || lose(row);
            }
        }
        return lose(row);
    }
    void skipRows(std::int32_t count) override { m_row += count; }

private:
    SourceBytes& m_source;
    std::int32_t m_row = 0;
};

class PackBitsReader : public RowsOfPlane
{
public:
    PackBitsReader(SourceBytes& source, const Plane& plane)
        : RowsOfPlane(plane), m_source(source), m_rows(source, plane)
    {}

    bool readRow(std::span<std::uint8_t> row) override
    {
        const PackedRows::Row packed = m_rows.next();
        if (packed.count <= 0 || packed.count > mostPacked(m_plane.rowBytes())) {
            return lose(row);
        }
        const auto count = static_cast<std::size_t>(packed.count);
        if (count <= SourceBytes::kMostView) {
            const auto view = m_source.at(packed.offset, count);
            return (view.size() == count && unpackRow(view, row)) || lose(row);
        }
        m_long.resize(count);
        const bool sound = copyFrom(m_source, packed.offset, m_long) == count;
        return (sound && unpackRow(m_long, row)) || lose(row);
    }
    void skipRows(std::int32_t count) override
    {
        for (; count > 0; --count) {
            m_rows.next();
        }
    }

private:
    SourceBytes& m_source;
    PackedRows m_rows;
    std::vector<std::uint8_t> m_long;
};

void addUp8(std::span<std::uint8_t> row)
{
    std::uint8_t sum = 0;
    for (std::uint8_t& sample : row) {
        sum = static_cast<std::uint8_t>(sum + sample);
        sample = sum;
    }
}

void addUp16(std::span<std::uint8_t> row)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < row.size(); i += 2) {
        sum += static_cast<std::uint32_t>(row[i] << 8U | row[i + 1]);
        row[i] = static_cast<std::uint8_t>(sum >> 8U);
        row[i + 1] = static_cast<std::uint8_t>(sum);
    }
}

/// 32 bits: a row holds first the highest bytes of all samples, then the second ones, and so on.
void gather32(std::span<const std::uint8_t> planar, std::span<std::uint8_t> row)
{
    const std::size_t width = row.size() / 4;
    for (std::size_t k = 0; k < 4; ++k) {
        for (std::size_t x = 0; x < width; ++x) {
            row[4 * x + k] = planar[k * width + x];
        }
    }
}

class ZipReader : public RowsOfPlane
{
public:
    ZipReader(SourceBytes& source, const Plane& plane)
        : RowsOfPlane(plane),
          m_stream(source, plane.runs.empty() ? 0 : plane.runs.front().offset,
                   plane.bytes.length > 0 ? plane.bytes.end() : source.size()),
          m_left(plane.runs.empty() ? 0 : plane.runs.front().rowCount),
          m_before(plane.rowsBefore)
    {}

    bool readRow(std::span<std::uint8_t> row) override
    {
        for (; m_before > 0; --m_before) {
            m_stream.read(row);
        }
        if (m_left <= 0 || m_stream.read(row) < row.size()) {
            m_left = 0;
            return lose(row);
        }
        --m_left;
        if (m_plane.compression == Compression::ZipPredicted) {
            undoPrediction(row);
        }
        return true;
    }
    void skipRows(std::int32_t count) override
    {
        m_skipped.resize(static_cast<std::size_t>(rowBytes()));
        for (; count > 0; --count) {
            readRow(m_skipped);
        }
    }

private:
    void undoPrediction(std::span<std::uint8_t> row)
    {
        if (m_plane.depth == 16) {
            addUp16(row);
            return;
        }
        addUp8(row);
        if (m_plane.depth == 32) {
            m_planar.assign(row.begin(), row.end());
            gather32(m_planar, row);
        }
    }

    ZipStream m_stream;
    std::int32_t m_left;
    std::int32_t m_before;
    std::vector<std::uint8_t> m_planar;
    std::vector<std::uint8_t> m_skipped;
};

} // namespace

struct SourceFiles::File
{
    File(const FileManager& files, const std::string& path)
        : handle(files.openForReading(path)), source(handle)
    {}
    ReadingFileHandle handle;
    SourceBytes source;
};

SourceFiles::SourceFiles(const FileManager& files, const std::vector<std::string>& paths)
{
    for (const std::string& path : paths) {
        m_files.push_back(std::make_unique<File>(files, path));
    }
}

SourceFiles::~SourceFiles() = default;

SourceBytes& SourceFiles::at(std::int32_t source)
{
    return m_files[static_cast<std::size_t>(source)]->source;
}

std::size_t SourceFiles::read(std::int32_t source, std::int64_t offset,
                              std::span<std::uint8_t> into)
{
    return copyFrom(at(source), offset, into);
}

std::vector<std::uint8_t> SourceFiles::bytes(const ByteRange& range, std::int64_t atMost)
{
    if (range.length <= 0 || range.length > atMost || range.end() > at(range.source).size()) {
        return {};
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(range.length));
    const bool whole = read(range.source, range.offset, bytes) == bytes.size();
    return whole ? bytes : std::vector<std::uint8_t>{};
}

std::unique_ptr<PlaneReader> openPlane(SourceFiles& files, const Plane& plane)
{
    SourceBytes& source = files.at(plane.bytes.source);
    switch (plane.compression) {
    case Compression::PackBits:
        return std::make_unique<PackBitsReader>(source, plane);
    case Compression::Zip:
    case Compression::ZipPredicted:
        return std::make_unique<ZipReader>(source, plane);
    case Compression::Raw:
        break;
    }
    return std::make_unique<RawReader>(source, plane);
}

} // namespace talvek::recovery
