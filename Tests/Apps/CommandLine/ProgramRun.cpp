#include "Tests/Apps/CommandLine/ProgramRun.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace TestSupport
{

namespace
{

[[noreturn]] void ThrowSystemError(const char* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

/// One output stream of the program: the end that it writes to and the end that is read here.
struct SStream
{
    int readEnd = -1;
    int writeEnd = -1;
};

SStream MakePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        ThrowSystemError("pipe2");
    }
    return {ends[0], ends[1]};
}

SStream MakeTerminal()
{
    SStream stream;
    winsize size{};
    size.ws_col = 80;
    size.ws_row = 24;
    if (openpty(&stream.readEnd, &stream.writeEnd, nullptr, nullptr, &size) != 0)
    {
        ThrowSystemError("openpty");
    }
    fcntl(stream.readEnd, F_SETFD, FD_CLOEXEC);
    fcntl(stream.writeEnd, F_SETFD, FD_CLOEXEC);
    return stream;
}

/// In the new process, between fork and exec.
[[noreturn]] void BecomeProgram(const std::vector<std::string>& arguments,
                                const SProgramSetting& setting, int out, int err)
{
    if (!setting.standardOutput.empty())
    {
        out = open(setting.standardOutput.c_str(), O_WRONLY | O_CLOEXEC);
    }
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (!setting.workingFolder.empty() && chdir(setting.workingFolder.c_str()) != 0)
    {
        _exit(126);
    }
    if (setting.fileSizeLimit != 0)
    {
        const rlimit limit{setting.fileSizeLimit, setting.fileSizeLimit};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    std::vector<std::string> texts{VEKO2_PROGRAM};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts)
    {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    for (const std::string& variable : setting.environment)
    {
        const std::size_t sign = variable.find('=');
        setenv(variable.substr(0, sign).c_str(), variable.substr(sign + 1).c_str(), 1);
    }
    execv(VEKO2_PROGRAM, pointers.data());
    _exit(127);
}

/// Reads what is there; false when the stream has ended.
bool ReadSome(int descriptor, std::string& text)
{
    std::array<char, 65536> buffer{};
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0)
    {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    // The far end of a terminal reports an error when it is closed.
    return count > 0;
}

void Collect(SProgramResult& result, const SStream& out, const SStream& err, pid_t process,
             const std::function<void(int)>& whileRunning)
{
    std::array<pollfd, 2> streams{{{out.readEnd, POLLIN, 0}, {err.readEnd, POLLIN, 0}}};
    const std::array<std::string*, 2> texts{&result.out, &result.err};
    while (streams[0].fd >= 0 || streams[1].fd >= 0)
    {
        if (whileRunning)
        {
            whileRunning(process);
        }
        if (poll(streams.data(), streams.size(), whileRunning ? 1 : 1000) < 0 && errno != EINTR)
        {
            ThrowSystemError("poll");
        }
        for (std::size_t index = 0; index < streams.size(); ++index)
        {
            const bool isReady = (streams[index].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
            if (isReady && !ReadSome(streams[index].fd, *texts[index]))
            {
                // A negative descriptor is not asked for any more.
                streams[index].fd = -1;
            }
            streams[index].revents = 0;
        }
    }
}

}  // namespace

SProgramResult RunProgram(const std::vector<std::string>& arguments, const SProgramSetting& setting)
{
    const SStream out = MakePipe();
    const SStream err = setting.hasTerminal ? MakeTerminal() : MakePipe();
    const pid_t process = fork();
    if (process < 0)
    {
        ThrowSystemError("fork");
    }
    if (process == 0)
    {
        BecomeProgram(arguments, setting, out.writeEnd, err.writeEnd);
    }
    close(out.writeEnd);
    close(err.writeEnd);
    SProgramResult result;
    Collect(result, out, err, process, setting.whileRunning);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR)
    {}
    close(out.readEnd);
    close(err.readEnd);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result;
}

}  // namespace TestSupport
