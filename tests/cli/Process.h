#pragma once

#include <map>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace talvek::test {

/// How a program ended.
struct Ending
{
    int status = -1; ///< -1 if a signal ended it
    int signal = 0;
    std::string output;
    std::string error; ///< what it wrote to standard error, or to its terminal
};

/// A program under way.
class Process
{
public:
    struct Setting
    {
        std::string program;
        std::vector<std::string> arguments;
        std::string folder;                             ///< its current folder
        bool terminal = false;                          ///< standard error is a terminal
        unsigned short columns = 80;                    ///< of that terminal
        bool asNobody = false;                          ///< drop the superuser's powers
        std::map<std::string, std::string> environment; ///< in addition to the test's own
    };

    explicit Process(const Setting& setting);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Reads until standard output has this many lines. @return false if it ended before
    bool waitForOutputLines(int count);
    /// Reads until standard error holds the text. @return false if it ended before
    bool waitForError(std::string_view text);
    void send(int signal) const;
    /// Reads to the end. A program that takes longer than a minute is killed.
    Ending wait();

private:
    bool pump();
    bool readSome(int descriptor, std::string& into);

    pid_t m_process = -1;
    int m_outputDescriptor = -1;
    int m_errorDescriptor = -1;
    std::string m_output;
    std::string m_error;
    long m_deadline = 0;
};

/// Runs talvek-psd-repair in the folder.
Ending repair(const std::string& folder, const std::vector<std::string>& arguments);
/// The setting of `repair`, to be changed before it is run.
Process::Setting repairSetting(const std::string& folder,
                               const std::vector<std::string>& arguments);
Ending run(const Process::Setting& setting);

} // namespace talvek::test
