#include "tests/support/Blocks.h"

namespace talvek::test {

void padTo(Bytes& bytes, std::size_t multiple)
{
    bytes.resize((bytes.size() + multiple - 1) / multiple * multiple);
}

Bytes taggedBlockOf(std::string_view key, const Bytes& data, std::size_t padding)
{
    Bytes block = bytesOf("8BIM");
    append(block, key);
    Bytes padded = data;
    padTo(padded, padding);
    appendU32(block, static_cast<std::uint32_t>(padded.size()));
    append(block, padded);
    return block;
}

Bytes pascalString(std::string_view text, std::size_t multiple)
{
    text = text.substr(0, 255);
    Bytes string = {static_cast<std::uint8_t>(text.size())};
    append(string, text);
    padTo(string, multiple);
    return string;
}

} // namespace talvek::test
