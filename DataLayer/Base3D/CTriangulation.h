#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Base/Math/LqVector3f.h"

namespace Geometry
{

/// A triangle mesh: vertices, and for each triangle the indices of its three corners, counter-
/// clockwise when seen from outside.
struct CTriangulation
{
    std::vector<LqVector3f> vertices;
    std::vector<std::array<std::uint32_t, 3>> triangles;
};

}  // namespace Geometry
