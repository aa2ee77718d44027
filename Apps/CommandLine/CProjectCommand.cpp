#include "Apps/CommandLine/CProjectCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <utility>

#include "Application/Files/CInputError.h"
#include "Application/Projects/ExcludedRegions.h"
#include "Application/Projects/ProjectJson.h"
#include "Application/Projects/TransformList.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"
#include "Apps/CommandLine/ValueParsing.h"

namespace CommandLine
{

namespace
{

using Application::CProject;
using Application::CScanFile;
using Application::SListedTransform;
using Application::SProjectScan;
using Base::CSurfelBitMask;
using nlohmann::ordered_json;
namespace fs = std::filesystem;

/// The file's name as a project at \p project writes it down.
fs::path RelateTo(const std::string& project, const fs::path& file)
{
    return fs::proximate(file,
                         Application::CProjectFolder::Find(fs::absolute(project)).parent_path());
}

/// The transforms of a list by the names of the files, without their folders.
using NamedTransforms = std::multimap<std::string, LqMatrix4Rd>;

NamedTransforms ByFileName(const std::vector<SListedTransform>& list)
{
    NamedTransforms named;
    for (const SListedTransform& entry : list)
    {
        named.emplace(fs::path(entry.file).filename().string(), entry.transform);
    }
    return named;
}

/// The transform that the list has for a scan of that file name.
LqMatrix4Rd FindTransform(const NamedTransforms& list, const fs::path& scan,
                          const std::string& listName)
{
    const std::string name = scan.filename().string();
    const auto number = list.count(name);
    if (number != 1)
    {
        throw Application::CInputError(
            listName, "expected one line for '" + name + "', found " + std::to_string(number));
    }
    return list.find(name)->second;
}

/// The flags of a scan as people count them.
ordered_json DescribeFlags(const CProject::Words& flags)
{
    return {{"cut", CountFlagged(flags, CSurfelBitMask::SurfelFlagCut)},
            {"smallComponent", CountFlagged(flags, CSurfelBitMask::SurfelFlagSmallComponent)},
            {"excluded", CountFlagged(flags, CSurfelBitMask::SurfelFlagExcluded)},
            {"frozen", CountFlagged(flags, CSurfelBitMask::SurfelFlagOutlierFrozen)}};
}

/// Null where they cannot be read, and why is then added to \p damages.
ordered_json DescribeFlags(const CProject& project, std::size_t index,
                           std::vector<std::string>& damages)
{
    try
    {
        return DescribeFlags(project.ReadFlags(index));
    }
    catch (const Application::CInputError& error)
    {
        // Opening the project has found most of what may be wrong with them.
        if (std::find(damages.begin(), damages.end(), error.what()) == damages.end())
        {
            damages.emplace_back(error.what());
        }
        return nullptr;
    }
}

ordered_json DescribeScan(const CProject& project, std::size_t index,
                          std::vector<std::string>& damages)
{
    const SProjectScan& scan = project.GetDocument().scans[index];
    const double* const elements = scan.transform.data();
    return {{"file", project.GetScanPath(index).string()},
            {"key", Application::PrintKey(scan.key)},
            {"points", scan.points},
            {"flags", DescribeFlags(project, index, damages)},
            {"transform", std::vector<double>(elements, elements + 16)},
            {"optimizationLevel", scan.optimizationLevel},
            {"skeleton", scan.isSkeleton}};
}

std::string DescribeStation(const ordered_json& scan)
{
    const ordered_json& flags = scan["flags"];
    const bool isReadable = !flags.is_null();
    std::string text = "  " + scan["file"].get<std::string>() + ": " +
                       ToCount(scan["points"].get<std::uint64_t>(), "point");
    for (const auto& [name, label] :
         {std::pair("cut", " cut"), std::pair("smallComponent", " in small components"),
          std::pair("excluded", " excluded")})
    {
        const auto count = isReadable ? flags[name].get<std::uint64_t>() : 0;
        if (count > 0)
        {
            text += ", " + std::to_string(count) + label;
        }
    }
    text += isReadable ? "" : ", flags unreadable";
    return text + (scan["skeleton"].get<bool>() ? ", skeleton\n" : "\n");
}

ordered_json DescribeHistory(const Application::SProjectDocument& document)
{
    ordered_json edits = ordered_json::array();
    std::uint64_t bytes = 0;
    for (const Application::SProjectEdit& edit : document.edits)
    {
        edits.push_back({{"command", edit.command}, {"bytes", edit.bytes}});
        bytes += edit.bytes;
    }
    return {{"budget", document.historyBudget},
            {"bytes", bytes},
            {"done", document.numDone},
            {"edits", std::move(edits)}};
}

}  // namespace

std::string CProjectCommand::GetName() const
{
    return "project";
}

std::string CProjectCommand::GetDescription() const
{
    return "Put several scans into one project, or say what it holds.";
}

void CProjectCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 project create site.veko2.json a.ply b.ply --transforms transforms.txt",
        "veko2 project list site.veko2.json"}));
    command.require_subcommand(0, 1);
    addCreate(command);
    addList(command);
}

