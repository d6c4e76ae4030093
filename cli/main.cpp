#include "cli/Console.h"
#include "cli/Interruption.h"
#include "cli/Options.h"
#include "cli/OutputStream.h"
#include "cli/RepairCommand.h"
#include "platform/SystemLog.h"

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

using namespace talvek;

ExitStatus runCommand(const Options& options, OutputStream& output)
{
    const Interruption interruption;
    Console console(options.quiet);
    if (options.verbose) {
        SystemLog::addSink([&console](const std::string& line) { console.logLine(line); });
    }
    return RepairCommand(options, console, output).run();
}

/// A reader that has seen enough and went is no failure; a full disk under the listing is.
ExitStatus withOutputOf(const OutputStream& output, ExitStatus status)
{
    if (output.error() == 0 || output.error() == EPIPE) {
        return status;
    }
    Console(false).error(std::string("Cannot write standard output: ") +
                         std::strerror(output.error()) + ".");
    return worseOf(status, ExitStatus::cannotWrite);
}

} // namespace

int main(int argumentCount, char** arguments)
{
    static_cast<void>(std::setlocale(LC_CTYPE, ""));
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const ParsedOptions parsed = parseOptions(argumentCount, arguments);
    OutputStream output(stdout);
    output.print(parsed.standardOutput);
    static_cast<void>(std::fputs(parsed.standardError.c_str(), stderr));
    const ExitStatus status = parsed.options ? runCommand(*parsed.options, output) : parsed.status;
    return static_cast<int>(withOutputOf(output, status));
}
