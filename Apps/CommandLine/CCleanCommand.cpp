#include "Apps/CommandLine/CCleanCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "Application/Files/CFileLock.h"
#include "Application/Projects/CProject.h"
#include "Application/Projects/ProjectJson.h"
#include "Application/Projects/Stations.h"
#include "Application/Scans/CFlagFile.h"
#include "Application/Scans/CKeptPoints.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/EditHistory.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"
#include "Apps/CommandLine/ValueParsing.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Math/PointTransform.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"

namespace CommandLine
{

namespace
{

using Application::CProject;
using Application::CScanFuser;
using Application::SStation;
using Base::CSurfelBitMask;
using nlohmann::ordered_json;
using Words = std::vector<CSurfelBitMask>;
using Mask = std::shared_ptr<const Base::CSurfelCollectionMask>;

CScanFuser::SFusion Fuse(const CScanFuser::SParameters& parameters,
                         const std::vector<SStation>& stations)
{
    std::vector<CScanFuser::SScan> scans;
    for (const SStation& station : stations)
    {
        scans.push_back({station.entity->GetID(), station.entity, station.trafo, station.mask});
    }
    try
    {
        return CScanFuser(parameters).Fuse(scans);
    }
    catch (const std::invalid_argument& error)
    {
        throw CUsageError(error.what());
    }
}

std::string ToText(double number)
{
    char digits[32];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general, 4);
    return std::string(digits, end.ptr);
}

/// How far the scans reach from the middle of the model, on any axis.
double MeasureReach(const std::vector<SStation>& stations, const std::array<double, 3>& middle)
{
    double reach = 0.0;
    for (const SStation& station : stations)
    {
        const auto surfels = station.scan.GetSurfelCollection();
        const Geometry::CBox3D box = surfels->GetPointCloudSupport()->GetBoundingBox().box;
        for (unsigned corner = 0; corner < 8 && !box.IsEmpty(); ++corner)
        {
            const auto point = TransformHomogeneous<double>(
                station.trafo, (corner & 1U) != 0 ? box.max.x : box.min.x,
                (corner & 2U) != 0 ? box.max.y : box.min.y,
                (corner & 4U) != 0 ? box.max.z : box.min.z);
            reach = std::max({reach, std::fabs(point.x - middle[0]), std::fabs(point.y - middle[1]),
                              std::fabs(point.z - middle[2])});
        }
    }
    return reach;
}

/// Refuses voxels that put no point into the model, and warns of those that do not tell all
/// components apart.
void CheckVoxels(const CScanFuser::SReport& report, const std::vector<SStation>& stations,
                 CConsole& console)
{
    const double reach = MeasureReach(stations, report.origin);
    const std::string voxel = "voxels of " + ToText(report.voxelSize);
    if (report.numPoints == 0 && report.numTooFarPoints > 0)
    {
        throw CUsageError("--voxel: " + voxel + " are too small for scans that reach " +
                          ToText(reach) + " from their middle; give at least " +
                          ToText(reach / CScanFuser::c_maximumReach));
    }
    if (report.numTooFarPoints > 0)
    {
        console.Warn(ToCount(report.numTooFarPoints, "point") + " too far away for " + voxel +
                     " are flagged; a --voxel of at least " +
                     ToText(reach / CScanFuser::c_maximumReach) + " reaches all");
    }
    else if (report.voxelSize < reach / CScanFuser::c_exactReach)
    {
        console.Warn(voxel + " are too small to tell all components apart in scans that reach " +
                     ToText(reach) + " from their middle; from " +
                     ToText(reach / CScanFuser::c_exactReach) + " on they do");
    }
    if (report.searchBound < CScanFuser::c_nearestFusedPoint * report.voxelSize)
    {
        console.Warn("--scale: the search looks only " + ToText(report.searchBound) +
                     " far, so that points of large components may be flagged; give at most " +
                     ToText(report.scale * report.searchBound /
                            (CScanFuser::c_nearestFusedPoint * report.voxelSize)));
    }
}

/// The new masks of the stations, empty where none changes.
std::vector<Mask> FlagSmallComponents(std::shared_ptr<const DataLayer::SFuserContent> content,
                                      const std::vector<SStation>& stations)
{
    const DataLayer::CSmallComponentModifyOperation operation(content);
    const Base::CEntityMapModifyBatch batch =
        operation.ComputeModifications(Application::MakeSyncBatch(stations));
    std::unordered_map<Base::CUniqueID, Mask> masks;
    for (const Base::CEntityMapModifyMessage& message : batch.messages)
    {
        masks[message.key] = message.GetNewState().mask.GetValue();
    }
    std::vector<Mask> changed;
    for (const SStation& station : stations)
    {
        changed.push_back(masks[station.entity->GetID()]);
    }
    return changed;
}

/// Lets runs that continue the same flag files do so one after the other. All of them take the
/// locks in the order of the names, whatever that of their scans, so that no two wait for each
/// other, unless they know a file by different names; a file of two names is locked once, or the
/// run would wait for itself.
std::vector<Application::CFileLock> LockAll(const std::vector<std::string>& files)
{
    std::set<std::filesystem::path> names;
    for (const std::string& file : files)
    {
        if (!file.empty())
        {
            names.insert(ToTrueName(file));
        }
    }
    std::vector<Application::CFileLock> locks;
    for (auto name = names.begin(); name != names.end(); ++name)
    {
        const bool isLocked = std::any_of(names.begin(), name, [&](const auto& earlier) {
            std::error_code ignored;
            return std::filesystem::equivalent(earlier, *name, ignored);
        });
        if (!isLocked)
        {
            locks.emplace_back(*name);
        }
    }
    return locks;
}

/// What became of a station's small-component flags.
ordered_json Compare(const SStation& station, const Mask& changed)
{
    constexpr std::uint16_t c_small = CSurfelBitMask::SurfelFlagSmallComponent;
    const Words& before = station.GetFlags();
    const Words& after = changed ? changed->GetBitMasks() : before;
    std::uint64_t numFlagged = 0;
    std::uint64_t numUnflagged = 0;
    for (std::size_t index = 0; index < after.size(); ++index)
    {
        const bool wasSmall = !before.empty() && (before[index].bits & c_small) != 0;
        const bool isSmall = (after[index].bits & c_small) != 0;
        numFlagged += isSmall && !wasSmall ? 1 : 0;
        numUnflagged += wasSmall && !isSmall ? 1 : 0;
    }
    return {{"scan", station.scan.GetPath().string()},
            {"points", station.scan.GetPointCount()},
            {"flagged", numFlagged},
            {"unflagged", numUnflagged},
            {"leftAlone", CountFlagged(before, CSurfelBitMask::SurfelFlagExcluded)},
            {"smallComponent", CountFlagged(after, c_small)}};
}

ordered_json Describe(const CScanFuser::SReport& report)
{
    ordered_json document = {{"voxel", report.voxelSize},
                             {"scale", report.scale},
                             {"searchBound", report.searchBound},
                             {"components", report.numComponents},
                             {"smallComponents", report.numSmallComponents},
                             {"largestComponentPoints", report.numLargestComponentPoints},
                             {"smallComponentPoints", report.numSmallComponentPoints},
                             {"notFinitePoints", report.numNotFinitePoints},
                             {"leftOutPoints", report.numLeftOutPoints},
                             {"tooFarPoints", report.numTooFarPoints}};
    document["spacing"] = report.spacing ? ordered_json(*report.spacing) : ordered_json(nullptr);
    return document;
}

std::string ToText(const ordered_json& scan, bool isDryRun)
{
    const auto count = [&](const char* name) {
        return std::to_string(scan[name].get<std::uint64_t>());
    };
    return scan["scan"].get<std::string>() + ": " + count("flagged") + " of " + count("points") +
           (isDryRun ? " points would be flagged, " : " points flagged, ") + count("unflagged") +
           " unflagged, " + count("leftAlone") + " left alone\n";
}

SReport Report(const CScanFuser::SReport& found, const std::vector<SStation>& stations,
               const std::vector<Mask>& changed, bool isDryRun)
{
    SReport report;
    report.document = {{"command", "clean"},
                       {"fusion", Describe(found)},
                       {"scans", ordered_json::array()},
                       {"dryRun", isDryRun}};
    report.text = ToCount(found.numComponents, "component") + ", " +
                  std::to_string(found.numSmallComponents) + " small; voxel " +
                  ToText(found.voxelSize) + ", scale " + ToText(found.scale) + '\n';
    for (std::size_t index = 0; index < stations.size(); ++index)
    {
        report.document["scans"].push_back(Compare(stations[index], changed[index]));
        report.text += ToText(report.document["scans"].back(), isDryRun);
    }
    return report;
}

}  // namespace

