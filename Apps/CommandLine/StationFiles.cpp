#include "Apps/CommandLine/StationFiles.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Application/Files/CMappedFile.h"
#include "Application/Projects/Stations.h"
#include "Application/Scans/CFlagFile.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/StepProgress.h"

namespace CommandLine
{

using Application::CPointRenderer;
using Application::SStation;

SStation OpenStation(const std::string& scan, const std::string& flags, CConsole& console)
{
    auto file = Application::CScanFile::Open(scan, MakeStepProgress(console, "Reading"));
    std::vector<Base::CSurfelBitMask> words;
    if (!flags.empty())
    {
        words = Application::CFlagFile::Read(flags, file.GetPointCount());
    }
    return Application::MakeStation(std::move(file), std::move(words));
}

void CheckReadable(const std::string& file)
{
    (void)Application::CMappedFile::Open(file);
}

void CheckUnchanged(const std::vector<SStation>& stations)
{
    for (const SStation& station : stations)
    {
        station.scan.CheckUnchanged();
    }
}

std::vector<std::string> GetFiles(const std::vector<SStation>& stations)
{
    std::vector<std::string> files;
    for (const SStation& station : stations)
    {
        files.push_back(station.scan.GetPath().string());
    }
    return files;
}

std::vector<Application::CCameraFit::SScan> ToFit(const std::vector<SStation>& stations)
{
    std::vector<Application::CCameraFit::SScan> placed;
    for (const SStation& station : stations)
    {
        placed.push_back({station.scan.GetSurfelCollection(), station.trafo});
    }
    return placed;
}

std::vector<CPointRenderer::SScan> ToDraw(const std::vector<SStation>& stations)
{
    std::vector<CPointRenderer::SScan> drawn;
    for (const SStation& station : stations)
    {
        CPointRenderer::SScan scan;
        scan.collection = station.scan.GetSurfelCollection();
        scan.trafo = station.trafo;
        scan.color =
            CPointRenderer::c_scanColors[drawn.size() % std::size(CPointRenderer::c_scanColors)];
        scan.flags = station.GetFlags();
        drawn.push_back(scan);
    }
    return drawn;
}

std::uint64_t CountFlagged(std::span<const Base::CSurfelBitMask> flags, std::uint16_t bit)
{
    return static_cast<std::uint64_t>(
        std::count_if(flags.begin(), flags.end(),
                      [bit](Base::CSurfelBitMask word) { return (word.bits & bit) != 0; }));
}

void WarnOfEmptyOutput(const std::string& output, std::uint64_t numPoints, std::uint64_t numKept,
                       CConsole& console)
{
    if (numKept == 0 && numPoints > 0)
    {
        console.Warn("nothing is left in '" + output +
                     "'; only PLY and STL files without points can be opened again");
    }
}

std::string ToCount(std::uint64_t count, const std::string& what)
{
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

}  // namespace CommandLine
