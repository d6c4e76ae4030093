// Draws the sample poster, writes it as a PSD document, and damages it.

#include "samples/Poster.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

namespace {

using namespace talvek::samples;

constexpr std::size_t kResourcesLength = 30; // behind the header and an empty colour-mode section
constexpr std::size_t kResources = 34;

std::size_t lengthAt(const std::string& document, std::size_t offset)
{
    std::size_t length = 0;
    for (std::size_t byte = 0; byte < 4; ++byte) {
        length = length << 8U | static_cast<unsigned char>(document[offset + byte]);
    }
    return length;
}

/// What a crash while saving leaves behind: the length of one section was never filled in, and the
/// start of the next, with its lengths and the number of layers, is still zero.
std::string damaged(std::string document)
{
    constexpr std::string_view kNeverFilledIn = "\x7F\xFF\xFF\xFF";
    constexpr std::size_t kZeroedBytes = 10;
    const std::size_t layers = kResources + lengthAt(document, kResourcesLength);
    document.replace(kResourcesLength, kNeverFilledIn.size(), kNeverFilledIn);
    document.replace(layers, kZeroedBytes, kZeroedBytes, '\0');
    return document;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const bool whole = argumentCount == 3 && std::string_view(arguments[1]) == "--undamaged";
    if (argumentCount != 2 && !whole) {
        std::fputs("Usage: make-sample [--undamaged] FILE\n", stderr);
        return 2;
    }
    const std::string document = psdOf(poster());
    std::ofstream file(arguments[argumentCount - 1], std::ios::binary);
    file << (whole ? document : damaged(document));
    file.close();
    if (!file) {
        std::fprintf(stderr, "make-sample: cannot write '%s'\n", arguments[argumentCount - 1]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
