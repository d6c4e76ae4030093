#include "tests/model/PlainRepair.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace talvek::model {

namespace {

constexpr std::int64_t kStep = 1024;
constexpr std::int64_t kReadBytes = 1032;
constexpr std::size_t kMostRecords = 500;

/// The modes whose layers are found only when they are opaque.
constexpr std::array<std::string_view, 26> kOpaqueKeys = {
    "mul ", "lum ", "pLit", "over", "scrn", "hMix", "lddg", "sLit", "vLit",
    "idiv", "colr", "hue ", "lgCl", "pass", "sat ", "diss", "diff", "div ",
    "hLit", "lite", "smud", "fdiv", "fsub", "dkCl", "lbrn", "lLit"};

bool standsAt(std::string_view text, const Bytes& read, std::size_t at)
{
    return at + text.size() <= read.size() &&
           std::equal(text.begin(), text.end(), read.begin() + static_cast<std::ptrdiff_t>(at),
                      [](char wanted, std::uint8_t there) {
                          return static_cast<std::uint8_t>(wanted) == there;
                      });
}

bool recordStandsAt(const Bytes& read, std::size_t at)
{
    if (!standsAt("8BIM", read, at)) {
        return false;
    }
    if (standsAt("norm", read, at + 4)) {
        return true;
    }
    return std::any_of(kOpaqueKeys.begin(), kOpaqueKeys.end(), [&](std::string_view key) {
        return standsAt(key, read, at + 4) && at + 8 < read.size() && read[at + 8] == 255;
    });
}

} // namespace

std::int64_t PlainRepair::scan(std::int64_t start, std::int64_t length, const Pattern& pattern,
                               bool pollsStop) const
{
    std::int64_t chunks = length / kStep;
    if (length % kStep != 0) {
        ++chunks;
    }
    const bool single = chunks == 0 || chunks == 1;
    if (single) {
        chunks = 1;
    }
    while (chunks > 0 && !aborted()) {
        const Bytes got = read(start, kReadBytes);
        for (std::size_t at = 0; at < got.size(); ++at) {
            if (single && pollsStop && m_stopFlag) {
                return 0;
            }
            if (pattern(got, at)) {
                return start + static_cast<std::int64_t>(at);
            }
        }
        start += kStep;
        --chunks;
        const std::int64_t skipped = emptyReads(start, kStep, chunks);
        start += skipped * kStep;
        chunks -= skipped;
    }
    return 0;
}

std::int64_t PlainRepair::searchFilterMask(std::int64_t start, std::int64_t length) const
{
    const Pattern pattern = [](const Bytes& read, std::size_t at) {
        return standsAt("8BIMFMsk", read, at);
    };
    return scan(start, length, pattern, true);
}

std::int64_t PlainRepair::searchRecord(std::int64_t start, std::int64_t length) const
{
    return scan(start, length, recordStandsAt, false);
}

std::int64_t PlainRepair::searchBlock(std::int64_t start, std::int64_t length) const
{
    const Pattern pattern = [](const Bytes& read, std::size_t at) {
        return standsAt("8BIM", read, at);
    };
    return scan(start, length, pattern, false);
}

void PlainRepair::countRecords(std::int64_t start, std::int64_t length)
{
    m_records.clear();
    std::int64_t found = searchRecord(start, length);
    while (found != 0 && !aborted() && !m_stopFlag && m_records.size() < kMostRecords) {
        m_records.push_back(found);
        // The length is that of the first search, not what is left of it.
        found = searchRecord(found + 8, length);
    }
}

void PlainRepair::findLastBlock(std::int64_t start, std::int64_t length)
{
    std::array<std::uint8_t, 4> lengthField = {};
    std::set<std::int64_t> walked;
    m_lastBlock = 0;
    std::int64_t block = searchBlock(start, length);
    while (block != 0) {
        if (blockEndsAtData(block, lengthField)) {
            m_lastBlock = block;
            return;
        }
        const bool walkedBefore = !walked.insert(block).second;
        if (walkedBefore || aborted() || m_stopFlag) {
            return;
        }
        const std::int64_t blockEnd = block + 12 + sizeOfLength(lengthField.data(), 4);
        // The call's length less an offset from the file's start: not what is left of the range.
        block = searchBlock(blockEnd, length - blockEnd);
    }
}

/// Leaves the block's length in `lengthField`, over what it held.
bool PlainRepair::blockEndsAtData(std::int64_t block,
                                  std::array<std::uint8_t, 4>& lengthField) const
{
    const Bytes field = read(block + 8, 4);
    std::copy(field.begin(), field.end(), lengthField.begin());
    const Bytes code = read(block + 12 + sizeOfLength(lengthField.data(), 4), 2);
    return field.size() == 4 && code.size() == 2 && code[0] == 0 && code[1] <= 1;
}

} // namespace talvek::model