std::string CCleanCommand::GetName() const
{
    return "clean";
}

std::string CCleanCommand::GetDescription() const
{
    return "Flag small floating components of a project or of scans.";
}

void CCleanCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(
        std::vector<std::string>{"veko2 clean site.veko2.json",
                                 "veko2 clean scan.ply --min-points 500 --output cleaned.ply"}));
    command
        .add_option("SCAN", m_scans,
                    "A project; or scans in one common frame: PLY, OBJ, STL or XYZ text.")
        ->required();
    command
        .add_option("-o,--output", m_outputs,
                    "Write what is left of a scan here; once per scan, in order.")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command
        .add_option("--flags", m_flags,
                    "Keep a scan's flags in this flag file; one that is there is continued. Once "
                    "per scan, in order.")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command
        .add_option("--min-points", m_minimumPoints, "Components of fewer points are small (0).")
        ->type_name("COUNT");
    command
        .add_option("--min-fraction", m_minimumFraction,
                    "Components of less than this fraction of the largest one's points are small "
                    "(0.001; 0 where --min-points is given). The largest one never is.")
        ->type_name("FRACTION");
    command
        .add_option("--voxel", m_voxelSize,
                    "Points within this distance belong together, in the scans' unit; by default "
                    "from the median distance of neighbours.")
        ->type_name("LENGTH");
    command
        .add_option("--scale", m_scale,
                    "How many units of the search, which looks 2.25 of them far, one unit of the "
                    "scans is; by default a voxel is two.")
        ->type_name("FACTOR");
    command.add_flag("--dry-run", m_dryRun, "Only say what would be flagged.");
    command.add_flag("--force", m_force, "Replace files that exist.");
}

