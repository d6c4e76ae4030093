#include "recovery/output/OutputFile.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace talvek::recovery::output {

OutputFile::OutputFile(FileManager& files, std::string path)
    : m_files(files), m_path(std::move(path)), m_created(files.createFile(m_path, {}))
{
    if (m_created) {
        m_handle = files.openForWriting(m_path);
        m_created = m_handle.isOpen();
    }
}

OutputFile::~OutputFile()
{
    if (!m_whole) {
        m_handle.close();
        m_files.removeItem(m_path);
    }
}

void OutputFile::append(std::string_view text)
{
    m_handle.append({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

bool OutputFile::close()
{
    m_whole = m_handle.close() && m_created;
    return m_whole;
}

std::int64_t copyRange(SourceFiles& sources, const ByteRange& range, OutputFile& file)
{
    constexpr std::int64_t kBlock = 65536;
    std::vector<std::uint8_t> block(static_cast<std::size_t>(kBlock));
    std::int64_t copied = 0;
    while (copied < range.length && !file.hasFailed()) {
        const auto wanted = static_cast<std::size_t>(std::min(kBlock, range.length - copied));
        const std::size_t got =
            sources.read(range.source, range.offset + copied, std::span(block).first(wanted));
        file.append(std::span<const std::uint8_t>(block).first(got));
        copied += static_cast<std::int64_t>(got);
        if (got < wanted) {
            break;
        }
    }
    return file.hasFailed() ? -1 : copied;
}

} // namespace talvek::recovery::output