void CProjectCommand::addCreate(CLI::App& command)
{
    CLI::App& create = *command.add_subcommand("create", "Make a project of scans.");
    create.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 project create site.veko2.json a.ply b.ply --transforms transforms.txt",
        "veko2 project create site.veko2.json --transforms scans/transforms.txt"}));
    create.add_option("PROJECT", m_project, "The project file to write.")->required();
    create.add_option("SCAN", m_scans, "Scans: PLY, OBJ, STL or XYZ text.");
    create
        .add_option("--transforms", m_transforms,
                    "A list of registered scans: a line per scan, its file name and 16 numbers. "
                    "Without SCAN, all that it names.")
        ->type_name("FILE");
    create
        .add_option("--exclude", m_excluded,
                    "Exclude what lies in this box of the common frame from 'veko2 clean'; may be "
                    "given several times.")
        ->type_name("X0,Y0,Z0,X1,Y1,Z1")
        ->allow_extra_args(false);
    create
        .add_option("--skeleton", m_skeletons,
                    "Mark this scan, one of those given, as a skeleton, which cuts leave whole.")
        ->type_name("SCAN")
        ->allow_extra_args(false);
    create
        .add_option("--optimization-level", m_optimizationLevel,
                    "Kept for the application that reads the project (0).")
        ->type_name("NUMBER");
    create
        .add_option("--history", m_historyBudget,
                    "How many MiB the edits that can be undone may take (1024).")
        ->type_name("MIB");
    create.add_flag("--force", m_force, "Replace a project that exists, with its history.");
    m_create = &create;
}

void CProjectCommand::addList(CLI::App& command)
{
    CLI::App& list = *command.add_subcommand("list", "Say what a project holds.");
    list.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 project list site.veko2.json", "veko2 project list site.veko2.json --json"}));
    list.add_option("PROJECT", m_project, "The project file.")->required();
    m_list = &list;
}

SReport CProjectCommand::Run(CConsole& console)
{
    if (!m_create->parsed() && !m_list->parsed())
    {
        throw CUsageError("project: say what to do with it, create or list");
    }
    return m_create->parsed() ? create(console) : list();
}

std::vector<Application::SWorldBox> CProjectCommand::parseBoxes() const
{
    std::vector<Application::SWorldBox> boxes;
    for (const std::string& text : m_excluded)
    {
        const auto corners = ParseNumbers<6>("--exclude", text);
        Application::SWorldBox box;
        for (std::size_t axis = 0; axis < 3; ++axis)
        {
            box.min[axis] = std::min(corners[axis], corners[axis + 3]);
            box.max[axis] = std::max(corners[axis], corners[axis + 3]);
        }
        boxes.push_back(box);
    }
    return boxes;
}

std::vector<SProjectScan> CProjectCommand::collectScans() const
{
    std::vector<SProjectScan> scans = placeScans();
    const int level = parseOptimizationLevel();
    for (SProjectScan& scan : scans)
    {
        scan.optimizationLevel = level;
    }
    markSkeletons(scans);
    return scans;
}

std::vector<SProjectScan> CProjectCommand::placeScans() const
{
    if (m_scans.empty() && m_transforms.empty())
    {
        throw CUsageError("a project needs scans: give them, or --transforms with a list of them");
    }
    const auto listed = m_transforms.empty() ? std::vector<SListedTransform>()
                                             : Application::ReadTransformList(m_transforms);
    const NamedTransforms named = ByFileName(listed);
    std::vector<SProjectScan> scans;
    const auto add = [&](const fs::path& file, const LqMatrix4Rd& transform) {
        SProjectScan scan;
        scan.file = file;
        scan.key = Base::CUniqueID();
        scan.transform = transform;
        scans.push_back(std::move(scan));
    };
    for (const std::string& file : m_scans)
    {
        add(file, listed.empty() ? c_matIdentityD : FindTransform(named, file, m_transforms));
    }
    if (m_scans.empty())
    {
        for (const SListedTransform& entry : listed)
        {
            add(fs::path(m_transforms).parent_path() / entry.file, entry.transform);
        }
    }
    return scans;
}

