#include "cli/JsonLines.h"

#include "cli/NotificationJson.h"

namespace talvek {

void JsonLines::print(UserInfo userInfo)
{
    if (!m_document.empty()) {
        userInfo["document"] = m_document;
    }
    m_stream.print(jsonOf(userInfo) + "\n");
}

} // namespace talvek
