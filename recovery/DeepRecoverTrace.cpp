// Runs the deep recovery alone, for tests: every notification is one line of JSON.

#include "recovery/DeepRecovery.h"
#include "recovery/output/RecoveryOutput.h"
#include "recovery/output/Reference.h"

#include <nlohmann/json.hpp>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

using talvek::recovery::RecoveredDocument;
using talvek::recovery::RunControl;
namespace output = talvek::recovery::output;

void printLine(const std::string& status, double progress)
{
    nlohmann::ordered_json line;
    line["status"] = status;
    line["progress"] = progress;
    std::cout << line.dump() << '\n';
}

struct Arguments
{
    bool isBare = false;   ///< no more than the layered document and report.json
    std::string reference; ///< another copy of the document; empty: none
    std::string input;
    std::string folder;
};

bool parse(int argc, char** argv, Arguments& arguments)
{
    std::vector<std::string> rest(argv + 1, argv + argc);
    if (!rest.empty() && rest.front() == "--bare") {
        arguments.isBare = true;
        rest.erase(rest.begin());
    }
    if (rest.size() > 1 && rest.front() == "--reference") {
        arguments.reference = rest[1];
        rest.erase(rest.begin(), rest.begin() + 2);
    }
    if (rest.size() != 2) {
        return false;
    }
    arguments.input = rest[0];
    arguments.folder = rest[1];
    return true;
}

bool recover(const Arguments& arguments)
{
    auto& files = talvek::FileManager::defaultManager();
    output::OutputOptions options;
    talvek::recovery::DeepRecovery recovery(files);
    recovery.setAmend([&](RecoveredDocument& document, const RunControl& control) {
        if (!arguments.reference.empty()) {
            options.fromReference =
                output::fillFromReference(files, document, arguments.reference, control);
        }
    });
    if (!recovery.recoverFileAtPath_andSaveAtPath(arguments.input, arguments.folder)) {
        return false;
    }
    if (arguments.isBare) {
        return true;
    }
    const RunControl control;
    output::RecoveryOutput outputs(files, control, options);
    const auto tell = [](const std::string& status, double share) {
        printLine(status, 100 * share);
    };
    return outputs.write(recovery.document(), arguments.folder, tell) ==
           output::OutputResult::Written;
}

int run(int argc, char** argv)
{
    Arguments arguments;
    if (!parse(argc, argv, arguments)) {
        std::cerr << "usage: deep-recover-trace [--bare] [--reference OLDER] INPUT OUTPUT_FOLDER\n";
        return 2;
    }
    auto& center = talvek::NotificationCenter::defaultCenter();
    center.addObserver(talvek::recovery::DeepRecovery::kNotification,
                       [](const talvek::UserInfo& info) {
                           printLine(std::get<std::string>(info.at("status")),
                                     std::get<double>(info.at("progress")));
                       });
    return recover(arguments) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
