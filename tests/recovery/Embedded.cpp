#include "tests/recovery/Embedded.h"

namespace talvek::test {

static void appendU64(Bytes& to, std::uint64_t value)
{
    appendU32(to, static_cast<std::uint32_t>(value >> 32U));
    appendU32(to, static_cast<std::uint32_t>(value));
}

Bytes entryOf(std::string_view name, const Bytes& data, std::uint64_t stated)
{
    Bytes body = bytesOf("liFD");
    appendU32(body, 2);
    body.push_back(3);
    append(body, "uid");
    appendU32(body, static_cast<std::uint32_t>(name.size()));
    for (const char letter : name) {
        appendU16(body, static_cast<std::uint8_t>(letter));
    }
    append(body, "8BPB");
    append(body, "8BIM");
    appendU64(body, stated);
    body.push_back(0);
    append(body, data);
    Bytes entry;
    appendU64(entry, body.size());
    append(entry, body);
    entry.resize((entry.size() + 3) / 4 * 4);
    return entry;
}

Bytes entryOf(std::string_view name, const Bytes& data)
{
    return entryOf(name, data, data.size());
}

Bytes blockOf(const Bytes& entries, std::size_t stated)
{
    Bytes file = bytesOf("in front8BIMlnk2");
    appendU32(file, static_cast<std::uint32_t>(stated));
    append(file, entries);
    return file;
}

} // namespace talvek::test
