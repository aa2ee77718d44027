#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "DataLayer/Base3D/CTriangulation.h"

namespace DataLayer
{

/// Whether all corners of \p count triangles are less than \p numVertices.
[[nodiscard]] bool AreCornersInside(const std::array<std::uint32_t, 3>* triangles,
                                    std::size_t count, std::size_t numVertices);

/// @throw VekoException that names \p function, the first triangle that names a vertex which is not
/// there, and that vertex.
void CheckTriangles(const char* function, const Geometry::CTriangulation& mesh);

}  // namespace DataLayer
