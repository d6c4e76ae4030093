#include "recovery/ZipStream.h"

#include <zlib.h>

#include <algorithm>

namespace talvek::recovery {

namespace {

constexpr std::size_t kBlockBytes = 32U << 10U;

} // namespace

struct ZipStream::Inflater
{
    z_stream stream = {};
    bool ready = false;
    std::vector<std::uint8_t> input;
};

ZipStream::ZipStream(SourceBytes& source, std::int64_t offset, std::int64_t limit)
    : m_source(source),
      m_start(offset),
      m_at(offset),
      m_limit(std::min(limit, source.size())),
      m_inflater(std::make_unique<Inflater>())
{
    m_inflater->ready = inflateInit(&m_inflater->stream) == Z_OK;
    m_over = !m_inflater->ready;
}

ZipStream::~ZipStream()
{
    if (m_inflater->ready) {
        inflateEnd(&m_inflater->stream);
    }
}

std::int64_t ZipStream::consumed() const
{
    return m_at - m_start - static_cast<std::int64_t>(m_inflater->stream.avail_in);
}

std::size_t ZipStream::read(std::span<std::uint8_t> into)
{
    z_stream& stream = m_inflater->stream;
    std::size_t done = 0;
    while (!m_over) {
        if (stream.avail_in == 0) {
            const auto wanted = std::clamp<std::int64_t>(m_limit - m_at, 0, kBlockBytes);
            const auto view = m_source.at(m_at, static_cast<std::size_t>(wanted));
            m_inflater->input.assign(view.begin(), view.end());
            m_at += static_cast<std::int64_t>(view.size());
            stream.next_in = m_inflater->input.data();
            stream.avail_in = static_cast<uInt>(view.size());
        }
        const std::size_t room = std::min<std::size_t>(into.size() - done, 1U << 30U);
        stream.next_out = into.data() + done;
        stream.avail_out = static_cast<uInt>(room);
        // A call without room is needed too: it lets the stream come to its checksum.
        const int result = inflate(&stream, Z_NO_FLUSH);
        done += room - stream.avail_out;
        m_proved = result == Z_STREAM_END;
        m_over = result != Z_OK && !(result == Z_BUF_ERROR && done == into.size());
        if (done == into.size() && (m_over || stream.avail_in > 0 || stream.avail_out > 0 ||
                                    m_at >= m_limit || result == Z_BUF_ERROR)) {
            break;
        }
    }
    return done;
}

ZipExtent measureZip(SourceBytes& source, std::int64_t offset, std::int64_t limit,
                     std::int64_t mostProduced)
{
    ZipStream stream(source, offset, limit);
    std::vector<std::uint8_t> block(kBlockBytes);
    ZipExtent extent;
    while (extent.produced <= mostProduced) {
        const std::size_t count = stream.read(block);
        extent.produced += static_cast<std::int64_t>(count);
        if (count < block.size() || stream.isProved()) {
            break;
        }
    }
    extent.isProved = stream.isProved();
    extent.consumed = stream.consumed();
    return extent;
}

bool isZipHeader(SourceBytes& source, std::int64_t offset)
{
    const std::uint16_t head = source.u16(offset);
    return (head & 0x0F00U) == 0x0800U && head >> 12U <= 7U && head % 31U == 0 &&
           (head & 0x20U) == 0;
}

} // namespace talvek::recovery
