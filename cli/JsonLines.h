#pragma once

#include "cli/OutputStream.h"
#include "platform/NotificationCenter.h"

#include <string>
#include <utility>

namespace talvek {

/// Standard output as a stream of notifications, one JSON object a line, each sent on at once.
class JsonLines
{
public:
    /// @param stream  outlives the object
    explicit JsonLines(OutputStream& stream) : m_stream(stream) {}

    /// Adds the key "document" with this value to every line from now on.
    void setDocument(std::string document) { m_document = std::move(document); }
    void print(UserInfo userInfo);

private:
    OutputStream& m_stream;
    std::string m_document;
};

} // namespace talvek
