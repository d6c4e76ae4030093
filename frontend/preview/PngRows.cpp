#include "frontend/preview/PngRows.h"

#include <png.h>

#include <csetjmp>

namespace talvek {

namespace {

/// Of a text or a profile; pictures are not read at once, so nothing else is large.
constexpr png_alloc_size_t kMostChunkBytes = 8U << 20U;

void ignoreWarning(png_structp /*png*/, png_const_charp /*message*/) {}

/// The library takes an error function that comes back for a fault of its caller.
[[noreturn]] void leap(png_structp png, png_const_charp /*message*/)
{
    png_longjmp(png, 1);
}

} // namespace

PngRows::PngRows(ByteSource& file)
    : m_file(file),
      m_png(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leap, ignoreWarning))
{
    m_info = m_png != nullptr ? png_create_info_struct(m_png) : nullptr;
}

PngRows::~PngRows()
{
    if (m_png != nullptr) {
        png_destroy_read_struct(&m_png, m_info != nullptr ? &m_info : nullptr, nullptr);
    }
}

void PngRows::readBytes(png_struct_def* png, unsigned char* into, std::size_t count)
{
    auto* rows = static_cast<PngRows*>(png_get_io_ptr(png));
    const std::size_t got = rows->m_file.read(rows->m_offset, {into, count});
    rows->m_offset += static_cast<std::int64_t>(got);
    if (got < count) {
        png_error(png, "end of file");
    }
}

bool PngRows::begin(std::uint32_t mostColumns)
{
    if (m_info == nullptr || !readHead(mostColumns)) {
        return false;
    }
    m_row.resize(png_get_rowbytes(m_png, m_info));
    return m_row.size() == 4 * static_cast<std::size_t>(m_size.width());
}

/// Holds nothing that a leap over it could leave undone, like the function below.
bool PngRows::readHead(std::uint32_t mostColumns)
{
    if (setjmp(png_jmpbuf(m_png)) != 0) { // NOLINT(cert-err52-cpp): the library knows no other way
        return false;
    }
    png_set_read_fn(m_png, this, readBytes);
    png_set_user_limits(m_png, mostColumns, PNG_UINT_31_MAX);
    png_set_chunk_malloc_max(m_png, kMostChunkBytes);
    png_read_info(m_png, m_info);
    if (png_get_interlace_type(m_png, m_info) != PNG_INTERLACE_NONE) {
        return false;
    }
    m_size = QSize(static_cast<int>(png_get_image_width(m_png, m_info)),
                   static_cast<int>(png_get_image_height(m_png, m_info)));
    png_set_expand(m_png);
    png_set_scale_16(m_png);
    png_set_gray_to_rgb(m_png);
    png_set_add_alpha(m_png, 0xFF, PNG_FILLER_AFTER);
    png_read_update_info(m_png, m_info);
    return true;
}

bool PngRows::readRow()
{
    if (setjmp(png_jmpbuf(m_png)) != 0) { // NOLINT(cert-err52-cpp)
        return false;
    }
    png_read_row(m_png, m_row.data(), nullptr);
    return true;
}

std::span<const std::uint8_t> PngRows::next()
{
    m_hasEnded = m_hasEnded || m_row.empty() || !readRow();
    return m_hasEnded ? std::span<const std::uint8_t>() : std::span<const std::uint8_t>(m_row);
}

} // namespace talvek
