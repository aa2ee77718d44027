#pragma once

#include <string>

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

    /// The word that chooses it.
    [[nodiscard]] virtual std::string GetName() const = 0;
    /// What it does, in one sentence.
    [[nodiscard]] virtual std::string GetDescription() const = 0;

    /// Adds its options to \p command. Parsing then fills this object, which must outlive
    /// \p command.
    virtual void AddOptions(CLI::App& command) = 0;

    /// Does the work with the options that were parsed. Nothing is printed on standard output;
    /// progress and warnings go to \p console.
    /// @throw CUsageError, CInterruptedError, Application::CInputError, Application::COutputError
    /// and whatever the work itself throws.
    [[nodiscard]] virtual SReport Run(CConsole& console) = 0;
};

}  // namespace CommandLine
