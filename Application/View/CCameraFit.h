#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Application/View/CCamera.h"
#include "Base/Interfaces/ISurfelCollection.h"

namespace Application
{

/// Chooses a camera that shows given scans as large as they fit into the picture.
///
///     CCameraFit fit;
///     fit.direction = *CCameraFit::FindDirection("left");
///     const CView view = fit.Compute({{collection, trafo}}).MakeView();
///
/// Stray points do not count: on each axis of the picture, the range that holds all but a
/// hundredth of the points at either end may grow by a third towards the outermost points, and what
/// lies beyond is left out of the frame. From 400,000 points of all scans on, one of each 20,000th
/// part of them stands for the others, unless next to none of these is finite. The near and far
/// planes enclose the bounding boxes of all points that are in front of the eye, stray ones
/// included, so that a cut reaches them.
class CCameraFit
{
public:
    /// A collection and its transform into the world.
    struct SScan
    {
        std::shared_ptr<const Base::ISurfelCollection> collection;
        LqMatrix4Rd trafo = c_matIdentityD;
    };

    enum class EPlanes
    {
        EnclosePoints,  ///< as said above
        /// The near plane as close as it may ever be, and no end to the far one; in parallel
        /// projection they enclose the points all the same. For what is only looked at: it shows
        /// all that it would otherwise, and no scan has to be read from end to end.
        LeaveNothingOut,
    };

    /// Where the eye is, as seen from the scans, and what is up there.
    struct SDirection
    {
        CCamera::Vector toEye{0.55, -1.0, 0.5};
        CCamera::Vector up{0.0, 0.0, 1.0};
    };

    SDirection direction;
    CCamera::Projection projection = CCamera::Projection::Perspective;
    /// Degrees, as in CCamera.
    double fieldOfView = 35.0;
    std::uint32_t width = 1280;
    std::uint32_t height = 720;
    EPlanes planes = EPlanes::EnclosePoints;

    /// The direction of that name in a world whose z axis points up and whose front is towards -y:
    /// front, back, left, right, top, bottom, iso.
    [[nodiscard]] static std::optional<SDirection> FindDirection(std::string_view name);

    /// The camera for \p scans. The same input gives the same camera.
    /// @throw CInputError, with "camera" in place of the file, when there is no finite point or the
    /// members make no camera.
    [[nodiscard]] CCamera Compute(const std::vector<SScan>& scans) const;
};

}  // namespace Application
