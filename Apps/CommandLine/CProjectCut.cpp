#include "Apps/CommandLine/CProjectCut.h"

#include <optional>
#include <utility>

#include "Application/Pictures/CPointRenderer.h"
#include "Application/Projects/CProject.h"
#include "Application/Projects/Stations.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/EditHistory.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"

namespace CommandLine
{

namespace
{

using Application::CProject;
using Application::CProjectCutter;
using Application::SStation;

std::vector<Application::SCutRegion> MakeRegions(const std::vector<SPaintedView>& painted)
{
    std::vector<Application::SCutRegion> regions;
    for (const SPaintedView& entry : painted)
    {
        regions.push_back(
            {entry.view.MakeSelection(entry.mask), entry.view.MakeRelativeTrafo(c_matIdentityD)});
    }
    return regions;
}

std::uint64_t CountKept(const SStation& station, const CProjectCutter::SResult& result)
{
    const auto& words = result.mask ? result.mask->GetBitMasks() : station.GetFlags();
    return station.scan.GetPointCount() - CountFlagged(words, Base::CSurfelBitMask::SurfelFlagCut);
}

}  // namespace

SReport CProjectCut::Run(CConsole& console) const
{
    std::vector<std::string> inputs = m_request.paint.GetFiles();
    inputs.push_back(m_request.project);
    CheckOutsideData("--picture", m_request.picture, m_request.project);
    const SOutputFile output{"--picture", m_request.picture, m_request.isForced};
    CheckOutputs({output}, inputs);
    CProject project = CProject::Open(
        m_request.project, m_request.isDryRun ? CProject::Access::Read : CProject::Access::Edit);
    const std::vector<SStation> stations =
        Application::LoadStations(project, MakeStepProgress(console, "Reading"));
    CheckOutputs({output}, GetFiles(stations));
    CInterruption::ThrowIfRequested();
    const std::vector<SPaintedView> painted =
        m_request.paint.Paint(ToFit(stations), m_request.project);
    WarnOfEmptyMasks(painted, console);
    CInterruption::ThrowIfRequested();

    console.ShowProgress("Cutting", 0.0);
    const Results results =
        CProjectCutter(MakeRegions(painted), m_request.reach, m_request.side).Apply(stations);
    CInterruption::ThrowIfRequested();
    SReport result = report(stations, results);
    std::optional<Application::CPicture> picture;
    if (!m_request.picture.empty())
    {
        console.ShowProgress("Drawing", 0.0);
        picture = draw(stations, results, painted.front());
    }
    CheckUnchanged(stations);
    if (picture)
    {
        WritePicture(m_request.picture, *picture, m_request.isForced);
        result.document["picture"] = m_request.picture;
        result.text += "picture: " + m_request.picture + '\n';
    }
    if (!m_request.isDryRun)
    {
        std::vector<std::shared_ptr<const Base::CSurfelCollectionMask>> masks;
        for (const CProjectCutter::SResult& entry : results)
        {
            masks.push_back(entry.mask);
        }
        AddEdit(project, "cut", masks, console, result);
    }
    return result;
}

/// On the left the scans with the paint and with what is cut marked, on the right what is left.
Application::CPicture CProjectCut::draw(std::vector<SStation> stations, const Results& results,
                                        const SPaintedView& painted)
{
    using Application::CPointRenderer;
    for (std::size_t index = 0; index < stations.size(); ++index)
    {
        if (results[index].mask)
        {
            stations[index].mask = results[index].mask;
        }
    }
    const auto drawn = ToDraw(stations);
    const auto before = CPointRenderer(painted.view).Render(drawn, &painted.mask);
    CInterruption::ThrowIfRequested();
    CPointRenderer::SSettings settings;
    settings.hideCut = true;
    const auto after = CPointRenderer(painted.view, settings).Render(drawn);
    CInterruption::ThrowIfRequested();
    return Application::CPicture::SideBySide(before, after);
}

SReport CProjectCut::report(const std::vector<SStation>& stations, const Results& results) const
{
    SReport result;
    auto scans = nlohmann::ordered_json::array();
    std::uint64_t numPoints = 0;
    std::uint64_t numCut = 0;
    for (std::size_t index = 0; index < stations.size(); ++index)
    {
        const std::string file = stations[index].scan.GetPath().string();
        const std::uint64_t points = stations[index].scan.GetPointCount();
        const std::uint64_t kept = CountKept(stations[index], results[index]);
        numPoints += points;
        numCut += results[index].numNewlyCut;
        scans.push_back({{"scan", file},
                         {"points", points},
                         {"newlyCut", results[index].numNewlyCut},
                         {"newlyFrozen", results[index].numNewlyFrozen},
                         {"cut", points - kept},
                         {"kept", kept}});
        result.text += "  " + file + ": " + std::to_string(results[index].numNewlyCut) + " of " +
                       std::to_string(points) + ", " + std::to_string(kept) + " kept\n";
    }
    result.document = {{"command", "cut"},          {"project", m_request.project},
                       {"points", numPoints},       {"newlyCut", numCut},
                       {"scans", std::move(scans)}, {"dryRun", m_request.isDryRun}};
    result.text = m_request.project + ": " + std::to_string(numCut) + " of " +
                  std::to_string(numPoints) +
                  (m_request.isDryRun ? " points would be cut\n" : " points cut\n") + result.text;
    return result;
}

}  // namespace CommandLine
