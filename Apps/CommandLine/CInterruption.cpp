#include "Apps/CommandLine/CInterruption.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

#include "Application/Files/CUnfinishedFile.h"
#include "Apps/CommandLine/ExitCode.h"

namespace CommandLine
{

namespace
{

/// How long the work may take to notice a signal before the process is ended under it; less than
/// the second that a user is promised.
constexpr suseconds_t c_patienceInMicroseconds = 700'000;

std::atomic<bool> g_isRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "written by a signal handler");

void EndAtOnce(int /*signal*/)
{
    Application::CUnfinishedFile::RemoveAll();
    constexpr std::string_view c_message = "veko2: interrupted\n";
    (void)!write(STDERR_FILENO, c_message.data(), c_message.size());
    _exit(static_cast<int>(ExitCode::Interrupted));
}

/// A page of a mapped input is gone, because the file was shortened or its disk failed.
void EndWithoutInput(int /*signal*/)
{
    Application::CUnfinishedFile::RemoveAll();
    constexpr std::string_view c_message =
        "veko2: an input was shortened, or its disk failed, while it was being read\n";
    (void)!write(STDERR_FILENO, c_message.data(), c_message.size());
    _exit(static_cast<int>(ExitCode::InputUnreadable));
}

void Remember(int signal)
{
    if (g_isRequested.exchange(true))
    {
        EndAtOnce(signal);
    }
    itimerval timer{};
    timer.it_value.tv_usec = c_patienceInMicroseconds;
    setitimer(ITIMER_REAL, &timer, nullptr);
}

void Handle(int signal, void (*handler)(int))
{
    struct sigaction previous = {};
    if (sigaction(signal, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN)
    {
        return;
    }
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void CInterruption::Install()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        Handle(signal, Remember);
    }
    Handle(SIGALRM, EndAtOnce);
    Handle(SIGBUS, EndWithoutInput);
    // A reader that goes away and a file that may not grow are failed writes with a message, not a
    // sudden end that would leave unfinished files behind.
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

bool CInterruption::IsRequested()
{
    return g_isRequested.load(std::memory_order_relaxed);
}

void CInterruption::ThrowIfRequested()
{
    if (IsRequested())
    {
        throw CInterruptedError();
    }
}

}  // namespace CommandLine
