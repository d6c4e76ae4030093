#include "recovery/EngineText.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace talvek::recovery {

namespace {

bool isBlank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\n' || letter == '\r' || letter == '\0';
}

bool isNumber(std::string_view word)
{
    return std::any_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
           word.find_first_not_of("+-.0123456789eE") == std::string_view::npos;
}

bool isName(std::string_view word)
{
    return word.size() > 1 && word[0] == '/' &&
           std::all_of(word.begin(), word.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

class Walk
{
public:
    explicit Walk(std::string_view text) : m_text(text) {}

    bool go()
    {
        while (m_at < m_text.size()) {
            if (isBlank(m_text[m_at])) {
                ++m_at;
            } else if (!step()) {
                return false;
            }
        }
        return m_open.empty();
    }

private:
    bool step()
    {
        switch (m_text[m_at]) {
        case '(':
            return passString();
        case '[':
            m_open.push_back(m_text[m_at++]);
            return true;
        case ']':
            ++m_at;
            return close('[');
        case '<':
        case '>':
            return dictionary();
        default:
            return word();
        }
    }

    /// In UTF-16 where its mark stands in front. A backslash stands before what would end the
    /// string.
    bool passString()
    {
        std::string string;
        for (++m_at; m_at < m_text.size() && m_text[m_at] != ')'; ++m_at) {
            if (m_text[m_at] == '\\' && m_at + 1 < m_text.size()) {
                ++m_at;
            }
            string += m_text[m_at];
        }
        return m_at++ < m_text.size() && isText(string);
    }

    /// Ends of lines, tabs and the mark of a forced line break are the only controls in texts.
    static bool isText(std::string_view string)
    {
        constexpr std::string_view kMark = "\xFE\xFF";
        constexpr std::string_view kControls("\0\x03\t\n\r", 5);
        if (!string.starts_with(kMark)) {
            return true;
        }
        for (std::size_t i = kMark.size(); i + 1 < string.size(); i += 2) {
            const char low = string[i + 1];
            const bool isControl = string[i] == '\0' && low >= 0 && low < ' ';
            if (isControl && kControls.find(low) == std::string_view::npos) {
                return false;
            }
        }
        return string.size() % 2 == 0;
    }

    bool dictionary()
    {
        const char letter = m_text[m_at];
        if (m_at + 1 >= m_text.size() || m_text[m_at + 1] != letter) {
            return false;
        }
        m_at += 2;
        if (letter == '<') {
            m_open.push_back('<');
            return true;
        }
        return close('<');
    }

    bool close(char opened)
    {
        if (m_open.empty() || m_open.back() != opened) {
            return false;
        }
        m_open.pop_back();
        return true;
    }

    bool word()
    {
        const std::size_t end = std::min(
            m_text.size(), m_text.find_first_of(std::string_view(" \t\n\r\0[]()<>", 10), m_at));
        const std::string_view word = m_text.substr(m_at, end - m_at);
        m_at = end;
        return word == "true" || word == "false" || word == "null" || isNumber(word) ||
               isName(word);
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    std::string m_open;
};

} // namespace

bool isEngineText(std::span<const std::uint8_t> bytes)
{
    return Walk({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).go();
}

} // namespace talvek::recovery
