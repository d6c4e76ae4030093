#include "platform/SystemLog.h"

#include <map>
#include <mutex>
#include <syslog.h>
#include <utility>

namespace talvek::SystemLog {

namespace {

struct Sinks
{
    std::mutex mutex;
    std::map<int, Sink> byToken;
    int lastToken = 0;
};

Sinks& sinks()
{
    static Sinks all;
    return all;
}

} // namespace

void write(const std::string& line)
{
    ::syslog(LOG_USER | LOG_INFO, "%s", line.c_str());
    const std::lock_guard lock(sinks().mutex);
    for (const auto& [token, sink] : sinks().byToken) {
        sink(line);
    }
}

int addSink(Sink sink)
{
    const std::lock_guard lock(sinks().mutex);
    const int token = ++sinks().lastToken;
    sinks().byToken.emplace(token, std::move(sink));
    return token;
}

void removeSink(int token)
{
    const std::lock_guard lock(sinks().mutex);
    sinks().byToken.erase(token);
}

} // namespace talvek::SystemLog
