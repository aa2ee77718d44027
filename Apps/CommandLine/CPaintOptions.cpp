#include "Apps/CommandLine/CPaintOptions.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "Application/Files/CInputError.h"
#include "Application/View/CMaskShapes.h"
#include "Apps/CommandLine/CConsole.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/StationFiles.h"
#include "Apps/CommandLine/ValueParsing.h"

namespace CommandLine
{

namespace
{

using Application::CMask;
using Application::CMaskShapes;
using Application::CView;

constexpr const char* c_paintGroup = "Paint";

CMaskShapes::SRectangle ParseRectangle(const std::string& text)
{
    const auto corners = ParseNumbers<4>("--rectangle", text);
    for (const double value : corners)
    {
        if (value != std::trunc(value) || std::abs(value) > CMaskShapes::c_maxCoordinate)
        {
            throw CUsageError("--rectangle: expected whole numbers of pixels, found '" + text +
                              "'");
        }
    }
    const auto whole = [&](std::size_t index) { return static_cast<std::int64_t>(corners[index]); };
    return {whole(0), whole(1), whole(2), whole(3)};
}

/// The points from \p begin to \p end, each "x,y".
std::vector<CMaskShapes::SPoint> ParsePoints(const std::string& option,
                                             std::vector<std::string>::const_iterator begin,
                                             std::vector<std::string>::const_iterator end)
{
    std::vector<CMaskShapes::SPoint> points;
    for (; begin != end; ++begin)
    {
        const auto point = ParseNumbers<2>(option, *begin);
        points.push_back({point[0], point[1]});
    }
    return points;
}

}  // namespace

void CPaintOptions::AddTo(CLI::App& command)
{
    const auto setUp = [](CLI::Option* option, const char* type) {
        return option->type_name(type)->group(c_paintGroup);
    };
    setUp(command.add_option("--view", m_views,
                             "A view as 'veko2 view --view' writes it; may be given several times, "
                             "each with its --mask."),
          "FILE")
        ->allow_extra_args(false);
    setUp(command.add_option("--mask", m_masks,
                             "A PNG picture of the view's size. One with transparency is painted "
                             "where it is not fully transparent, any other where it is not black."),
          "FILE")
        ->allow_extra_args(false);
    setUp(command.add_option("--rectangle", m_rectangles,
                             "Paint the pixels from one corner to the other, both included."),
          "X0,Y0,X1,Y1")
        ->allow_extra_args(false);
    setUp(command.add_option("--lasso", m_lassos, "Paint the inside of a polygon."), "X,Y X,Y ...");
    setUp(command.add_option("--brush", m_brushes, "Paint along a line, or a dot."),
          "RADIUS X,Y ...");
    m_camera.AddTo(command);
}

bool CPaintOptions::hasShapes() const
{
    return !m_rectangles.empty() || !m_lassos.empty() || !m_brushes.empty();
}

void CPaintOptions::Check() const
{
    if (m_masks.empty() && !hasShapes())
    {
        throw CUsageError(
            "nothing is painted: give --view and --mask, or --rectangle, --lasso or --brush");
    }
    if (!m_masks.empty() && hasShapes())
    {
        throw CUsageError("--mask and shapes do not go together; paint all of it into the mask");
    }
    if (!m_masks.empty() && m_masks.size() != m_views.size())
    {
        throw CUsageError(ToCount(m_masks.size(), "mask") + " but " +
                          ToCount(m_views.size(), "view") +
                          ": each --mask goes with one --view, in the order given");
    }
    if (hasShapes() && m_views.size() > 1)
    {
        throw CUsageError("shapes are painted in one view, but " + ToCount(m_views.size(), "view") +
                          " were given");
    }
    if (!m_views.empty() && m_camera.IsGiven())
    {
        throw CUsageError("--view and camera options do not go together; the view has its camera");
    }
    m_camera.Check();
    // Only to see whether it can be done: reading a scan may take a while.
    CMask unused(1, 1);
    paintShapes(unused);
}

std::vector<std::string> CPaintOptions::GetFiles() const
{
    std::vector<std::string> files = m_views;
    files.insert(files.end(), m_masks.begin(), m_masks.end());
    return files;
}

std::vector<SPaintedView> CPaintOptions::Paint(
    const std::vector<Application::CCameraFit::SScan>& scans, const std::string& name) const
{
    std::vector<SPaintedView> painted;
    for (std::size_t index = 0; index < m_masks.size(); ++index)
    {
        const CView view = CView::Read(m_views[index]);
        painted.push_back({view, CMask::ReadPng(m_masks[index], view.GetWidth(), view.GetHeight()),
                           m_masks[index]});
    }
    if (hasShapes())
    {
        const CView view =
            m_views.empty()
                ? m_camera.MakeView(scans, name, Application::CCameraFit::EPlanes::EnclosePoints)
                : CView::Read(m_views[0]);
        CMask mask(view.GetWidth(), view.GetHeight());
        paintShapes(mask);
        painted.push_back({view, std::move(mask), ""});
    }
    return painted;
}

void CPaintOptions::paintShapes(CMask& mask) const
{
    CMaskShapes shapes(mask);
    try
    {
        for (const std::string& rectangle : m_rectangles)
        {
            shapes.AddRectangle(ParseRectangle(rectangle));
        }
        for (const auto& lasso : m_lassos)
        {
            shapes.AddLasso(ParsePoints("--lasso", lasso.begin(), lasso.end()));
        }
        for (const auto& brush : m_brushes)
        {
            const double radius = ParsePositiveNumber("--brush", brush.front());
            shapes.AddBrush(ParsePoints("--brush", brush.begin() + 1, brush.end()), radius);
        }
    }
    catch (const Application::CInputError& error)
    {
        // The shapes stand on the command line, not in a file.
        throw CUsageError("--" + std::string(error.what()));
    }
}

void WarnOfEmptyMasks(const std::vector<SPaintedView>& painted, CConsole& console)
{
    for (const SPaintedView& entry : painted)
    {
        if (!entry.mask.CanCut())
        {
            console.Warn(
                (entry.maskFile.empty() ? "" : entry.maskFile + ": ") +
                "nothing is painted inside the view but in its first row and column, where paint "
                "has no effect");
        }
    }
}

}  // namespace CommandLine
