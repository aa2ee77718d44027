#include "Apps/CommandLine/CInterruption.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <string>
#include <string_view>

#include "Application/Files/CMappedFile.h"
#include "Application/Files/CUnfinishedFile.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/ExitCode.h"
#include "Apps/CommandLine/JsonDocuments.h"

namespace CommandLine
{

namespace
{

/// How long the work may take to notice a signal before the process is ended under it; less than
/// the second that a user is promised.
constexpr suseconds_t c_patienceInMicroseconds = 700'000;

std::atomic<bool> g_isRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "written by a signal handler");

constexpr int c_goesOn = -1;
/// What the process ends with, once somebody ends it at once.
std::atomic<int> g_exitCode{c_goesOn};
static_assert(std::atomic<int>::is_always_lock_free, "written by a signal handler");
std::atomic<bool> g_isDocumentPromised{false};
/// Made beforehand: a signal may come while memory is being reserved.
std::string g_interruptedDocument;

void Print(int stream, std::string_view text)
{
    (void)!write(stream, text.data(), text.size());
}

/// Called by whoever ends the process at once. Only the first comes back: another thread must not
/// end it before that one has said why. Signals wait meanwhile, since they may be for this thread.
void BeginEnd(ExitCode code)
{
    int known = c_goesOn;
    if (!g_exitCode.compare_exchange_strong(known, static_cast<int>(code)))
    {
        // It may hold what the first one waits for, the lock of the reserved memory.
        sleep(1);
        _exit(known);
    }
    Application::CUnfinishedFile::RemoveAll();
}

[[noreturn]] void End(std::string_view document)
{
    if (CInterruption::TakeDocument())
    {
        Print(STDOUT_FILENO, document);
    }
    _exit(g_exitCode);
}

void EndAtOnce(int /*signal*/)
{
    BeginEnd(ExitCode::Interrupted);
    Print(STDERR_FILENO, "veko2: interrupted\n");
    End(g_interruptedDocument);
}

/// A page of a mapped input is gone, because the file was shortened or its disk failed.
void EndWithoutInput(int signal, siginfo_t* information, void* /*context*/)
{
    char room[PATH_MAX];
    const std::string_view name =
        information->si_code > 0 ? Application::CMappedFile::FindName(information->si_addr, room)
                                 : std::string_view();
    BeginEnd(ExitCode::InputUnreadable);
    if (name.empty())
    {
        // Not about an input: it means what it always does.
        ::signal(signal, SIG_DFL);
        raise(signal);
        return;
    }
    // It was reading that failed, and not the reservation of memory, so that there is some to be
    // had for the text.
    const std::string message =
        std::string(name) + ": was shortened, or its disk failed, while it was being read";
    Print(STDERR_FILENO, "veko2: " + EscapeControlCharacters(message) + '\n');
    End(PrintFailure(ExitCode::InputUnreadable, message));
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

bool IsIgnored(int signal)
{
    struct sigaction current = {};
    return sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

void Handle(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void CInterruption::Install()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        if (!IsIgnored(signal))
        {
            Handle(signal, Remember);
        }
    }
    Handle(SIGALRM, EndAtOnce);
    struct sigaction action = {};
    action.sa_sigaction = EndWithoutInput;
    action.sa_flags = SA_SIGINFO;
    sigfillset(&action.sa_mask);
    sigaction(SIGBUS, &action, nullptr);
    // A reader that goes away and a file that may not grow are failed writes with a message, not a
    // sudden end that would leave unfinished files behind.
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN);
}

void CInterruption::PromiseDocument()
{
    g_interruptedDocument = PrintFailure(ExitCode::Interrupted, CInterruptedError().what());
    g_isDocumentPromised = true;
}

bool CInterruption::TakeDocument()
{
    return g_isDocumentPromised.exchange(false);
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
