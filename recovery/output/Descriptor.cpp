#include "recovery/output/Descriptor.h"

#include "recovery/SourceBytes.h"
#include "recovery/Text.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace talvek::recovery::output {

namespace {

/// Deeper nesting than any writer makes; keeps the stack small on damaged input.
constexpr int kMostDepth = 32;

class Reader
{
public:
    explicit Reader(std::span<const std::uint8_t> bytes) : m_rest(bytes) {}

    bool readItems(DescriptorItems* items, int depth);
    [[nodiscard]] std::size_t left() const { return m_rest.size(); }
    [[nodiscard]] bool isOdd() const { return m_isOdd; }

private:
    bool take(std::uint64_t count, std::span<const std::uint8_t>& taken);
    bool skip(std::uint64_t count);
    bool number(std::uint32_t& value);
    bool tag(std::string& letters);
    bool identifier(std::string& letters);
    bool unicode(std::string& text);
    bool className();
    bool value(const std::string& key, DescriptorItems* items, int depth);
    bool container(const std::string& type, int depth);
    bool list(int depth);
    bool object(int depth);
    bool reference(int depth);
    bool referenceItem(const std::string& type);
    bool unitFloats();

    bool boolean();
    bool real();
    bool measure();

    std::span<const std::uint8_t> m_rest;
    bool m_isOdd = false;
};

/// The letters of keys, classes, types and enumerations. The short ones are letters and digits, and
/// spaces behind them.
bool isPlain(std::span<const std::uint8_t> letters)
{
    constexpr std::size_t kShort = 4;
    const auto isWord = [](std::uint8_t letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
               (letter >= '0' && letter <= '9');
    };
    if (letters.size() != kShort) {
        return std::all_of(letters.begin(), letters.end(),
                           [](std::uint8_t letter) { return letter >= ' ' && letter < 0x7F; });
    }
    const auto space = std::find_if_not(letters.begin(), letters.end(), isWord);
    return std::all_of(space, letters.end(), [](std::uint8_t letter) { return letter == ' '; });
}

bool Reader::take(std::uint64_t count, std::span<const std::uint8_t>& taken)
{
    if (count > m_rest.size()) {
        return false;
    }
    taken = m_rest.first(static_cast<std::size_t>(count));
    m_rest = m_rest.subspan(static_cast<std::size_t>(count));
    return true;
}

bool Reader::skip(std::uint64_t count)
{
    std::span<const std::uint8_t> passed;
    return take(count, passed);
}

bool Reader::number(std::uint32_t& value)
{
    std::span<const std::uint8_t> bytes;
    if (!take(4, bytes)) {
        return false;
    }
    value = std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U |
            std::uint32_t{bytes[2]} << 8U | bytes[3];
    return true;
}

bool Reader::tag(std::string& letters)
{
    std::span<const std::uint8_t> bytes;
    if (!take(4, bytes)) {
        return false;
    }
    letters.assign(bytes.begin(), bytes.end());
    return true;
}

/// Format: a length and so many letters; four of them where the length is 0.
bool Reader::identifier(std::string& letters)
{
    std::uint32_t length = 0;
    std::span<const std::uint8_t> bytes;
    if (!number(length) || !take(length == 0 ? 4 : length, bytes)) {
        return false;
    }
    m_isOdd = m_isOdd || !isPlain(bytes);
    letters.assign(bytes.begin(), bytes.end());
    return true;
}

bool Reader::boolean()
{
    std::span<const std::uint8_t> byte;
    if (!take(1, byte)) {
        return false;
    }
    m_isOdd = m_isOdd || byte[0] > 1;
    return true;
}

/// Finite, and neither beyond all measures of a document nor as small as no program computes.
bool Reader::real()
{
    constexpr double kGreatest = 1e15;
    constexpr double kSmallest = 1e-40;
    std::span<const std::uint8_t> bytes;
    if (!take(8, bytes)) {
        return false;
    }
    const auto value = std::abs(std::bit_cast<double>(bigEndian(bytes, 8)));
    m_isOdd = m_isOdd || !(value <= kGreatest) || (value > 0 && value < kSmallest);
    return true;
}

bool Reader::measure()
{
    std::string unit;
    if (!tag(unit)) {
        return false;
    }
    m_isOdd = m_isOdd || unit.front() != '#' ||
              !std::all_of(unit.begin() + 1, unit.end(), [](char letter) {
                  return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
              });
    return real();
}

bool Reader::unicode(std::string& text)
{
    std::uint32_t units = 0;
    std::span<const std::uint8_t> bytes;
    if (!number(units) || !take(std::uint64_t{units} * 2, bytes)) {
        return false;
    }
    text = utf8OfUtf16(bytes);
    return true;
}

bool Reader::className()
{
    std::string passed;
    return unicode(passed) && identifier(passed);
}

bool Reader::readItems(DescriptorItems* items, int depth)
{
    std::uint32_t count = 0;
    if (depth > kMostDepth || !className() || !number(count)) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string key;
        if (!identifier(key) || !value(key, items, depth)) {
            return false;
        }
    }
    return true;
}

