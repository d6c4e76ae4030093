#pragma once

#include <cstdint>
#include <string>

/// Small documents in the PSD format, as strings of bytes.
namespace talvek::test {

std::string bigEndian16(unsigned value);
std::string bigEndian32(std::uint32_t value);

struct HeaderFields
{
    unsigned version = 1;
    std::string reserved = std::string(6, '\0');
    unsigned channels = 3;
    std::uint32_t rows = 4;
    std::uint32_t columns = 4;
    unsigned depth = 8;
    unsigned mode = 3;
};
std::string header(const HeaderFields& fields = {});

/// Header and two empty sections, and then nothing: there is nothing to salvage in it.
std::string emptyDocument();

/// Header, empty sections and a raw composite.
/// @param composite  its bytes
std::string flatDocument(const std::string& composite);

/// A document with a thumbnail, a layer of PackBits channels and a raw composite.
std::string smallDocument();

/// What the system makes of `smallDocument` under the name `name`, in the order of its listing.
constexpr int kFilesOfSmallDocument = 4;

} // namespace talvek::test
