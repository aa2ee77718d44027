#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "DataLayer/Base3D/CTriangulation.h"

namespace DataLayer
{

/// The least and the greatest vertex that some triangles name.
struct SCornerRange
{
    std::uint32_t first;
    std::uint32_t last;
};

/// The range of the corners of \p count triangles; of none, from the highest vertex there can be
/// down to 0.
[[nodiscard]] SCornerRange BoundCorners(const std::array<std::uint32_t, 3>* triangles,
                                        std::size_t count);

/// @throw VekoException that names \p function, the first triangle that names a vertex which is not
/// there, and that vertex.
void CheckTriangles(const char* function, const Geometry::CTriangulation& mesh);

}  // namespace DataLayer
