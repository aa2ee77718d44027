#pragma once

#include "Apps/CommandLine/ExitCode.h"

namespace CommandLine
{

/// The `veko2` program: finds the command that is asked for, runs it, prints its report, and turns
/// every way in which it can end into a message and an exit code.
class CProgram
{
public:
    /// Runs the program with the arguments of `main`. Throws nothing.
    [[nodiscard]] static ExitCode Run(int argumentCount, const char* const* arguments);
};

}  // namespace CommandLine
