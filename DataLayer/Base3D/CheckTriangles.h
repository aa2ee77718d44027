#pragma once

#include "DataLayer/Base3D/CTriangulation.h"

namespace DataLayer
{

/// @throw VekoException that names \p function, the first triangle that names a vertex which is not
/// there, and that vertex.
void CheckTriangles(const char* function, const Geometry::CTriangulation& mesh);

}  // namespace DataLayer
