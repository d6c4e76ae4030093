#include "tests/model/PlainRepair.h"

#include <algorithm>
#include <bit>

namespace talvek::model {

bool Event::operator==(const Event& other) const
{
    return kind == other.kind &&
           std::bit_cast<std::uint64_t>(percentage) ==
               std::bit_cast<std::uint64_t>(other.percentage) &&
           listing == other.listing && totalBytes == other.totalBytes;
}

Outcome repair(const Bytes& document, const std::string& path, const std::string& folder,
               const Settings& settings)
{
    PlainRepair repair(document, settings);
    repair.run(path, folder);
    return repair.outcome();
}

PlainRepair::PlainRepair(const Bytes& document, const Settings& settings)
    : m_document(document), m_settings(settings), m_stopFlag(settings.stopFlag)
{}

Outcome PlainRepair::outcome() const
{
    return {m_files.contents(), m_events, static_cast<std::uint64_t>(m_written)};
}

// The run.

void PlainRepair::run(const std::string& path, const std::string& folder)
{
    m_folder = folder;
    m_fileName = lastComponent(path);
    m_fileSize = static_cast<std::int64_t>(m_document.size());
    readSections();
    if (!std::equal(m_header.begin(), m_header.begin() + 4, "8BPS")) {
        return;
    }
    m_resourcesSize = sizeOfLength(m_temporary.data(), 4);
    if (!aborted()) {
        thumbnailStage();
    }
    if (!aborted()) {
        layerStage();
    }
    if (!aborted() && m_compositeOffset < m_fileSize) {
        compositeStage();
    }
    postProgress(static_cast<double>(m_fileSize));
    const std::vector<FileRecord> listing = list();
    if (!m_stopFlag) {
        post({Event::Kind::completion, 0, listing, m_totalBytes});
    }
}

void PlainRepair::readSections()
{
    const Bytes header = read(0, 26);
    std::copy(header.begin(), header.end(), m_header.begin());
    m_colourModeSize = lengthAt(26) + 4;
    m_resourcesOffset = m_colourModeSize + 26;
    // Read now, and decoded only behind the test of the signature.
    lengthAt(m_colourModeSize + 26);
}

std::vector<FileRecord> PlainRepair::list()
{
    std::vector<FileRecord> listing;
    m_totalBytes = 0;
    if (!m_mainFiles.empty()) {
        listOne(m_mainFiles.front(), listing);
    }
    for (const std::string& path : m_secondaryFiles) {
        const bool listed =
            std::any_of(listing.begin(), listing.end(),
                        [&](const FileRecord& record) { return record.filePath == path; });
        if (!listed) {
            listOne(path, listing);
        }
    }
    return listing;
}

void PlainRepair::listOne(const std::string& path, std::vector<FileRecord>& listing)
{
    const auto size = static_cast<std::uint64_t>(m_files.sizeOf(path));
    listing.push_back({std::to_string(listing.size() + 1), withoutExtension(lastComponent(path)),
                       std::to_string(size >> 10U), path});
    m_totalBytes += size;
}

// Reporting.

void PlainRepair::post(const Event& event)
{
    m_events.push_back(event);
    if (m_settings.stopAtEvent && m_events.size() == *m_settings.stopAtEvent) {
        m_stopFlag = true;
    }
}

void PlainRepair::postProgress(double offset)
{
    post({Event::Kind::progress, offset / static_cast<double>(m_fileSize) * 100.0, {}, 0});
}

void PlainRepair::abortProgram()
{
    post({Event::Kind::abort, 0, {}, 0});
    m_folder.clear();
}

// Numbers.

std::int64_t PlainRepair::sizeOfLength(const std::uint8_t* bytes, int count)
{
    std::int64_t sum = 0;
    for (int i = 0; i < count; ++i) {
        const unsigned shift = static_cast<unsigned>(count - 1 - i) * 8U % 32U;
        const std::uint32_t shifted = std::uint32_t{bytes[i]} << shift;
        sum += static_cast<std::int32_t>(shifted);
    }
    return sum;
}

std::int16_t PlainRepair::channelNumber(const std::uint8_t* bytes, int count)
{
    std::uint16_t sum = 0;
    for (int k = 0; k < count; ++k) {
        const unsigned shift = static_cast<unsigned>(count - 1 - k) * 8U % 32U;
        sum = static_cast<std::uint16_t>(sum + (std::uint32_t{bytes[k]} << shift));
    }
    return static_cast<std::int16_t>(sum);
}

// Reading and writing.

/// Nothing at a negative offset or past the end; all to the end for a negative count.
Bytes PlainRepair::read(const Bytes& from, std::int64_t offset, std::int64_t count)
{
    const auto size = static_cast<std::int64_t>(from.size());
    if (offset < 0 || offset >= size) {
        return {};
    }
    const std::int64_t left = size - offset;
    const std::int64_t taken = count < 0 ? left : std::min(count, left);
    return {from.begin() + offset, from.begin() + offset + taken};
}

Bytes PlainRepair::read(std::int64_t offset, std::int64_t count) const
{
    return read(m_document, offset, count);
}

/// A short read leaves the rest of the bytes of the length read before.
std::int64_t PlainRepair::lengthAt(std::int64_t offset)
{
    const Bytes field = read(offset, 4);
    std::copy(field.begin(), field.end(), m_temporary.begin());
    return sizeOfLength(m_temporary.data(), 4);
}

bool PlainRepair::hasRoomFor(std::int64_t count) const
{
    if (!m_settings.freeBytes) {
        return true;
    }
    const std::int64_t left = static_cast<std::int64_t>(*m_settings.freeBytes) - m_written;
    return std::max<std::int64_t>(left, 0) > count;
}

bool PlainRepair::create(const std::string& path, const Bytes& contents)
{
    if (!m_files.create(path, contents)) {
        return false;
    }
    m_written += static_cast<std::int64_t>(contents.size());
    return true;
}

void PlainRepair::write(const Output& output, const Bytes& bytes)
{
    if (output) {
        test::append(*output, bytes);
        m_written += static_cast<std::int64_t>(bytes.size());
    }
}

bool PlainRepair::writeTested(const Output& output, const Bytes& bytes)
{
    if (!hasRoomFor(static_cast<std::int64_t>(bytes.size()))) {
        abortProgram();
        return false;
    }
    write(output, bytes);
    return true;
}

/// How many reads of `most`, `step` bytes apart, bring nothing from `offset` on before one can.
std::int64_t PlainRepair::emptyReads(std::int64_t offset, std::int64_t step,
                                     std::int64_t most) const
{
    if (offset >= m_fileSize) {
        return most;
    }
    return offset < 0 ? std::min(most, (-offset + step - 1) / step) : 0;
}

} // namespace talvek::model
