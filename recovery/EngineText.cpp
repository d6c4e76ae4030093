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

    bool passString()
    {
        for (++m_at; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] == '\\') {
                ++m_at;
            } else if (m_text[m_at] == ')') {
                ++m_at;
                return true;
            }
        }
        return false;
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
