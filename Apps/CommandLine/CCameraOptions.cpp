#include "Apps/CommandLine/CCameraOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <limits>

#include "Application/Files/CInputError.h"
#include "Apps/CommandLine/CUsageError.h"
#include "Apps/CommandLine/ValueParsing.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Math/PointTransform.h"

namespace CommandLine
{

namespace
{

using Application::CCamera;
using Application::CCameraFit;

constexpr const char* c_cameraGroup = "Camera";

/// The near plane of a placed camera is never closer than this share of the far plane's distance,
/// for the depth's precision.
constexpr double c_minNearShare = 1e-4;

/// Sets the near and far planes so that they enclose everything in front of the eye.
void EncloseScans(const std::vector<CCameraFit::SScan>& scans, CCamera::SParameters& parameters)
{
    const CCamera::Vector toViewer = CCamera(parameters).GetAxes()[2];
    double nearest = std::numeric_limits<double>::infinity();
    double farthest = -std::numeric_limits<double>::infinity();
    for (const CCameraFit::SScan& scan : scans)
    {
        const Geometry::CBox3D box = scan.collection->GetPointCloudSupport()->GetBoundingBox().box;
        for (unsigned corner = 0; corner < 8 && !box.IsEmpty(); ++corner)
        {
            const auto point =
                TransformHomogeneous<double>(scan.trafo, (corner & 1U) != 0 ? box.max.x : box.min.x,
                                             (corner & 2U) != 0 ? box.max.y : box.min.y,
                                             (corner & 4U) != 0 ? box.max.z : box.min.z);
            const double distance = (toViewer[0] * (parameters.eye[0] - point.x) +
                                     toViewer[1] * (parameters.eye[1] - point.y)) +
                                    toViewer[2] * (parameters.eye[2] - point.z);
            nearest = std::min(nearest, distance);
            farthest = std::max(farthest, distance);
        }
    }
    const double toTarget = std::hypot(parameters.eye[0] - parameters.target[0],
                                       parameters.eye[1] - parameters.target[1],
                                       parameters.eye[2] - parameters.target[2]);
    // Nothing lies in front of the eye: any planes will do.
    parameters.farDistance = farthest > 0.0 && std::isfinite(farthest) ? 1.01 * farthest : toTarget;
    parameters.nearDistance =
        std::min(std::max(0.99 * nearest, c_minNearShare * parameters.farDistance),
                 0.5 * parameters.farDistance);
}

/// Calls \p make and turns the error of a camera that makes no sense into one of the command line.
template <typename Make>
auto MakeFromOptions(const Make& make)
{
    try
    {
        return make();
    }
    catch (const Application::CInputError& error)
    {
        throw CUsageError(error.what());
    }
}

}  // namespace

void CCameraOptions::AddTo(CLI::App& command)
{
    const auto add = [&](const char* name, std::string& value, const char* type,
                         const char* description) {
        return command.add_option(name, value, description)->type_name(type)->group(c_cameraGroup);
    };
    add("--size", m_size, "WxH", "Size of the picture in pixels, each 1 to 16384 (1280x720).");
    add("--from", m_from, "SIDE",
        "Look at the scan, but for stray points, from front, back, left, right, top, bottom or iso "
        "(iso).");
    add("--eye", m_eye, "X,Y,Z", "Put the eye there; needs --target.");
    add("--target", m_target, "X,Y,Z", "The point in the middle of the picture; needs --eye.");
    add("--up", m_up, "X,Y,Z",
        "The direction that is up in the picture (0,0,1; from top and bottom 0,1,0).");
    add("--fov", m_fieldOfView, "DEGREES", "Vertical angle of view (35).");
    add("--ortho", m_orthographicHeight, "HEIGHT",
        "Parallel projection that shows this height, or 'fit'.");
    add("--near", m_near, "DISTANCE", "Near plane, with --eye (from the scans).");
    add("--far", m_far, "DISTANCE", "Far plane, with --eye (from the scans).");
}

bool CCameraOptions::IsGiven() const
{
    const auto options = {
        &m_size, &m_from, &m_eye, &m_target, &m_up, &m_fieldOfView, &m_orthographicHeight,
        &m_near, &m_far};
    return std::any_of(options.begin(), options.end(),
                       [](const std::string* option) { return !option->empty(); });
}

void CCameraOptions::Check() const
{
    if (m_eye.empty() != m_target.empty())
    {
        throw CUsageError("--eye and --target belong together");
    }
    if (m_eye.empty())
    {
        static_cast<void>(makeFit());
        return;
    }
    CCamera::SParameters parameters = makePlaced();
    // Wherever the scans put a plane, it is between these.
    parameters.nearDistance = std::numeric_limits<double>::denorm_min();
    parameters.farDistance = std::numeric_limits<double>::max();
    setPlanes(parameters);
    MakeFromOptions([&] { return CCamera(parameters); });
}

Application::CView CCameraOptions::MakeView(const std::vector<CCameraFit::SScan>& scans,
                                            const std::string& name,
                                            CCameraFit::EPlanes planes) const
{
    if (m_eye.empty())
    {
        CCameraFit fitted = makeFit();
        fitted.planes = planes;
        try
        {
            return fitted.Compute(scans).MakeView();
        }
        catch (const Application::CInputError& error)
        {
            throw Application::CInputError(name, error.what());
        }
    }
    CCamera::SParameters parameters = makePlaced();
    EncloseScans(scans, parameters);
    setPlanes(parameters);
    return MakeFromOptions([&] { return CCamera(parameters).MakeView(); });
}

/// The parameters of a camera with a given eye, but for its planes.
CCamera::SParameters CCameraOptions::makePlaced() const
{
    if (!m_from.empty())
    {
        throw CUsageError("--from chooses the eye itself; give it or --eye, not both");
    }
    CCamera::SParameters parameters;
    parameters.eye = ParseNumbers<3>("--eye", m_eye);
    parameters.target = ParseNumbers<3>("--target", m_target);
    parameters.fieldOfView =
        m_fieldOfView.empty() ? CCameraFit().fieldOfView : ParseNumber("--fov", m_fieldOfView);
    if (!m_up.empty())
    {
        parameters.up = ParseNumbers<3>("--up", m_up);
    }
    if (!m_orthographicHeight.empty())
    {
        parameters.projection = CCamera::Projection::Orthographic;
        parameters.orthographicHeight = ParsePositiveNumber("--ortho", m_orthographicHeight);
    }
    if (!m_size.empty())
    {
        const SPictureSize size = ParseSize("--size", m_size);
        parameters.width = size.width;
        parameters.height = size.height;
    }
    return parameters;
}

void CCameraOptions::setPlanes(CCamera::SParameters& parameters) const
{
    if (!m_near.empty())
    {
        parameters.nearDistance = ParseNumber("--near", m_near);
    }
    if (!m_far.empty())
    {
        parameters.farDistance = ParseNumber("--far", m_far);
    }
}

CCameraFit CCameraOptions::makeFit() const
{
    if (!m_near.empty() || !m_far.empty())
    {
        throw CUsageError("--near and --far belong to --eye and --target");
    }
    CCameraFit fitted;
    if (!m_from.empty())
    {
        const auto direction = CCameraFit::FindDirection(m_from);
        if (!direction)
        {
            throw CUsageError(
                "--from: expected front, back, left, right, top, bottom or iso, "
                "found '" +
                m_from + "'");
        }
        fitted.direction = *direction;
    }
    if (!m_up.empty())
    {
        fitted.direction.up = ParseNumbers<3>("--up", m_up);
    }
    if (!m_fieldOfView.empty())
    {
        fitted.fieldOfView = ParseNumber("--fov", m_fieldOfView);
    }
    if (!m_orthographicHeight.empty())
    {
        if (m_orthographicHeight != "fit")
        {
            throw CUsageError("--ortho: expected 'fit' where no --eye is given, found '" +
                              m_orthographicHeight + "'");
        }
        fitted.projection = CCamera::Projection::Orthographic;
    }
    if (!m_size.empty())
    {
        const SPictureSize size = ParseSize("--size", m_size);
        fitted.width = size.width;
        fitted.height = size.height;
    }
    // Tells options that make no camera from scans that have nothing to look at.
    MakeFromOptions([&] {
        CCamera::SParameters parameters;
        parameters.eye = fitted.direction.toEye;
        parameters.up = fitted.direction.up;
        parameters.projection = fitted.projection;
        parameters.fieldOfView = fitted.fieldOfView;
        return CCamera(parameters);
    });
    return fitted;
}

}  // namespace CommandLine
