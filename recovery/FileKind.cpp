#include "recovery/FileKind.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace talvek::recovery {

namespace {

using namespace std::string_view_literals;

struct Kind
{
    std::int64_t offset;
    std::string_view signature;
    const char* name;
};

constexpr std::array kKinds = {
    Kind{0, "\x89PNG\r\n\x1A\n"sv, "a PNG picture"},
    Kind{0, "\xFF\xD8\xFF"sv, "a JPEG picture"},
    Kind{0, "GIF8"sv, "a GIF picture"},
    Kind{0, "II*\0"sv, "a TIFF picture"},
    Kind{0, "MM\0*"sv, "a TIFF picture"},
    Kind{8, "WEBP"sv, "a WebP picture"},
    Kind{4, "ftyp"sv, "a film or an HEIC picture"},
    Kind{0, "%PDF"sv, "a PDF or Illustrator document"},
    Kind{0, "%!PS"sv, "a PostScript document"},
    Kind{0, "PK\x03\x04"sv, "a ZIP archive, or a document that is packed like one"},
    Kind{0, "7z\xBC\xAF\x27\x1C"sv, "a 7-Zip archive"},
    Kind{0, "Rar!"sv, "a RAR archive"},
    Kind{0, "\x1F\x8B"sv, "a gzip archive"},
    Kind{0, "gimp xcf"sv, "a GIMP picture"},
    Kind{0, "<!DOCTYPE html"sv, "a web page"},
    Kind{0, "<html"sv, "a web page"},
};

bool standsAt(SourceBytes& source, const Kind& kind)
{
    const auto bytes = source.at(kind.offset, kind.signature.size());
    return bytes.size() == kind.signature.size() &&
           std::equal(bytes.begin(), bytes.end(), kind.signature.begin(),
                      [](std::uint8_t byte, char letter) {
                          return byte == static_cast<std::uint8_t>(letter);
                      });
}

} // namespace

std::string otherKindOf(SourceBytes& source)
{
    const auto found = std::find_if(kKinds.begin(), kKinds.end(),
                                    [&source](const Kind& kind) { return standsAt(source, kind); });
    return found == kKinds.end() ? "" : found->name;
}

} // namespace talvek::recovery
