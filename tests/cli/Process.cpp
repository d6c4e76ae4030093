#include "tests/cli/Process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvek::test {

namespace {

constexpr long kMostSeconds = 60;
constexpr uid_t kNobody = 65534;

struct Ends
{
    int ours = -1;
    int theirs = -1;
};

Ends makePipe()
{
    int ends[2] = {};
    if (::pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return {ends[0], ends[1]};
}

Ends makeTerminal(unsigned short columns)
{
    const int ours = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (ours < 0 || ::grantpt(ours) != 0 || ::unlockpt(ours) != 0) {
        throw std::runtime_error("no terminal");
    }
    const int theirs = ::open(::ptsname(ours), O_RDWR | O_NOCTTY | O_CLOEXEC);
    winsize size = {};
    size.ws_col = columns;
    size.ws_row = 24;
    ::ioctl(theirs, TIOCSWINSZ, &size);
    return {ours, theirs};
}

[[noreturn]] void become(const Process::Setting& setting, int output, int error)
{
    std::vector<char*> arguments = {const_cast<char*>(setting.program.c_str())};
    for (const std::string& argument : setting.arguments) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    for (const auto& [name, value] : setting.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    const bool ready = ::dup2(output, STDOUT_FILENO) >= 0 && ::dup2(error, STDERR_FILENO) >= 0 &&
                       ::chdir(setting.folder.c_str()) == 0 &&
                       (!setting.asNobody || (::setgid(kNobody) == 0 && ::setuid(kNobody) == 0));
    if (ready) {
        ::execv(setting.program.c_str(), arguments.data());
    }
    ::_exit(127);
}

} // namespace

Process::Process(const Setting& setting) : m_deadline(std::time(nullptr) + kMostSeconds)
{
    const Ends output = makePipe();
    const Ends error = setting.terminal ? makeTerminal(setting.columns) : makePipe();
    m_process = ::fork();
    if (m_process == 0) {
        become(setting, output.theirs, error.theirs);
    }
    ::close(output.theirs);
    ::close(error.theirs);
    m_outputDescriptor = output.ours;
    m_errorDescriptor = error.ours;
}

Process::~Process()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        wait();
    }
}

/// Reads once. @return false at the end
bool Process::readSome(int descriptor, std::string& into)
{
    char buffer[4096];
    const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
    if (count > 0) {
        into.append(buffer, static_cast<std::size_t>(count));
    }
    // A terminal that was closed at its other end reads as an input error.
    return count > 0 || (count < 0 && errno == EINTR);
}

/// Waits for more of either stream. @return false when both have ended
bool Process::pump()
{
    pollfd streams[] = {{m_outputDescriptor, POLLIN, 0}, {m_errorDescriptor, POLLIN, 0}};
    if (m_outputDescriptor < 0 && m_errorDescriptor < 0) {
        return false;
    }
    ::poll(streams, 2, 1000);
    if (std::time(nullptr) > m_deadline) {
        send(SIGKILL);
    }
    if (streams[0].revents != 0 && !readSome(m_outputDescriptor, m_output)) {
        ::close(m_outputDescriptor);
        m_outputDescriptor = -1;
    }
    if (streams[1].revents != 0 && !readSome(m_errorDescriptor, m_error)) {
        ::close(m_errorDescriptor);
        m_errorDescriptor = -1;
    }
    return true;
}

bool Process::waitForOutputLines(int count)
{
    while (std::count(m_output.begin(), m_output.end(), '\n') < count) {
        if (!pump()) {
            return false;
        }
    }
    return true;
}

bool Process::waitForError(std::string_view text)
{
    while (m_error.find(text) == std::string::npos) {
        if (!pump()) {
            return false;
        }
    }
    return true;
}

void Process::send(int signal) const
{
    ::kill(m_process, signal);
}

Ending Process::wait()
{
    while (pump()) {
    }
    int state = 0;
    while (::waitpid(m_process, &state, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    return {WIFEXITED(state) ? WEXITSTATUS(state) : -1, WIFSIGNALED(state) ? WTERMSIG(state) : 0,
            m_output, m_error};
}

Process::Setting repairSetting(const std::string& folder, const std::vector<std::string>& arguments)
{
    Process::Setting setting;
    setting.program = TALVEK_REPAIR_PROGRAM;
    setting.arguments = arguments;
    setting.folder = folder;
    return setting;
}

Ending run(const Process::Setting& setting)
{
    return Process(setting).wait();
}

Ending repair(const std::string& folder, const std::vector<std::string>& arguments)
{
    return run(repairSetting(folder, arguments));
}

} // namespace talvek::test
