#include "cli/Options.h"

#include "cli/DocumentRecovery.h"
#include "cli/TerminalText.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <limits>

namespace talvek {

namespace {

constexpr const char* kProgram = "talvek-psd-repair";

constexpr const char* kHelp = R"(Salvages what survives in damaged Photoshop documents.

Usage: talvek-psd-repair [OPTIONS] DOCUMENT...

Options:
  -o, --output DIR   the folder to create for the salvaged files (default
                     "Repaired PSD Files"); with several documents, one folder
                     inside it for each, named after the document
      --deep         recover everything that survives, whatever is damaged: one
                     layered document, every layer as PNG, the embedded files,
                     and a report that says what is whole and what is not
      --reference FILE
                     an older save or another copy of the document, to fill in
                     what it lost; goes with --deep and one document
      --force        replace the output folder if it exists
      --json         print the notifications on standard output, one JSON
                     object a line, instead of the listing
      --check        only test whether the document's header is acceptable
      --keep-free SIZE
                     room to leave on the output volume, in bytes or with K, M
                     or G (default 256M, or a tenth of what is free if that is
                     less; 0 for none): damaged lengths can ask for many times
                     the document's size
  -q, --quiet        print errors and warnings only, and what --json asks for
  -v, --verbose      print log lines on standard error
      --version      print the version and end
  -h, --help         print this help and end

Exit status:
  0    salvaged; with --deep: nothing that was found is damaged
  1    a document cannot be repaired, or nothing was found in it
  2    wrong usage
  3    the output cannot be written
  4    with --deep: some of what was found is partial or lost
  130  interrupted

The documents themselves are only read. More in the manual page:
man talvek-psd-repair
)";

unsigned shiftOfUnit(char unit)
{
    switch (unit) {
    case 'K':
    case 'k':
        return 10;
    case 'M':
    case 'm':
        return 20;
    case 'G':
    case 'g':
        return 30;
    default:
        return 0;
    }
}

std::string checkedSize(const std::string& text)
{
    if (sizeFromText(text)) {
        return {};
    }
    return quotedName(text) + " is not a size. Give bytes, or a number followed by K, M or G.";
}

/// Document names go round the parser's own lists, which would take "[a,b]" for two names.
struct Arguments
{
    std::vector<std::string> options; ///< in the order in which the parser takes them: last first
    std::vector<std::string> documents;
};

/// The argument is an option whose value is the next one; flags may stand before the "o" of "-qo".
bool takesValue(const std::string& argument)
{
    if (argument[1] == '-') {
        return argument == "--output" || argument == "--keep-free" || argument == "--reference";
    }
    return argument.find('o') == argument.size() - 1;
}

Arguments sortedOut(int count, const char* const* all)
{
    Arguments sorted;
    bool onlyDocuments = false;
    for (int index = 1; index < count; ++index) {
        const std::string argument = all[index];
        if (onlyDocuments || argument == "-" || argument.empty() || argument.front() != '-') {
            sorted.documents.push_back(argument);
        } else if (argument == "--") {
            onlyDocuments = true;
        } else {
            sorted.options.push_back(argument);
            if (takesValue(argument) && index + 1 < count) {
                sorted.options.emplace_back(all[++index]);
            }
        }
    }
    std::reverse(sorted.options.begin(), sorted.options.end());
    return sorted;
}

void declareOptions(CLI::App& app, Options& options, std::string& keepFree)
{
    app.set_version_flag("--version", std::string(kProgram) + " " + TALVEK_VERSION);
    app.set_help_flag("-h,--help");
    app.add_option("-o,--output", options.output);
    app.add_flag("--force", options.force);
    app.add_flag("--json", options.json);
    app.add_flag("--check", options.check);
    app.add_flag("--deep", options.deep);
    app.add_option("--reference", options.reference);
    app.add_option("--keep-free", keepFree)->check(checkedSize);
    auto* quiet = app.add_flag("-q,--quiet", options.quiet);
    app.add_flag("-v,--verbose", options.verbose)->excludes(quiet);
}

ParsedOptions wrongUsage(const std::string& message)
{
    return {std::nullopt,
            ExitStatus::wrongUsage,
            {},
            std::string(kProgram) + ": " + safeForTerminal(message) + "\nTry '" + kProgram +
                " --help'.\n"};
}

ParsedOptions shown(const std::string& text)
{
    return {std::nullopt, ExitStatus::salvaged, text, {}};
}

/// What is wrong with the options of the deep recovery; empty if nothing is.
std::string complaintAboutDeep(const Options& options, bool hasReference)
{
    if (hasReference && !options.deep) {
        return "--reference goes with --deep.";
    }
    if (hasReference && options.reference.empty()) {
        return "--reference needs the name of a file.";
    }
    if (hasReference && options.documents.size() > 1) {
        return "--reference goes with one document. Recover the documents one by one.";
    }
    if (options.deep && options.check) {
        return "--check tests the header that a repair needs; --deep needs none. Leave out one of "
               "them.";
    }
    if (options.deep && !hasDeepRecovery()) {
        return "--deep is missing from this program: it was built without zlib or Little CMS. "
               "Build it again where both are installed.";
    }
    return {};
}

ParsedOptions complete(Options options, const std::string& keepFree, bool hasReference)
{
    if (options.documents.empty()) {
        return wrongUsage("No document was named. Name the PSD document to repair.");
    }
    if (options.output.empty()) {
        return wrongUsage("--output needs the name of a folder.");
    }
    const std::string complaint = complaintAboutDeep(options, hasReference);
    if (!complaint.empty()) {
        return wrongUsage(complaint);
    }
    if (!keepFree.empty()) {
        options.keepFreeBytes = sizeFromText(keepFree);
    }
    return {std::move(options), ExitStatus::salvaged, {}, {}};
}

} // namespace

std::optional<std::uint64_t> sizeFromText(std::string_view text)
{
    const unsigned shift = text.empty() ? 0 : shiftOfUnit(text.back());
    if (shift > 0) {
        text.remove_suffix(1);
    }
    std::uint64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (text.empty() || error != std::errc() || stop != end ||
        number > (std::numeric_limits<std::uint64_t>::max() >> shift)) {
        return std::nullopt;
    }
    return number << shift;
}

ParsedOptions parseOptions(int argumentCount, const char* const* arguments)
{
    Options options;
    std::string keepFree;
    CLI::App app("", kProgram);
    declareOptions(app, options, keepFree);
    Arguments sorted = sortedOut(argumentCount, arguments);
    options.documents = std::move(sorted.documents);
    try {
        app.parse(std::move(sorted.options));
    } catch (const CLI::CallForHelp&) {
        return shown(kHelp);
    } catch (const CLI::CallForVersion& version) {
        return shown(std::string(version.what()) + "\n");
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string text = error.what();
        return wrongUsage(text.substr(0, text.find(':')) + " takes one value, and stands once.");
    } catch (const CLI::ParseError& error) {
        return wrongUsage(error.what());
    }
    return complete(std::move(options), keepFree, app.count("--reference") > 0);
}

} // namespace talvek
