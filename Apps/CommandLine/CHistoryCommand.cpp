#include "Apps/CommandLine/CHistoryCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "Application/Projects/CProject.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/ValueParsing.h"

namespace CommandLine
{

namespace
{

using Application::CProject;

CProject::SStep Preview(const CProject& project, bool isUndo, std::size_t count)
{
    return isUndo ? project.PreviewUndo(count) : project.PreviewRedo(count);
}

}  // namespace

std::string CHistoryCommand::GetName() const
{
    return m_direction == Direction::Undo ? "undo" : "redo";
}

std::string CHistoryCommand::GetDescription() const
{
    return m_direction == Direction::Undo ? "Take the last edit of a project back."
                                          : "Do the last edit again that was undone.";
}

void CHistoryCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(
        std::vector<std::string>{"veko2 " + GetName() + " site.veko2.json",
                                 "veko2 " + GetName() + " site.veko2.json --steps 3"}));
    command.add_option("PROJECT", m_project, "The project file.")->required();
    command
        .add_option("--steps", m_steps,
                    m_direction == Direction::Undo ? "Take this many edits back (1)."
                                                   : "Do this many edits again (1).")
        ->type_name("COUNT");
    command.add_flag("--dry-run", m_dryRun, "Only say what would be done.");
}

SReport CHistoryCommand::Run(CConsole& console)
{
    const bool isUndo = m_direction == Direction::Undo;
    const std::uint64_t count = m_steps.empty() ? 1 : ParseCount("--steps", m_steps);
    if (count == 0)
    {
        throw CUsageError("--steps: expected a number above 0, found '0'");
    }
    CProject project =
        CProject::Open(m_project, m_dryRun ? CProject::Access::Read : CProject::Access::Edit);
    CInterruption::ThrowIfRequested();
    console.ShowProgress(isUndo ? "Undoing" : "Redoing", 0.0);
    const CProject::SStep step = m_dryRun ? Preview(project, isUndo, count)
                                 : isUndo ? project.Undo(count)
                                          : project.Redo(count);

    SReport report;
    const Application::SProjectDocument& document = project.GetDocument();
    report.document = {
        {"command", GetName()},        {"project", m_project},
        {"edits", step.commands},      {"scansChanged", step.scans.size()},
        {"canUndo", document.numDone}, {"canRedo", document.edits.size() - document.numDone},
        {"dryRun", m_dryRun}};
    const std::string done = m_dryRun ? "would " + GetName() + ' ' : isUndo ? "undid " : "redid ";
    for (const std::string& edit : step.commands)
    {
        report.text += m_project + ": " + done + edit + '\n';
    }
    if (step.commands.empty())
    {
        report.text = m_project + ": nothing to " + GetName() + '\n';
    }
    return report;
}

}  // namespace CommandLine
