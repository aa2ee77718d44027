#pragma once

#include <optional>

#include "Application/Demo/DemoVector.h"

namespace Application
{

/// What stands in front of the demo's scanners: a teapot on a turntable, and the floor around it.
///
/// Lengths are millimetres; z points up, the plate's top is at z = 0 and its axis is the z axis.
/// Stateless; safe for any number of threads.
class CDemoShape
{
public:
    /// A bound of the distance from \p point to the nearest surface: 0 on it, negative inside.
    /// Outside it is at most a few per cent above the true distance.
    [[nodiscard]] static double Distance(const SDemoVector& point);

    /// The outward normal at a point of the surface.
    [[nodiscard]] static SDemoVector Normal(const SDemoVector& point);

    /// How far along the ray, with \p direction of length 1, the first surface is; absent when the
    /// ray meets none that a scanner would keep.
    [[nodiscard]] static std::optional<double> CastRay(const SDemoVector& start,
                                                       const SDemoVector& direction);
};

}  // namespace Application