bool Reader::value(const std::string& key, DescriptorItems* items, int depth)
{
    std::string type;
    if (!tag(type)) {
        return false;
    }
    if (type == "TEXT") {
        std::string text;
        if (!unicode(text)) {
            return false;
        }
        if (items != nullptr) {
            items->texts.emplace(key, std::move(text));
        }
        return true;
    }
    if (type == "tdta") {
        std::uint32_t length = 0;
        std::span<const std::uint8_t> data;
        if (!number(length) || !take(length, data)) {
            return false;
        }
        if (items != nullptr) {
            items->rawData.emplace(key, data);
        }
        return true;
    }
    return container(type, depth);
}

bool Reader::container(const std::string& type, int depth)
{
    std::string passed;
    if (type == "bool") {
        return boolean();
    }
    if (type == "long") {
        return skip(4);
    }
    if (type == "doub") {
        return real();
    }
    if (type == "comp") {
        return skip(8);
    }
    if (type == "UntF") {
        return measure();
    }
    if (type == "UnFl") {
        return unitFloats();
    }
    if (type == "enum") {
        return identifier(passed) && identifier(passed);
    }
    if (type == "alis" || type == "Pth ") {
        std::uint32_t length = 0;
        return number(length) && skip(length);
    }
    if (type == "type" || type == "GlbC") {
        return className();
    }
    if (type == "Objc" || type == "GlbO") {
        return object(depth);
    }
    if (type == "VlLs") {
        return list(depth);
    }
    if (type == "ObAr") {
        return skip(4) && object(depth);
    }
    return type == "obj " && reference(depth);
}

bool Reader::unitFloats()
{
    std::uint32_t count = 0;
    return skip(4) && number(count) && skip(std::uint64_t{count} * 8);
}

bool Reader::object(int depth)
{
    return readItems(nullptr, depth + 1);
}

bool Reader::list(int depth)
{
    std::uint32_t count = 0;
    if (depth > kMostDepth || !number(count)) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!value({}, nullptr, depth + 1)) {
            return false;
        }
    }
    return true;
}

bool Reader::reference(int depth)
{
    std::uint32_t count = 0;
    if (depth > kMostDepth || !number(count)) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string type;
        if (!tag(type) || !className() || !referenceItem(type)) {
            return false;
        }
    }
    return true;
}

bool Reader::referenceItem(const std::string& type)
{
    std::string passed;
    if (type == "Clss") {
        return true;
    }
    if (type == "prop") {
        return identifier(passed);
    }
    if (type == "name") {
        return unicode(passed);
    }
    if (type == "Enmr") {
        return identifier(passed) && identifier(passed);
    }
    return (type == "rele" || type == "Idnt" || type == "indx") && skip(4);
}

} // namespace

DescriptorItems readDescriptor(std::span<const std::uint8_t> bytes)
{
    DescriptorItems items;
    Reader reader(bytes);
    items.isWhole = reader.readItems(&items, 0);
    items.isOdd = reader.isOdd();
    items.length = bytes.size() - reader.left();
    return items;
}

} // namespace talvek::recovery::output
