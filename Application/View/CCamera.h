#pragma once

#include <array>
#include <cstdint>

#include "Application/View/CView.h"

namespace Application
{

/// A camera in world coordinates, from which a view is made.
///
///     CCamera::SParameters parameters;
///     parameters.eye = {0, -500, 200};
///     const CView view = CCamera(parameters).MakeView();
///
/// CCameraFit chooses one for given scans. A finished value; safe for concurrent readers.
class CCamera
{
public:
    using Vector = std::array<double, 3>;

    enum class Projection
    {
        Perspective,   ///< uses fieldOfView
        Orthographic,  ///< uses orthographicHeight
    };

    struct SParameters
    {
        Vector eye{0.0, -1.0, 0.0};
        /// The point in the middle of the picture.
        Vector target{0.0, 0.0, 0.0};
        /// Any direction that points upwards in the picture; need not be perpendicular or of
        /// length 1.
        Vector up{0.0, 0.0, 1.0};
        Projection projection = Projection::Perspective;
        /// The angle between the lower and the upper edge of the picture, in degrees, above 0 and
        /// below 180.
        double fieldOfView = 40.0;
        /// The world length between the lower and the upper edge of the picture.
        double orthographicHeight = 1.0;
        /// The distances of the near and far planes from the eye along the viewing direction: what
        /// is mapped to device z 0 and 1. In perspective nearDistance is above 0.
        double nearDistance = 0.01;
        double farDistance = 100.0;
        /// The size of the picture in pixels.
        std::uint32_t width = 1280;
        std::uint32_t height = 720;
    };

    /// @throw CInputError, with "camera" in place of the file, when a number is not finite or
    /// outside its range, the eye is at the target, or up points along the viewing direction.
    explicit CCamera(const SParameters& parameters);

    [[nodiscard]] const SParameters& GetParameters() const { return m_parameters; }

    /// The picture's right, up and towards-the-viewer directions, of length 1.
    [[nodiscard]] const std::array<Vector, 3>& GetAxes() const { return m_axes; }

    /// The view of this camera. Its origin is the target; its transforms are the camera's placement
    /// (to x right, y up, looking along -z), the projection, and the identity.
    /// @throw CInputError when the distances differ so much that float cannot hold the transforms.
    [[nodiscard]] CView MakeView() const;

private:
    SParameters m_parameters;
    std::array<Vector, 3> m_axes;
};

}  // namespace Application
