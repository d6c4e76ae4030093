#include "cli/FolderNames.h"

#include <clocale>
#include <cwchar>
#include <cwctype>

namespace talvek {

namespace {

char lowerAscii(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// The name in one case. What the locale's encoding does not hold is taken byte by byte.
std::string withoutCase(const std::string& name)
{
    std::mbstate_t reading = {};
    std::string folded;
    for (std::size_t index = 0; index < name.size();) {
        wchar_t letter = 0;
        const std::size_t count =
            std::mbrtowc(&letter, name.data() + index, name.size() - index, &reading);
        std::mbstate_t writing = {};
        char bytes[16] = {};
        if (count == 0 || count > name.size()) {
            reading = {};
            folded += lowerAscii(name[index++]);
            continue;
        }
        const std::size_t made = std::wcrtomb(
            bytes, static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter))), &writing);
        folded.append(bytes, made == static_cast<std::size_t>(-1) ? 0 : made);
        index += count;
    }
    return folded;
}

} // namespace

std::string FolderNames::unusedFor(const std::string& name)
{
    std::string unused = name;
    for (int number = 2; !m_used.insert(withoutCase(unused)).second; ++number) {
        unused = name + " (" + std::to_string(number) + ")";
    }
    return unused;
}

} // namespace talvek
