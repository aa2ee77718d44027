#include "Apps/CommandLine/CInterruption.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <string_view>

#include "Application/Files/CMappedFile.h"
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

void Print(std::string_view text)
{
    (void)!write(STDERR_FILENO, text.data(), text.size());
}

void EndAtOnce(int /*signal*/)
{
    Application::CUnfinishedFile::RemoveAll();
    Print("veko2: interrupted\n");
    _exit(static_cast<int>(ExitCode::Interrupted));
}

/// A page of a mapped input is gone, because the file was shortened or its disk failed.
void EndWithoutInput(int signal, siginfo_t* information, void* /*context*/)
{
    char room[PATH_MAX];
    const std::string_view name =
        information->si_code > 0 ? Application::CMappedFile::FindName(information->si_addr, room)
                                 : std::string_view();
    Application::CUnfinishedFile::RemoveAll();
    if (name.empty())
    {
        // Not about an input: it means what it always does.
        ::signal(signal, SIG_DFL);
        raise(signal);
        return;
    }
    std::replace_if(
        room, room + name.size(),
        [](char character) { return static_cast<unsigned char>(character) < 0x20; }, '?');
    Print("veko2: ");
    Print(name);
    Print(": was shortened, or its disk failed, while it was being read\n");
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
    struct sigaction action = {};
    action.sa_sigaction = EndWithoutInput;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, nullptr);
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