int CProjectCommand::parseOptimizationLevel() const
{
    if (m_optimizationLevel.empty())
    {
        return 0;
    }
    const auto number = ParseCount("--optimization-level", m_optimizationLevel);
    if (number > static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
    {
        throw CUsageError("--optimization-level: expected a number of 31 bits, found '" +
                          m_optimizationLevel + "'");
    }
    return static_cast<int>(number);
}

void CProjectCommand::markSkeletons(std::vector<SProjectScan>& scans) const
{
    for (const std::string& skeleton : m_skeletons)
    {
        const auto found = std::find_if(scans.begin(), scans.end(), [&](const SProjectScan& scan) {
            return scan.file == skeleton;
        });
        if (found == scans.end())
        {
            throw CUsageError("--skeleton: '" + skeleton + "' is not among the project's scans");
        }
        found->isSkeleton = true;
    }
}

void CProjectCommand::checkScans(const std::vector<SProjectScan>& scans) const
{
    std::vector<std::string> inputs{m_transforms};
    // The same scan at two places is an arrangement; twice at one place it is a mistake, which
    // doubles all its points.
    std::multimap<fs::path, const SProjectScan*> seen;
    for (const SProjectScan& scan : scans)
    {
        inputs.push_back(scan.file.string());
        const fs::path name = ToTrueName(scan.file);
        const auto [begin, end] = seen.equal_range(name);
        for (auto earlier = begin; earlier != end; ++earlier)
        {
            if (earlier->second->transform == scan.transform)
            {
                throw CUsageError("the scans '" + earlier->second->file.string() + "' and '" +
                                  scan.file.string() +
                                  "' are the same file with the same transform; give it once");
            }
        }
        seen.emplace(name, &scan);
    }
    CheckOutputs({{"PROJECT", m_project, m_force}}, inputs);
}

std::uint64_t CProjectCommand::parseHistoryBudget() const
{
    constexpr std::uint64_t c_bytesPerMebibyte = std::uint64_t{1} << 20;
    const std::uint64_t mebibytes = ParseCount("--history", m_historyBudget);
    if (mebibytes > std::numeric_limits<std::uint64_t>::max() / c_bytesPerMebibyte)
    {
        throw CUsageError("--history: expected a number of MiB, found '" + m_historyBudget + "'");
    }
    return mebibytes * c_bytesPerMebibyte;
}

SReport CProjectCommand::create(CConsole& console) const
{
    Application::SProjectDocument document;
    document.excluded = parseBoxes();
    if (!m_historyBudget.empty())
    {
        document.historyBudget = parseHistoryBudget();
    }
    if (CScanFile::HasScanName(m_project))
    {
        throw CUsageError("'" + m_project +
                          "' is the name of a scan; a project comes first, and is called like "
                          "site.veko2.json");
    }
    CProject::CheckCreate(m_project, m_force);
    document.scans = collectScans();
    checkScans(document.scans);
    const std::vector<CProject::SNewFlags> flags = readScans(document, console);
    const CProject project = CProject::Create(m_project, std::move(document), flags, m_force);

    SReport report;
    report.document = {
        {"command", "project create"}, {"project", m_project}, {"scans", ordered_json::array()}};
    report.text = m_project + ": " + ToCount(project.GetDocument().scans.size(), "scan") + '\n';
    for (std::size_t index = 0; index < project.GetDocument().scans.size(); ++index)
    {
        report.document["scans"].push_back(DescribeScan(project, index, report.damages));
        report.text += DescribeStation(report.document["scans"].back());
    }
    return report;
}

std::vector<CProject::SNewFlags> CProjectCommand::readScans(Application::SProjectDocument& document,
                                                            CConsole& console) const
{
    std::vector<CProject::SNewFlags> flags;
    for (std::size_t index = 0; index < document.scans.size(); ++index)
    {
        SProjectScan& entry = document.scans[index];
        const CScanFile scan = CScanFile::Open(entry.file, MakeStepProgress(console, "Reading"));
        entry.points = scan.GetPointCount();
        flags.push_back({index, {}});
        (void)Application::ExcludeSurfels(*scan.GetSurfelCollection(),
                                          scan.GetTransform() * entry.transform, document.excluded,
                                          flags.back().words);
        scan.CheckUnchanged();
        entry.file = RelateTo(m_project, entry.file);
        CInterruption::ThrowIfRequested();
    }
    return flags;
}

SReport CProjectCommand::list() const
{
    const CProject project = CProject::Open(m_project, CProject::Access::Look);
    const Application::SProjectDocument& content = project.GetDocument();
    SReport report;
    for (const std::string& damage : project.GetDamages())
    {
        report.damages.push_back(m_project + ": " + damage);
    }
    report.document = {{"command", "project list"},
                       {"project", m_project},
                       {"scans", ordered_json::array()},
                       {"excluded", ordered_json::array()},
                       {"history", DescribeHistory(content)}};
    report.text = m_project + ": " + ToCount(content.scans.size(), "scan") + '\n';
    for (std::size_t index = 0; index < content.scans.size(); ++index)
    {
        report.document["scans"].push_back(DescribeScan(project, index, report.damages));
        report.text += DescribeStation(report.document["scans"].back());
    }
    for (const Application::SWorldBox& box : content.excluded)
    {
        report.document["excluded"].push_back({{"min", box.min}, {"max", box.max}});
    }
    report.text += "history: " + ToCount(content.edits.size(), "edit") + ", " +
                   std::to_string(content.numDone) + " done, " +
                   std::to_string(content.edits.size() - content.numDone) + " undone, " +
                   report.document["history"]["bytes"].dump() + " of " +
                   std::to_string(content.historyBudget) + " bytes\n";
    report.document["damages"] = report.damages;
    return report;
}

}  // namespace CommandLine
