#pragma once

namespace CommandLine
{

/// What the program tells the shell.
enum class ExitCode
{
    Done = 0,
    Failed = 1,            ///< anything that has no code of its own
    Usage = 2,             ///< the command line does not make sense
    InputUnreadable = 3,   ///< an input is missing, not a file, damaged, or changed meanwhile
    OutputUnwritable = 4,  ///< an output exists already, or cannot be written
    Interrupted = 130,     ///< ended by the user or the system (SIGINT, SIGTERM, SIGHUP)
};

}  // namespace CommandLine
