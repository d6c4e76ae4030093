#include "recovery/output/TextLayers.h"

#include "recovery/TaggedBlocks.h"
#include "recovery/Text.h"
#include "recovery/output/Descriptor.h"
#include "recovery/output/Utf8.h"

#include <algorithm>
#include <string_view>

namespace talvek::recovery::output {

namespace {

constexpr std::int64_t kMostBlock = 16 << 20;
/// Format: version, six doubles, version of the text, version of the descriptor.
constexpr std::size_t kBeforeDescriptor = 2 + 48 + 2 + 4;

std::string_view asText(std::span<const std::uint8_t> bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The string whose opening bracket is at `open`: UTF-16 behind a mark, "\" before brackets.
std::optional<std::string> bracketed(std::span<const std::uint8_t> data, std::size_t open)
{
    std::vector<std::uint8_t> plain;
    for (std::size_t i = open + 1; i < data.size() && data[i] != ')'; ++i) {
        if (data[i] == '\\' && i + 1 < data.size()) {
            ++i;
        }
        plain.push_back(data[i]);
    }
    if (plain.size() >= 2 && plain[0] == 0xFE && plain[1] == 0xFF) {
        return utf8OfUtf16(std::span(plain).subspan(2));
    }
    return utf8OfMacRoman(plain);
}

/// The first "/Text (...)" of the engine's data: the wording itself.
std::optional<std::string> textOfEngineData(std::span<const std::uint8_t> data)
{
    constexpr std::string_view kKey = "/Text";
    const std::string_view view = asText(data);
    std::size_t at = view.find(kKey);
    while (at != std::string_view::npos) {
        const std::size_t open = view.find_first_not_of(" \t\r\n", at + kKey.size());
        if (open != std::string_view::npos && view[open] == '(') {
            return bracketed(data, open);
        }
        at = view.find(kKey, at + 1);
    }
    return std::nullopt;
}

/// The wording's item where the descriptor around it is damaged: found by its key and type.
std::optional<std::string> textByKey(std::span<const std::uint8_t> block)
{
    constexpr std::string_view kKeyAndType = "Txt TEXT";
    const std::size_t at = asText(block).find(kKeyAndType);
    if (at == std::string_view::npos || block.size() - at < kKeyAndType.size() + 4) {
        return std::nullopt;
    }
    const std::size_t start = at + kKeyAndType.size() + 4;
    std::uint64_t units = 0;
    for (std::size_t i = start - 4; i < start; ++i) {
        units = units << 8U | block[i];
    }
    const std::uint64_t length = std::min<std::uint64_t>(units * 2, block.size() - start);
    return utf8OfUtf16(block.subspan(start, static_cast<std::size_t>(length)));
}

/// Paragraphs end in "\r" and broken lines in U+0003 there.
std::string withLines(const std::string& text)
{
    std::string lines;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isPair = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (c == '\r' || c == '\3') {
            lines += isPair ? "" : "\n";
        } else if (c == '\n' || c == '\t' || static_cast<unsigned char>(c) >= 0x20) {
            lines += c;
        }
    }
    while (!lines.empty() && lines.back() == '\n') {
        lines.pop_back();
    }
    return lines;
}

} // namespace

std::optional<std::string> textOfBlock(std::span<const std::uint8_t> block)
{
    std::optional<std::string> text;
    if (block.size() > kBeforeDescriptor) {
        const DescriptorItems items = readDescriptor(block.subspan(kBeforeDescriptor));
        const auto wording = items.texts.find("Txt ");
        if (wording != items.texts.end() && !wording->second.empty()) {
            text = wording->second;
        }
    }
    if (!text) {
        text = textOfEngineData(block);
    }
    if (!text) {
        text = textByKey(block);
    }
    if (text) {
        text = withLines(*text);
    }
    return text && !text->empty() ? text : std::nullopt;
}

std::vector<LayerText> textLayers(const RecoveredDocument& document, SourceFiles& files)
{
    std::vector<LayerText> texts;
    for (std::size_t i = document.layers.size(); i-- > 0;) {
        for (const TaggedBlock& block : document.layers[i].blocks) {
            if (block.key != key("TySh")) {
                continue;
            }
            auto text = textOfBlock(files.bytes(block.data, kMostBlock));
            if (text) {
                texts.push_back({static_cast<std::int32_t>(i), std::move(*text)});
                break;
            }
        }
    }
    return texts;
}

std::string asPage(const RecoveredDocument& document, const std::vector<LayerText>& texts)
{
    std::string page;
    for (const LayerText& one : texts) {
        const Layer& layer = document.layers.at(static_cast<std::size_t>(one.layer));
        page += page.empty() ? "" : "\n\n";
        page += "[" + withLines(cleanUtf8(layer.name)) + "]\n" + one.text + "\n";
    }
    return page;
}

} // namespace talvek::recovery::output
