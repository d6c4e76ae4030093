#include "tests/cli/FaultyRun.h"

#include "cli/Console.h"
#include "cli/OutputStream.h"
#include "cli/RepairCommand.h"

#include <cstdio>
#include <memory>
#include <utility>

namespace talvek::test {

namespace {

struct CloseFile
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string textOf(std::FILE* file)
{
    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    return text;
}

} // namespace

FaultyRun runWith(SystemCalls& calls, Options options)
{
    const File output(std::tmpfile());
    const File errors(std::tmpfile());
    options.json = true;
    options.keepFreeBytes = 0;
    Console console(false, errors.get());
    OutputStream stream(output.get());
    const ExitStatus status = RepairCommand(std::move(options), console, stream, calls).run();
    return {status, textOf(errors.get()), textOf(output.get())};
}

} // namespace talvek::test
