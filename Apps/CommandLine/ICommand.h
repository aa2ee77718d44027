#pragma once

#include "Apps/CommandLine/SReport.h"

namespace CLI
{
class App;
}

namespace CommandLine
{

class CConsole;

/// One subcommand of the program: its options, and what it does with them.
class ICommand
{
public:
    ICommand() = default;
    virtual ~ICommand() = default;
    ICommand(const ICommand&) = delete;
    ICommand& operator=(const ICommand&) = delete;

    /// Adds the subcommand with its options to \p program and returns it. Parsing then fills this
    /// object, which must outlive \p program.
    virtual CLI::App& AddTo(CLI::App& program) = 0;

    /// Does the work with the options that were parsed. Nothing is printed on standard output;
    /// progress and warnings go to \p console.
    /// @throw CUsageError, CInterruptedError, Application::CInputError, Application::COutputError
    /// and whatever the work itself throws.
    [[nodiscard]] virtual SReport Run(CConsole& console) = 0;
};

}  // namespace CommandLine
