#include "Apps/CommandLine/CViewCommand.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "Application/Pictures/CPointRenderer.h"
#include "Application/Projects/CProject.h"
#include "Application/Projects/ProjectJson.h"
#include "Application/Projects/Stations.h"
#include "Application/View/CCameraFit.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CHelpFormatter.h"
#include "Apps/CommandLine/CInterruption.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/OutputFiles.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/StepProgress.h"

namespace CommandLine
{

namespace
{

using Application::CCameraFit;
using Application::CPointRenderer;
using Application::CView;
using Application::SStation;

/// The scans of a project, or a scan on its own.
void OpenStations(const std::string& file, const std::string& flags, CConsole& console,
                  std::vector<SStation>& stations)
{
    CInterruption::ThrowIfRequested();
    if (!Application::IsProjectFile(file))
    {
        stations.push_back(OpenStation(file, flags, console));
        return;
    }
    if (!flags.empty())
    {
        throw CUsageError("--flags does not go with a project, which has its own");
    }
    for (SStation& station : Application::LoadStations(
             Application::CProject::Open(file, Application::CProject::Access::Read),
             MakeStepProgress(console, "Reading")))
    {
        stations.push_back(std::move(station));
    }
}

std::string Join(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
    {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

}  // namespace

std::string CViewCommand::GetName() const
{
    return "view";
}

std::string CViewCommand::GetDescription() const
{
    return "Draw scans, and write down the view to paint in.";
}

void CViewCommand::AddOptions(CLI::App& command)
{
    command.formatter(std::make_shared<CHelpFormatter>(std::vector<std::string>{
        "veko2 view scan.ply --output scan.png --view view.json",
        "veko2 view left.ply right.ply --from top --size 1920x1080 --output top.png"}));
    command.add_option("SCAN", m_scans, "Scans: PLY, OBJ, STL or XYZ text; and projects.")
        ->required();
    command.add_option("-o,--output", m_output, "Write the picture here, as PNG.")
        ->type_name("FILE");
    command.add_option("--view", m_view, "Write the view here, for 'veko2 cut --view'.")
        ->type_name("FILE");
    command.add_option("--like", m_likeView, "Take this view instead of choosing a camera.")
        ->type_name("FILE");
    command
        .add_option("--flags", m_flags,
                    "The flag file of a scan, to mark what is cut or in a small component; given "
                    "once per scan, in order.")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command.add_flag("--hide-cut", m_hideCut, "Leave out what is cut instead of marking it.");
    command.add_flag("--force", m_force, "Replace files that exist.");
    m_camera.AddTo(command);
}

SReport CViewCommand::Run(CConsole& console)
{
    check();
    for (const std::string& scan : m_scans)
    {
        if (Application::IsProjectFile(scan))
        {
            CheckOutsideData("--output", m_output, scan);
            CheckOutsideData("--view", m_view, scan);
        }
    }
    std::vector<std::string> inputs = m_scans;
    inputs.insert(inputs.end(), m_flags.begin(), m_flags.end());
    inputs.push_back(m_likeView);
    const std::vector<SOutputFile> outputs{{"--output", m_output, m_force},
                                           {"--view", m_view, m_force}};
    CheckOutputs(outputs, inputs);
    std::vector<SStation> stations;
    for (std::size_t index = 0; index < m_scans.size(); ++index)
    {
        OpenStations(m_scans[index], m_flags.empty() ? "" : m_flags[index], console, stations);
    }
    CheckOutputs(outputs, GetFiles(stations));
    // A view that is written down is for cutting, too.
    const auto planes =
        m_view.empty() ? CCameraFit::EPlanes::LeaveNothingOut : CCameraFit::EPlanes::EnclosePoints;
    const CView view = m_likeView.empty()
                           ? m_camera.MakeView(ToFit(stations), Join(m_scans), planes)
                           : CView::Read(m_likeView);
    CInterruption::ThrowIfRequested();

    SReport report;
    report.document = {{"command", "view"},
                       {"scans", m_scans},
                       {"width", view.GetWidth()},
                       {"height", view.GetHeight()}};
    if (m_output.empty())
    {
        CheckUnchanged(stations);
    }
    else
    {
        console.ShowProgress("Drawing", 0.0);
        CPointRenderer::SSettings settings;
        settings.hideCut = m_hideCut;
        const std::vector<std::byte> png =
            CPointRenderer(view, settings).RenderPng(ToDraw(stations), [&stations] {
                CheckUnchanged(stations);
                stations.clear();
            });
        CInterruption::ThrowIfRequested();
        WriteBytes(m_output, png, m_force);
        report.document["picture"] = m_output;
        report.text += "picture: " + m_output + '\n';
    }
    if (!m_view.empty())
    {
        WriteText(m_view, view.ToJson(), m_force);
        report.document["view"] = m_view;
        report.text += "view: " + m_view + '\n';
    }
    return report;
}

void CViewCommand::check() const
{
    if (m_output.empty() && m_view.empty())
    {
        throw CUsageError("where to? give --output for a picture, --view for a view file");
    }
    if (!m_flags.empty() && m_flags.size() != m_scans.size())
    {
        throw CUsageError(ToCount(m_scans.size(), "scan") + " but " +
                          ToCount(m_flags.size(), "flag file") +
                          ": give --flags once per scan, or not at all");
    }
    if (!m_likeView.empty() && m_camera.IsGiven())
    {
        throw CUsageError("--like and camera options do not go together");
    }
    m_camera.Check();
}

}  // namespace CommandLine
