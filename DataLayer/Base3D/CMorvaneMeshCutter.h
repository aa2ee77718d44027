#pragma once

#include <memory>
#include <vector>

#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Export.h"

namespace DataLayer
{

/// Copies parts of triangle meshes.
class VEKO2_DATALAYER_EXPORT CMorvaneMeshCutter
{
public:
    /// A new mesh that holds, in their order, the vertices of \p mesh whose entry in \p mask is
    /// true, and the triangles of which all three corners are kept, with their new indices.
    ///
    /// A mask that is shorter than the vertices drops those it does not name; surplus entries are
    /// ignored. The mask is only read. Safe for concurrent calls.
    ///
    /// @throw VekoException when a triangle names a vertex that is not there; the message names
    /// both.
    [[nodiscard]] static std::shared_ptr<Geometry::CTriangulation> CopyWihMask(
        const Geometry::CTriangulation& mesh, std::vector<bool>& mask);
};

}  // namespace DataLayer
