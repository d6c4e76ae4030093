#pragma once

#include <functional>
#include <string>

/// The system's log: one line a call, to `syslog(3)`, and to whoever else listens.
namespace talvek::SystemLog {

using Sink = std::function<void(const std::string& line)>;

/// Logs one line. Any thread; sinks are called on the caller's thread, one call at a time.
void write(const std::string& line);

/// Adds a listener that sees every line from now on. @return a token for `removeSink`
int addSink(Sink sink);
/// After this returns, the listener is not called again. Not to be called from a sink.
void removeSink(int token);

} // namespace talvek::SystemLog
