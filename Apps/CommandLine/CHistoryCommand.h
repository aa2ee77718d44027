#pragma once

#include <string>

#include "Apps/CommandLine/ICommand.h"

namespace CommandLine
{

/// `veko2 undo` and `veko2 redo`: goes back and forth through the edits of a project.
class CHistoryCommand : public ICommand
{
public:
    enum class Direction
    {
        Undo,
        Redo,
    };

    explicit CHistoryCommand(Direction direction) : m_direction(direction) {}

    [[nodiscard]] std::string GetName() const override;
    [[nodiscard]] std::string GetDescription() const override;
    void AddOptions(CLI::App& command) override;
    SReport Run(CConsole& console) override;

private:
    Direction m_direction;
    std::string m_project;
    std::string m_steps;
    bool m_dryRun = false;
};

}  // namespace CommandLine
