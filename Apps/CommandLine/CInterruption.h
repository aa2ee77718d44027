#pragma once

#include <stdexcept>

namespace CommandLine
{

/// Unwinds a command that the user or the system ended.
class CInterruptedError : public std::runtime_error
{
public:
    CInterruptedError() : std::runtime_error("interrupted") {}
};

/// The wish of the user or the system to end the program: SIGINT, SIGTERM or SIGHUP.
///
/// The first signal is remembered; the work asks for it between two blocks and unwinds, so that
/// every unfinished output is removed on the way out. Work that does not ask in time, or a second
/// signal, ends the process at once; unfinished files are removed then, too.
class CInterruption
{
public:
    /// From now on the signals are remembered. One of them that the process was started to ignore,
    /// as a shell does for background jobs, stays ignored. An input that is shortened while it is
    /// mapped ends the process as one that cannot be read, with its name and without unfinished
    /// files.
    static void Install();

    /// From now on an end at once also prints the document of the failure on standard output, as
    /// `--json` wants it.
    static void PromiseDocument();

    /// Takes the promise back: the caller prints a document. False when there is none, or it was
    /// kept already.
    static bool TakeDocument();

    [[nodiscard]] static bool IsRequested();

    /// @throw CInterruptedError when IsRequested().
    static void ThrowIfRequested();
};

}  // namespace CommandLine
