#include "Apps/CommandLine/CCutCommand.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "Application/Files/CFileLock.h"
#include "Application/Pictures/CPicture.h"
#include "Application/Pictures/CPointRenderer.h"
#include "Application/Projects/ProjectJson.h"
#include "Application/Scans/CFlagFile.h"
#include "Application/Scans/CScanFile.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CProjectCut.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"

namespace CommandLine
{

namespace
{

using Application::CScanFile;
using Application::CSurfelCutter;

std::vector<Application::SCutRegion> MakeRegions(std::vector<SPaintedView> painted,
                                                 const LqMatrix4Rd& scanToWorld)
{
    std::vector<Application::SCutRegion> regions;
    for (SPaintedView& entry : painted)
    {
        regions.push_back({entry.view.MakeSelection(std::move(entry.mask)),
                           entry.view.MakeRelativeTrafo(scanToWorld)});
    }
    return regions;
}

/// On the left the scan with the paint and with what is cut marked, on the right what is left.
Application::CPicture DrawBeforeAndAfter(const CScanFile& scan,
                                         std::span<const Base::CSurfelBitMask> flags,
                                         const SPaintedView& painted)
{
    using Application::CPointRenderer;
    CPointRenderer::SScan drawn;
    drawn.collection = scan.GetSurfelCollection();
    drawn.trafo = scan.GetTransform();
    drawn.flags = flags;
    const auto before = CPointRenderer(painted.view).Render({drawn}, &painted.mask);
    CInterruption::ThrowIfRequested();
    CPointRenderer::SSettings settings;
    settings.hideCut = true;
    const auto after = CPointRenderer(painted.view, settings).Render({drawn});
    return Application::CPicture::SideBySide(before, after);
}

}  // namespace

std::string CCutCommand::GetName() const
{
    return "cut";
}

std::string CCutCommand::GetDescription() const
{
    return "Cut what is painted out of a scan or a project, or flag it.";
}

void CCutCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(
        std::vector<std::string>{"veko2 cut scan.ply --rectangle 400,200,700,500 --output rest.ply",
                                 "veko2 cut site.veko2.json --view view.json --mask painted.png"}));
    command
        .add_option("SCAN", m_scan,
                    "The scan: PLY, OBJ, STL or XYZ text; or a project, all scans of which are cut "
                    "at once.")
        ->required();
    command.add_option("-o,--output", m_output, "Write what is left here, in the scan's format.")
        ->type_name("FILE");
    command
        .add_option("--flags", m_flags,
                    "Keep the cut in this flag file; one that is there is continued.")
        ->type_name("FILE");
    command.add_option("--picture", m_picture, "Draw before and after side by side as PNG.")
        ->type_name("FILE");
    command.add_flag("--keep-painted", m_keepPainted,
                     "Cut everything that is not painted, also what no view can show.");
    CLI::Option* const frontOnly =
        command.add_flag("--front-only")
            ->description("Paint reaches only what is in front of the eye (the default).");
    command
        .add_flag("--through-eye", m_throughEye,
                  "The library's raw answer: paint also reaches points behind the eye, and a scan "
                  "that reaches behind it may be left whole.")
        ->excludes(frontOnly);
    command.add_flag("--dry-run", m_dryRun, "Only say, and draw, what would be cut.");
    command.add_flag("--force", m_force, "Replace files that exist.");
    m_paint.AddTo(command);
}

SReport CCutCommand::Run(CConsole& console)
{
    m_paint.Check();
    if (Application::IsProjectFile(m_scan))
    {
        return cutProject(console);
    }
    checkTarget();
    const bool isContinued = continuesFlags();
    checkOutputs(isContinued);
    std::optional<Application::CFileLock> lock;
    if (isContinued && !m_dryRun)
    {
        // Two runs that continue the same flag file do so one after the other.
        lock.emplace(m_flags);
    }
    const CScanFile scan = CScanFile::Open(m_scan, MakeStepProgress(console, "Reading"));
    const SCut cut = cutScan(scan, isContinued, console);
    std::optional<Application::CPicture> picture;
    if (cut.drawn)
    {
        console.ShowProgress("Drawing", 0.0);
        picture = DrawBeforeAndAfter(scan, cut.result.flags, *cut.drawn);
    }
    CInterruption::ThrowIfRequested();
    scan.CheckUnchanged();
    if (!m_dryRun)
    {
        write(scan, cut.result, isContinued, console);
    }
    if (picture)
    {
        WritePicture(m_picture, *picture, m_force);
    }
    return report(scan.GetPointCount(), cut.result);
}

