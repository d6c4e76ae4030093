#pragma once

#include "cli/Console.h"
#include "cli/Destination.h"
#include "cli/ExitStatus.h"
#include "cli/JsonLines.h"
#include "cli/Options.h"
#include "cli/OutputStream.h"
#include "platform/SystemCalls.h"

#include <string>

namespace talvek {

/// The command line's work: every document named is checked, or repaired or recovered into
/// a folder.
class RepairCommand
{
public:
    /// @param output  standard output, or a stand-in for it
    /// @param system  what the engine's files go through; like the others, outlives the object
    RepairCommand(Options options, Console& console, OutputStream& output,
                  SystemCalls& system = SystemCalls::real());

    ExitStatus run();

private:
    ExitStatus checkAll();
    ExitStatus repairAlone();
    ExitStatus repairSeveral();
    ExitStatus repairEachInto(const Destination& folder);
    ExitStatus repairInto(const Destination& destination, const std::string& document,
                          const std::string& title);

    Options m_options;
    Console& m_console;
    OutputStream& m_output;
    SystemCalls& m_system;
    JsonLines m_json;
};

} // namespace talvek
