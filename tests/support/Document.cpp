#include "tests/support/Document.h"

#include <algorithm>

namespace talvek::test {

Document& Document::cutAt(std::int64_t offset)
{
    if (offset >= 0 && offset < size()) {
        bytes.resize(static_cast<std::size_t>(offset));
    }
    return *this;
}

Document& Document::flipByte(std::int64_t offset)
{
    if (offset >= 0 && offset < size()) {
        std::uint8_t& flipped = bytes[static_cast<std::size_t>(offset)];
        flipped = static_cast<std::uint8_t>(~flipped);
    }
    return *this;
}

Document& Document::lieLength(std::int64_t offset, std::int64_t length)
{
    Bytes field;
    appendI32(field, length);
    return overwrite(offset, field);
}

Document& Document::zeroFill(std::int64_t offset, std::int64_t count)
{
    return overwrite(offset, Bytes(static_cast<std::size_t>(std::max<std::int64_t>(count, 0))));
}

Document& Document::deleteBytes(std::int64_t offset, std::int64_t count)
{
    if (offset >= 0 && offset < size() && count > 0) {
        const auto from = bytes.begin() + offset;
        bytes.erase(from, from + std::min(count, size() - offset));
    }
    return *this;
}

Document& Document::insertBytes(std::int64_t offset, const Bytes& inserted)
{
    if (offset >= 0 && offset <= size()) {
        bytes.insert(bytes.begin() + offset, inserted.begin(), inserted.end());
    }
    return *this;
}

Document& Document::overwrite(std::int64_t offset, const Bytes& written)
{
    for (const std::uint8_t each : written) {
        if (offset >= 0 && offset < size()) {
            bytes[static_cast<std::size_t>(offset)] = each;
        }
        ++offset;
    }
    return *this;
}

} // namespace talvek::test