SReport CCutCommand::cutProject(CConsole& console) const
{
    if (!m_output.empty() || !m_flags.empty())
    {
        throw CUsageError(
            "--output and --flags do not go with a project, which keeps the cut itself; "
            "'veko2 apply' writes what is left");
    }
    return CProjectCut({m_scan, m_paint, reach(), side(), m_picture, m_dryRun, m_force})
        .Run(console);
}

CSurfelCutter::Reach CCutCommand::reach() const
{
    return m_throughEye ? CSurfelCutter::Reach::ThroughEye : CSurfelCutter::Reach::FrontOfEye;
}

CSurfelCutter::Side CCutCommand::side() const
{
    return m_keepPainted ? CSurfelCutter::Side::Unpainted : CSurfelCutter::Side::Painted;
}

CSurfelCutter::Answer CCutCommand::answer() const
{
    if (!m_picture.empty() || (!m_flags.empty() && !m_dryRun))
    {
        return CSurfelCutter::Answer::Flags;
    }
    return m_dryRun ? CSurfelCutter::Answer::Counts : CSurfelCutter::Answer::KeptPoints;
}

void CCutCommand::checkTarget() const
{
    if (m_output.empty() && m_flags.empty() && !m_dryRun)
    {
        // A project needs none of them: where the file is missing, that is what is wrong.
        CheckReadable(m_scan);
        throw CUsageError("where to? give --output, --flags or --dry-run");
    }
}

bool CCutCommand::continuesFlags() const
{
    // What cannot even be looked at is reported when it is written.
    std::error_code ignored;
    return !m_flags.empty() && std::filesystem::exists(m_flags, ignored);
}

void CCutCommand::checkOutputs(bool isContinued) const
{
    const SOutputFile picture{"--picture", m_picture, m_force};
    CheckOutputs({{"--output", m_dryRun ? "" : m_output, m_force},
                  {"--flags", m_dryRun ? "" : m_flags, m_force || isContinued},
                  picture},
                 m_paint.GetFiles());
    // The rest of a scan may take its place, and new flags that of old ones; a picture may take
    // neither, not even in a dry run, which reads both.
    CheckOutputs({picture}, {m_scan, m_flags});
}

CCutCommand::SCut CCutCommand::cutScan(const CScanFile& scan, bool isContinued,
                                       CConsole& console) const
{
    const auto surfels = scan.GetSurfelCollection();
    std::vector<Base::CSurfelBitMask> before;
    if (isContinued)
    {
        before = Application::CFlagFile::Read(m_flags, scan.GetPointCount());
    }
    CInterruption::ThrowIfRequested();
    std::vector<SPaintedView> painted = m_paint.Paint({{surfels, scan.GetTransform()}}, m_scan);
    WarnOfEmptyMasks(painted, console);
    CInterruption::ThrowIfRequested();

    console.ShowProgress("Cutting", 0.0);
    std::optional<SPaintedView> drawn;
    if (!m_picture.empty())
    {
        drawn = painted.front();
    }
    const CSurfelCutter cutter(MakeRegions(std::move(painted), scan.GetTransform()), reach(),
                               side());
    return {cutter.Apply(surfels, before, answer()), std::move(drawn)};
}

void CCutCommand::write(const CScanFile& scan, const CSurfelCutter::SResult& result,
                        bool isContinued, CConsole& console) const
{
    // This looks once more whether the scan is what it was, so it comes first.
    if (!m_output.empty())
    {
        scan.WriteKept(m_output, result.kept.value(), m_force,
                       MakeStepProgress(console, "Writing"));
        WarnOfEmptyOutput(m_output, scan.GetPointCount(), result.numKept, console);
    }
    if (!m_flags.empty())
    {
        Application::CFlagFile::Write(m_flags, result.flags, m_force || isContinued);
    }
}

SReport CCutCommand::report(std::uint64_t numPoints, const CSurfelCutter::SResult& cut) const
{
    SReport result;
    result.document = {{"command", "cut"},
                       {"scan", m_scan},
                       {"points", numPoints},
                       {"newlyCut", cut.numNewlyCut},
                       {"cut", numPoints - cut.numKept},
                       {"kept", cut.numKept},
                       {"dryRun", m_dryRun}};
    result.text = m_scan + ": " + std::to_string(cut.numNewlyCut) + " of " +
                  std::to_string(numPoints) + (m_dryRun ? " points would be cut" : " points cut") +
                  ", " + std::to_string(cut.numKept) + " kept\n";
    const auto addFile = [&](const char* name, const std::string& file) {
        if (!file.empty())
        {
            result.document[name] = file;
            result.text += std::string(name) + ": " + file + '\n';
        }
    };
    addFile("output", m_dryRun ? "" : m_output);
    addFile("flags", m_dryRun ? "" : m_flags);
    addFile("picture", m_picture);
    return result;
}

}  // namespace CommandLine
