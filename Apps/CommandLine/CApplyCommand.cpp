#include "Apps/CommandLine/CApplyCommand.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "Application/Projects/CProject.h"
#include "Application/Projects/Stations.h"
#include "Application/Projects/TransformList.h"
#include "Application/Scans/CKeptPoints.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CNewFolder.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"

namespace CommandLine
{

namespace
{

using Application::CProject;
using Application::SStation;
using Base::CSurfelBitMask;
namespace fs = std::filesystem;

constexpr const char* c_listName = "transforms.txt";

/// A name in the folder for each scan: its own, or with a number where scans of several folders
/// have the same, or it is that of the list.
std::vector<std::string> MakeTargets(const std::vector<SStation>& stations,
                                     const std::string& folder)
{
    std::set<std::string> taken{c_listName};
    std::map<std::string, std::uint64_t> numbers;
    std::vector<std::string> targets;
    for (const SStation& station : stations)
    {
        const fs::path own = station.scan.GetPath().filename();
        std::string name = own.string();
        // Where the last scan of that name left off.
        std::uint64_t& number = numbers.try_emplace(name, 1).first->second;
        while (!taken.insert(name).second)
        {
            name = own.stem().string() + "-" + std::to_string(++number) + own.extension().string();
        }
        targets.push_back((fs::path(folder) / name).string());
    }
    return targets;
}

/// The transforms of the scans under their new names, as 'veko2 project create' reads them from
/// \p file.
std::string MakeTransformList(const CProject& project, const std::vector<std::string>& targets,
                              const std::string& file)
{
    std::vector<Application::SListedTransform> list;
    for (std::size_t index = 0; index < targets.size(); ++index)
    {
        list.push_back({fs::path(targets[index]).filename().string(),
                        project.GetDocument().scans[index].transform});
    }
    return Application::PrintTransformList(list, file);
}

/// Asked of all of them before the first is written.
void CheckFlaggable(const std::vector<SStation>& stations)
{
    for (const SStation& station : stations)
    {
        station.scan.CheckFlaggable();
    }
}

}  // namespace

std::string CApplyCommand::GetName() const
{
    return "apply";
}

std::string CApplyCommand::GetDescription() const
{
    return "Write the scans of a project without what is flagged.";
}

void CApplyCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(
        std::vector<std::string>{"veko2 apply site.veko2.json --output cleaned",
                                 "veko2 apply site.veko2.json --output flagged --property"}));
    command.add_option("PROJECT", m_project, "The project file.")->required();
    command
        .add_option("-o,--output", m_folder,
                    "Write the scans into this folder, in their own formats and under their own "
                    "names, and transforms.txt with their transforms.")
        ->type_name("FOLDER");
    CLI::Option* const drop =
        command
            .add_option("--drop", m_dropped,
                        "Drop only these: 'cut' or 'small-component'; may be given twice. Both "
                        "are dropped by default.")
            ->type_name("FLAG")
            ->allow_extra_args(false);
    command
        .add_flag("--property", m_isProperty,
                  "Drop nothing; write the flags as a property 'ushort veko2_flags' of PLY "
                  "vertices.")
        ->excludes(drop);
    command.add_flag("--dry-run", m_dryRun, "Only say what would be dropped.");
    command.add_flag("--force", m_force, "Replace files that exist.");
}

SReport CApplyCommand::Run(CConsole& console)
{
    if (m_folder.empty() && !m_dryRun)
    {
        throw CUsageError("where to? give --output with a folder, or --dry-run");
    }
    const std::uint16_t dropBits = parseDropped();
    CheckOutsideData("--output", m_folder, m_project);
    const CProject project = CProject::Open(m_project, CProject::Access::Read);
    const std::vector<SStation> stations =
        Application::LoadStations(project, MakeStepProgress(console, "Reading"));
    if (m_isProperty)
    {
        CheckFlaggable(stations);
    }
    const std::vector<std::string> targets = MakeTargets(stations, m_folder);
    const std::string transforms = (fs::path(m_folder) / c_listName).string();
    const std::string list = MakeTransformList(project, targets, transforms);
    std::optional<CNewFolder> folder;
    if (!m_dryRun)
    {
        folder.emplace(m_folder);
        checkOutputs(stations, targets, transforms);
    }

    SReport report;
    report.document = {
        {"command", "apply"}, {"project", m_project}, {"scans", nlohmann::ordered_json::array()}};
    for (std::size_t index = 0; index < stations.size(); ++index)
    {
        CInterruption::ThrowIfRequested();
        apply(stations[index], targets[index], dropBits, console, report);
    }
    if (!m_dryRun)
    {
        WriteText(transforms, list, m_force);
        report.document["transforms"] = transforms;
        report.text += transforms + '\n';
    }
    report.document["dryRun"] = m_dryRun;
    return report;
}

std::uint16_t CApplyCommand::parseDropped() const
{
    std::uint16_t bits = 0;
    for (const std::string& name : m_dropped)
    {
        if (name == "cut")
        {
            bits |= CSurfelBitMask::SurfelFlagCut;
        }
        else if (name == "small-component")
        {
            bits |= CSurfelBitMask::SurfelFlagSmallComponent;
        }
        else
        {
            throw CUsageError("--drop: expected cut or small-component, found '" + name + "'");
        }
    }
    constexpr std::uint16_t c_both =
        CSurfelBitMask::SurfelFlagCut | CSurfelBitMask::SurfelFlagSmallComponent;
    return m_dropped.empty() ? c_both : bits;
}

void CApplyCommand::checkOutputs(const std::vector<SStation>& stations,
                                 const std::vector<std::string>& targets,
                                 const std::string& transforms) const
{
    // The project's flags belong to its scans as they are.
    std::vector<std::string> inputs = GetFiles(stations);
    inputs.push_back(m_project);
    std::vector<SOutputFile> outputs{{"transforms", transforms, m_force}};
    for (const std::string& target : targets)
    {
        outputs.push_back({"scan", target, m_force});
    }
    CheckOutputs(outputs, inputs);
}

void CApplyCommand::apply(const SStation& station, const std::string& target,
                          std::uint16_t dropBits, CConsole& console, SReport& report) const
{
    const std::uint64_t points = station.scan.GetPointCount();
    const std::uint64_t kept =
        m_isProperty ? points
                     : Application::CKeptPoints(station.GetFlags(), dropBits).CountKept(points);
    const std::string scan = station.scan.GetPath().string();
    if (!m_dryRun)
    {
        write(station, target, dropBits, console);
        WarnOfEmptyOutput(target, points, kept, console);
    }
    else
    {
        station.scan.CheckUnchanged();
    }
    report.document["scans"].push_back(
        {{"scan", scan}, {"points", points}, {"dropped", points - kept}, {"kept", kept}});
    if (!m_dryRun)
    {
        report.document["scans"].back()["output"] = target;
    }
    report.text += (m_dryRun ? scan : target) + ": " + std::to_string(points - kept) + " of " +
                   std::to_string(points) +
                   (m_dryRun ? " points would be dropped, " : " points dropped, ") +
                   std::to_string(kept) + " kept\n";
}

void CApplyCommand::write(const SStation& station, const std::string& target,
                          std::uint16_t dropBits, CConsole& console) const
{
    const auto progress = MakeStepProgress(console, "Writing");
    if (m_isProperty)
    {
        station.scan.WriteFlagged(target, station.GetFlags(), m_force, progress);
        return;
    }
    station.scan.WriteKept(target, Application::CKeptPoints(station.GetFlags(), dropBits), m_force,
                           progress);
}

}  // namespace CommandLine
