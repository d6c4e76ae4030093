// The deep recovery on any bytes: it ends, and what it writes can be recovered whole again.

#include "recovery/Examination.h"
#include "recovery/LayeredDocumentWriter.h"
#include "recovery/PlaneReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

using namespace talvek;
using namespace talvek::recovery;

namespace {

/// One file to read and one to write, both in memory.
class MemoryFiles : public SystemCalls
{
public:
    explicit MemoryFiles(std::span<const std::uint8_t> input) : m_input(input) {}

    int openForReading(const std::string&) override { return 1; }
    int openForAppending(const std::string&) override { return 2; }
    int create(const std::string&) override { return 2; }
    ssize_t readAt(int, std::span<std::uint8_t> into, std::int64_t offset) override
    {
        if (offset >= sizeOf(1)) {
            return 0;
        }
        const auto left = m_input.subspan(static_cast<std::size_t>(offset));
        const std::size_t count = std::min(left.size(), into.size());
        std::memcpy(into.data(), left.data(), count);
        return static_cast<ssize_t>(count);
    }
    ssize_t write(int, std::span<const std::uint8_t> bytes) override
    {
        // A volume of 16 MiB: damaged rectangles may ask for more.
        constexpr std::size_t kRoom = 16U << 20U;
        if (bytes.size() > kRoom - m_output.size()) {
            errno = ENOSPC;
            return -1;
        }
        m_output.insert(m_output.end(), bytes.begin(), bytes.end());
        return static_cast<ssize_t>(bytes.size());
    }
    int close(int) override { return 0; }
    std::int64_t nextData(int, std::int64_t offset) override { return offset; }
    std::int64_t sizeOf(int) override { return static_cast<std::int64_t>(m_input.size()); }

    [[nodiscard]] const std::vector<std::uint8_t>& output() const { return m_output; }

private:
    std::span<const std::uint8_t> m_input;
    std::vector<std::uint8_t> m_output;
};

RecoveredDocument examine(MemoryFiles& system, const RunControl& control)
{
    FileManager files(system);
    ReadingFileHandle handle = files.openForReading("input");
    SourceBytes source(handle);
    return Examination(source, control, [](const std::string&, double) {}).run("input");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const RunControl control;
    MemoryFiles system({data, size});
    const RecoveredDocument document = examine(system, control);
    FileManager files(system);
    SourceFiles sources(files, document.sources);
    LayeredDocumentWriter writer(files, sources, document, control);
    if (document.layers.empty() || !writer.write("output", [](double) {})) {
        return 0;
    }
    MemoryFiles written(system.output());
    const RecoveredDocument again = examine(written, control);
    if (again.layers.size() < document.layers.size()) {
        std::abort();
    }
    return 0;
}