SReport CCleanCommand::Run(CConsole& console)
{
    (void)parseParameters();
    const bool isAnyProject =
        std::any_of(m_scans.begin(), m_scans.end(),
                    [](const std::string& scan) { return Application::IsProjectFile(scan); });
    if (!isAnyProject)
    {
        return cleanScans(console);
    }
    if (m_scans.size() > 1)
    {
        throw CUsageError("one project is cleaned at a time, and no scans beside it");
    }
    if (!m_outputs.empty() || !m_flags.empty())
    {
        throw CUsageError(
            "--output and --flags do not go with a project, which keeps the flags itself; 'veko2 "
            "apply' writes what is left");
    }
    return cleanProject(console);
}

CScanFuser::SParameters CCleanCommand::parseParameters() const
{
    CScanFuser::SParameters parameters;
    if (!m_minimumPoints.empty())
    {
        parameters.minimumPoints = ParseCount("--min-points", m_minimumPoints);
        parameters.minimumFraction = 0.0;
    }
    if (!m_minimumFraction.empty())
    {
        parameters.minimumFraction = ParseNumber("--min-fraction", m_minimumFraction);
        if (!(parameters.minimumFraction >= 0.0 && parameters.minimumFraction <= 1.0))
        {
            throw CUsageError("--min-fraction: expected a number from 0 to 1, found '" +
                              m_minimumFraction + "'");
        }
    }
    if (!m_voxelSize.empty())
    {
        parameters.voxelSize = ParsePositiveNumber("--voxel", m_voxelSize);
    }
    if (!m_scale.empty())
    {
        parameters.scale = ParsePositiveNumber("--scale", m_scale);
    }
    return parameters;
}

SReport CCleanCommand::cleanProject(CConsole& console) const
{
    CProject project =
        CProject::Open(m_scans[0], m_dryRun ? CProject::Access::Read : CProject::Access::Edit);
    std::vector<SStation> stations =
        Application::LoadStations(project, MakeStepProgress(console, "Reading"));
    std::vector<Mask> changed;
    SReport report = clean(stations, changed, console);
    report.document["project"] = m_scans[0];
    if (!m_dryRun)
    {
        AddEdit(project, "clean", changed, console, report);
    }
    return report;
}

void CCleanCommand::checkScans() const
{
    std::map<std::filesystem::path, std::string> named;
    for (const std::string& scan : m_scans)
    {
        const auto [earlier, isFirst] = named.emplace(ToTrueName(scan), scan);
        if (!isFirst)
        {
            throw CUsageError("the scans '" + earlier->second + "' and '" + scan +
                              "' are the same file; give it once");
        }
    }
    if (m_outputs.empty() && m_flags.empty() && !m_dryRun)
    {
        // A project needs none of them: where the file is missing, that is what is wrong.
        std::for_each(m_scans.begin(), m_scans.end(), CheckReadable);
        throw CUsageError("where to? give --output, --flags or --dry-run");
    }
    for (const auto& [option, files] :
         {std::pair("--output", &m_outputs), std::pair("--flags", &m_flags)})
    {
        if (!files->empty() && files->size() != m_scans.size())
        {
            throw CUsageError(ToCount(m_scans.size(), "scan") + " but " +
                              std::to_string(files->size()) + " times " + option +
                              ": give it once per scan, or not at all");
        }
    }
}

