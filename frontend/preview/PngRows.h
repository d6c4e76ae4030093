#pragma once

#include "platform/FileHandle.h"

#include <QRgb>
#include <QSize>

#include <cstdint>
#include <span>
#include <vector>

struct png_info_def;
struct png_struct_def;

namespace talvek {

/// Reads the rows of a PNG file from top to bottom, as 8 bits a sample. Damage ends the rows; it
/// never throws and never ends the program. One thread at a time.
class PngRows
{
public:
    /// @param file  from its first byte on; outlives the object
    explicit PngRows(ByteSource& file);
    ~PngRows();
    PngRows(const PngRows&) = delete;
    PngRows& operator=(const PngRows&) = delete;

    /// Reads the file's head. @return false for what is no PNG or is interlaced
    bool begin(std::uint32_t mostColumns);
    [[nodiscard]] QSize size() const { return m_size; }
    /// The next row, red, green, blue and alpha for each pixel; empty if there are no more.
    std::span<const std::uint8_t> next();

private:
    static void readBytes(png_struct_def* png, unsigned char* into, std::size_t count);
    bool readHead(std::uint32_t mostColumns);
    bool readRow();

    ByteSource& m_file;
    std::int64_t m_offset = 0;
    png_struct_def* m_png = nullptr;
    png_info_def* m_info = nullptr;
    QSize m_size;
    bool m_hasEnded = false;
    std::vector<std::uint8_t> m_row;
};

} // namespace talvek