std::vector<std::string> CCleanCommand::findContinuedFlags() const
{
    std::vector<std::string> continued(m_scans.size());
    for (std::size_t index = 0; index < m_flags.size(); ++index)
    {
        // What cannot even be looked at is reported when it is written.
        std::error_code ignored;
        if (std::filesystem::exists(m_flags[index], ignored))
        {
            continued[index] = m_flags[index];
        }
    }
    return continued;
}

SReport CCleanCommand::cleanScans(CConsole& console) const
{
    checkScans();
    // Asked once: a flag file that somebody makes from here on is not one that was continued.
    const std::vector<std::string> continued = findContinuedFlags();
    checkOutputs(continued);
    const auto locks = LockAll(m_dryRun ? std::vector<std::string>() : continued);
    std::vector<SStation> stations;
    for (std::size_t index = 0; index < m_scans.size(); ++index)
    {
        CInterruption::ThrowIfRequested();
        stations.push_back(OpenStation(m_scans[index], continued[index], console));
    }
    std::vector<Mask> changed;
    SReport report = clean(stations, changed, console);
    for (std::size_t index = 0; index < stations.size() && !m_dryRun; ++index)
    {
        const SStation& station = stations[index];
        Words words = changed[index] ? changed[index]->GetBitMasks() : station.GetFlags();
        words.resize(station.scan.GetPointCount());
        // This looks once more whether the scan is what it was, so it comes first.
        if (!m_outputs.empty())
        {
            writeRest(station.scan, words, m_outputs[index], console);
            report.document["scans"][index]["output"] = m_outputs[index];
            report.text += "output: " + m_outputs[index] + '\n';
        }
        if (!m_flags.empty())
        {
            Application::CFlagFile::Write(m_flags[index], words, isReplaced(continued[index]));
            report.document["scans"][index]["flags"] = m_flags[index];
            report.text += "flags: " + m_flags[index] + '\n';
        }
    }
    return report;
}

void CCleanCommand::checkOutputs(const std::vector<std::string>& continued) const
{
    std::vector<SOutputFile> outputs;
    for (std::size_t index = 0; index < m_scans.size() && !m_dryRun; ++index)
    {
        if (!m_outputs.empty())
        {
            // The rest of a scan may take its place, but nothing that of another.
            outputs.push_back({"--output", m_outputs[index], m_force, m_scans[index]});
        }
        if (!m_flags.empty())
        {
            outputs.push_back({"--flags", m_flags[index], isReplaced(continued[index])});
        }
    }
    CheckOutputs(outputs, m_scans);
}

bool CCleanCommand::isReplaced(const std::string& continued) const
{
    return m_force || !continued.empty();
}

void CCleanCommand::writeRest(const Application::CScanFile& scan, const Words& words,
                              const std::string& output, CConsole& console) const
{
    constexpr std::uint16_t c_dropped =
        CSurfelBitMask::SurfelFlagCut | CSurfelBitMask::SurfelFlagSmallComponent;
    const Application::CKeptPoints kept(words, c_dropped);
    scan.WriteKept(output, kept, m_force, MakeStepProgress(console, "Writing"));
    WarnOfEmptyOutput(output, words.size(), kept.CountKept(words.size()), console);
}

SReport CCleanCommand::clean(std::vector<SStation>& stations, std::vector<Mask>& changed,
                             CConsole& console) const
{
    CInterruption::ThrowIfRequested();
    console.ShowProgress("Fusing", 0.0);
    CScanFuser::SFusion fusion = Fuse(parseParameters(), stations);
    CheckVoxels(fusion.report, stations, console);
    CInterruption::ThrowIfRequested();
    console.ShowProgress("Flagging", 0.0);
    changed = FlagSmallComponents(std::move(fusion.content), stations);
    CInterruption::ThrowIfRequested();
    SReport report = Report(fusion.report, stations, changed, m_dryRun);
    // What becomes of one scan depends on all of them.
    CheckUnchanged(stations);
    return report;
}

}  // namespace CommandLine
